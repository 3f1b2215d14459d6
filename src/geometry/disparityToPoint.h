// Between an image position with its disparity and a point in the camera frame.
//
// Single precision throughout, and each form rounds in its own order: callers compare results to the last bit, so no
// form is to be rewritten in terms of another. Invalid-pixel codes are ordinary numbers here.
#pragma once

#include <cstdint>

namespace kestrova {

/** What the formulas rest on, in single precision and at the current resolution. */
struct StereoGeometry
{
    float m_fFocalLength; // pixels
    float m_fBaseline;    // the unit that points come out in
    float m_fCenterRow;   // pixels
    float m_fCenterCol;
};

/** The disparity range and the byte range that it is mapped to. */
struct DisparityMapping
{
    std::int32_t m_nMinDisparity;
    std::int32_t m_nMaxDisparity;
    std::uint8_t m_ucMappingMin;
    std::uint8_t m_ucMappingMax;
};

/** x grows with the column, y with the row, z along the optical axis away from the cameras. */
struct CameraPoint
{
    float m_fX;
    float m_fY;
    float m_fZ;
};

struct ImagePosition
{
    float m_fRow;
    float m_fCol;
    float m_fDisparity; // true disparity in pixels
};

/** Focal length in pixels from its factor of the column count. */
[[nodiscard]] float focalLengthInPixels(double dFocalLengthFactor, int nCols);

/** A disparity on the mapped scale back to pixels, whether or not the images are mapped. */
[[nodiscard]] float unmapDisparity(const DisparityMapping& rMapping, float fMapped);
/** An 8-bit disparity plus the offset that the image subtracts. */
[[nodiscard]] float disparityOf8(std::uint8_t ucDisparity, int nOffset);
/** A 16-bit disparity, eight fraction bits, likewise. */
[[nodiscard]] float disparityOf16(std::uint16_t usDisparity, int nOffset);

/** The base form. False, and nothing written, for a disparity of 0 or below; NaN passes through. */
[[nodiscard]] bool pointOfDisparity(const StereoGeometry& rGeometry, const ImagePosition& rPosition,
                                    CameraPoint* pPoint);
/** The form that multiplies out z first, so that x and y are rounded once more. False as above. */
[[nodiscard]] bool pointThroughDepth(const StereoGeometry& rGeometry, const ImagePosition& rPosition,
                                     CameraPoint* pPoint);
/** The inverse. False, and nothing written, for z of 0 or below. */
[[nodiscard]] bool positionOfPoint(const StereoGeometry& rGeometry, const CameraPoint& rPoint,
                                   ImagePosition* pPosition);

} // namespace kestrova
