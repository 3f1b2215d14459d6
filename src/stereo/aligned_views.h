// Where the general correlator cuts the images for one disparity, so that pixel (r, c) of all cuts belongs together.
#pragma once

#include "image/pixels.h"
#include "kestrova.h"

#include <array>
#include <cstdint>

namespace kestrova {

/** How far the view of each camera moves for one disparity, by the order of the stereo images. */
using CameraSteps = std::array<ImageDim, 3>;

/** Steps of a configuration, or null for one that has none. */
[[nodiscard]] const CameraSteps* cameraSteps(KestrovaCameraConfiguration eConfiguration);

/** A region of a frame with the half window around it. Wide numbers: a region is whatever the caller wrote into it. */
struct RegionGeometry
{
    KestrovaROI m_region;
    ImageDim m_frame;
    std::int64_t m_nHalfMask;
};

/** Origins of the views of K cameras, and their common size. */
struct AlignedViews
{
    struct Origin
    {
        std::int64_t m_nRow;
        std::int64_t m_nCol;
    };

    std::array<Origin, 3> m_aOrigins;
    std::int64_t m_nRows;
    std::int64_t m_nCols;

    /** True when a window and a pixel more fit in. */
    [[nodiscard]] bool haveRoom(std::int64_t nHalfMask) const
    {
        return 2 * nHalfMask < m_nRows && 2 * nHalfMask < m_nCols;
    }

    [[nodiscard]] ImageROI view(int nCamera) const;
    /** The part of the frame whose windows lie in the reference view. */
    [[nodiscard]] ImageROI output(int nHalfMask) const;
};

/** The highest disparity, up to nMax, that leaves a window's room behind the corner of the region; may be negative. */
[[nodiscard]] std::int64_t highestDisparity(const RegionGeometry& rGeometry, const CameraSteps& rSteps, int nMax);

/**
 * Views for one disparity. What of the region with its half window lies above or left of the frame is cut off, in all
 * views alike, and so is what lies behind the last row or column in any of them.
 */
[[nodiscard]] AlignedViews alignedViews(const RegionGeometry& rGeometry, const CameraSteps& rSteps, int K,
                                        std::int64_t nDisparity);

} // namespace kestrova
