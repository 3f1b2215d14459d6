// Single points between the raw and the rectified image of a camera, in pixels.
//
// On any number of threads at once, as long as none adjusts the camera. Warpers are not touched.
#pragma once

#include "image/pixels.h"

namespace kestrova {

class WarpMapFunc;

/** A position in an image, in pixels; pixel centres are whole numbers. */
struct PixelPosition
{
    float m_fRow;
    float m_fCol;
};

/** The maps of a camera and the sizes of its two images. */
struct PixelMaps
{
    const WarpMapFunc& m_rForward; // rectified to raw
    const WarpMapFunc& m_rInverse; // raw to rectified
    ImageDim m_raw;
    ImageDim m_rectified;
};

/** Raw to rectified. A raw point outside the calibrated field lands on the border. */
[[nodiscard]] PixelPosition rectifyPixel(const PixelMaps& rMaps, const PixelPosition& rRaw);

/**
 * Rectified to raw. Inside the rectified image the forward map tells; outside, where that map only repeats its border,
 * the raw point is searched for through the inverse map.
 *
 * @return false when the search stalls; *pRaw is the best estimate then.
 */
[[nodiscard]] bool unrectifyPixel(const PixelMaps& rMaps, const PixelPosition& rRectified, PixelPosition* pRaw);

} // namespace kestrova
