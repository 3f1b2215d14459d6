// One region of a frame as the general correlator searches it: the range, where the images are cut for each disparity,
// and what a label or a seed looks like. The two ways to search it, by passes and by rows, share this and no more.
//
// Indices are disparities less the offset of labels. A search borrows everything and lasts for a call.
#pragma once

#include "kernels/row_interpolation.h"
#include "stereo/CorrelationSettings.h"
#include "stereo/aligned_views.h"
#include "stereo/early_validation.h"

#include <cstdint>
#include <span>

namespace kestrova {

constexpr int sk_nMostCameras = 3;
constexpr std::uint16_t sk_uNeverSeen = 32767; // a neighbour in disparity that no pass has scored
constexpr std::uint16_t sk_uAnyScore = 65535;  // validation value that rejects nothing

class GeneralSearch
{
public:
    GeneralSearch(const CorrelationSettings& rSettings, const DisparityImages& rOut, const RegionGeometry& rGeometry,
                  const CameraSteps& rSteps, std::span<const Image<unsigned char>> images, int nHighest)
        : m_rSettings(rSettings), m_rOut(rOut), m_images(images),
          m_nFirst(rSettings.m_nMinDisparity - rSettings.m_nDisparityOffset),
          m_nLast(nHighest - rSettings.m_nDisparityOffset), m_rGeometry(rGeometry), m_rSteps(rSteps)
    {}

    /** True when all views of the range lie in the images with room for a window. */
    [[nodiscard]] bool hasRoom() const;

    [[nodiscard]] int halfMask() const { return m_rSettings.m_nMask / 2; }
    [[nodiscard]] const ImageDim& frame() const { return m_rGeometry.m_frame; }
    [[nodiscard]] AlignedViews viewsAt(int i) const;
    /**
     * The pixels that the views of one disparity give a score. An even window completes one row more than half of it
     * cut off above and below leaves, and that row counts as long as the lowest disparity has it too. The column that
     * it completes besides never counts.
     */
    [[nodiscard]] ImageROI output(const AlignedViews& rViews) const;

    [[nodiscard]] int images() const { return static_cast<int>(m_images.size()); }
    /** The tests of labels, with the thresholds of those that are on. */
    [[nodiscard]] EarlyTests tests() const;

    /** What the 8-bit image shows for an index. */
    [[nodiscard]] std::uint8_t label8(int i) const;
    [[nodiscard]] RowInterpolation fit() const;

    const CorrelationSettings& m_rSettings;
    const DisparityImages& m_rOut;
    std::span<const Image<unsigned char>> m_images;
    int m_nFirst;
    int m_nLast;

private:
    const RegionGeometry& m_rGeometry;
    const CameraSteps& m_rSteps;
};

/** One pass over the region for each disparity: the plain way, which any other has to agree with. */
void searchByPasses(const GeneralSearch& rSearch);

/** All disparities of a row before the next one. The lowest disparity must not be negative. */
void searchByRows(const GeneralSearch& rSearch);

} // namespace kestrova
