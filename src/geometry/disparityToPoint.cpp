#include "geometry/disparityToPoint.h"

namespace kestrova {

float focalLengthInPixels(double dFocalLengthFactor, int nCols)
{
    return static_cast<float>(dFocalLengthFactor) * static_cast<float>(nCols);
}

float unmapDisparity(const DisparityMapping& rMapping, float fMapped)
{
    const auto fMin = static_cast<float>(rMapping.m_nMinDisparity);
    const auto fRange = static_cast<float>(rMapping.m_nMaxDisparity - rMapping.m_nMinDisparity);
    const auto fMappedRange = static_cast<float>(rMapping.m_ucMappingMax - rMapping.m_ucMappingMin);
    return fMin + (fRange / fMappedRange) * (fMapped - static_cast<float>(rMapping.m_ucMappingMin));
}

float disparityOf8(std::uint8_t ucDisparity, int nOffset)
{
    return static_cast<float>(ucDisparity + nOffset);
}

float disparityOf16(std::uint16_t usDisparity, int nOffset)
{
    return static_cast<float>(nOffset) + static_cast<float>(usDisparity) * 0.00390625f;
}

bool pointOfDisparity(const StereoGeometry& rGeometry, const ImagePosition& rPosition, CameraPoint* pPoint)
{
    if (0.0f >= rPosition.m_fDisparity) {
        return false;
    }
    const float fScale = rGeometry.m_fBaseline / rPosition.m_fDisparity;
    pPoint->m_fZ = rGeometry.m_fFocalLength * fScale;
    pPoint->m_fY = (rPosition.m_fRow - rGeometry.m_fCenterRow) * fScale;
    pPoint->m_fX = (rPosition.m_fCol - rGeometry.m_fCenterCol) * fScale;
    return true;
}

bool pointThroughDepth(const StereoGeometry& rGeometry, const ImagePosition& rPosition, CameraPoint* pPoint)
{
    if (0.0f >= rPosition.m_fDisparity) {
        return false;
    }
    const float fFocal = rGeometry.m_fFocalLength;
    const float fZ = (rGeometry.m_fBaseline * fFocal) / rPosition.m_fDisparity;
    pPoint->m_fZ = fZ;
    pPoint->m_fX = ((rPosition.m_fCol - rGeometry.m_fCenterCol) * fZ) / fFocal;
    pPoint->m_fY = ((rPosition.m_fRow - rGeometry.m_fCenterRow) * fZ) / fFocal;
    return true;
}

bool positionOfPoint(const StereoGeometry& rGeometry, const CameraPoint& rPoint, ImagePosition* pPosition)
{
    if (0.0f >= rPoint.m_fZ) {
        return false;
    }
    const float fFocal = rGeometry.m_fFocalLength;
    pPosition->m_fDisparity = (rGeometry.m_fBaseline * fFocal) / rPoint.m_fZ;
    pPosition->m_fCol = rGeometry.m_fCenterCol + (rPoint.m_fX * fFocal) / rPoint.m_fZ;
    pPosition->m_fRow = rGeometry.m_fCenterRow + (rPoint.m_fY * fFocal) / rPoint.m_fZ;
    return true;
}

} // namespace kestrova
