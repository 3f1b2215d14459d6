// The point conversions: settings of the active context in, points and positions out.
#include "api/MultiContext.h"
#include "context/StereoContext.h"
#include "geometry/disparityToPoint.h"
#include "kestrova.h"

using kestrova::CameraPoint;
using kestrova::DisparityMapping;
using kestrova::getActiveContext;
using kestrova::ImagePosition;
using kestrova::StereoContext;
using kestrova::StereoGeometry;

namespace {

StereoGeometry geometryOf(const StereoContext& rContext)
{
    return {kestrova::focalLengthInPixels(rContext.m_dFocalLength, rContext.m_nCols),
            static_cast<float>(rContext.m_dBaseline), static_cast<float>(rContext.m_dImageCenterRow),
            static_cast<float>(rContext.m_dImageCenterCol)};
}

float unmapped(const StereoContext& rContext, float fMapped)
{
    const DisparityMapping mapping{rContext.m_nMinDisparity, rContext.m_nMaxDisparity,
                                   static_cast<std::uint8_t>(rContext.m_nDisparityMappingMin),
                                   static_cast<std::uint8_t>(rContext.m_nDisparityMappingMax)};
    return kestrova::unmapDisparity(mapping, fMapped);
}

KestrovaError store(const CameraPoint& rPoint, float* x, float* y, float* z)
{
    *x = rPoint.m_fX;
    *y = rPoint.m_fY;
    *z = rPoint.m_fZ;
    return KestrovaErrorOk;
}

KestrovaError convert(const StereoContext& rContext, const ImagePosition& rPosition, float* x, float* y, float* z)
{
    CameraPoint point{};
    return kestrova::pointOfDisparity(geometryOf(rContext), rPosition, &point) ? store(point, x, y, z)
                                                                               : KestrovaErrorInvalidRequest;
}

ImagePosition pixelPosition(int nRow, int nCol, float fDisparity)
{
    return {static_cast<float>(nRow), static_cast<float>(nCol), fDisparity};
}

} // namespace

KestrovaError kestrovaRCDFloatToXYZ(KestrovaContext context, float row, float col, float disp, float* x, float* y,
                                    float* z)
{
    const StereoContext* pContext = getActiveContext(context);
    return pContext == nullptr ? KestrovaErrorInvalidContext : convert(*pContext, {row, col, disp}, x, y, z);
}

KestrovaError kestrovaRCDToXYZ(KestrovaContext context, float row, float col, float disp, float* x, float* y, float* z)
{
    const StereoContext* pContext = getActiveContext(context);
    if (pContext == nullptr) {
        return KestrovaErrorInvalidContext;
    }
    // This form alone clears the outputs when there is no point; programs count on it.
    CameraPoint point{0, 0, 0};
    const bool bPoint =
        kestrova::pointThroughDepth(geometryOf(*pContext), {row, col, unmapped(*pContext, disp)}, &point);
    store(point, x, y, z);
    return bPoint ? KestrovaErrorOk : KestrovaErrorInvalidRequest;
}

KestrovaError kestrovaRCDMappedToXYZ(KestrovaContext context, int row, int col, unsigned char disp, float* x, float* y,
                                     float* z)
{
    const StereoContext* pContext = getActiveContext(context);
    return pContext == nullptr ? KestrovaErrorInvalidContext
                               : convert(*pContext, pixelPosition(row, col, unmapped(*pContext, disp)), x, y, z);
}

KestrovaError kestrovaRCD8ToXYZ(KestrovaContext context, int row, int col, unsigned char disp, float* x, float* y,
                                float* z)
{
    const StereoContext* pContext = getActiveContext(context);
    if (pContext == nullptr) {
        return KestrovaErrorInvalidContext;
    }
    const float fDisparity = kestrova::disparityOf8(disp, pContext->m_nDisparityOffset);
    return convert(*pContext, pixelPosition(row, col, fDisparity), x, y, z);
}

KestrovaError kestrovaRCD16ToXYZ(KestrovaContext context, int row, int col, unsigned short disp, float* x, float* y,
                                 float* z)
{
    const StereoContext* pContext = getActiveContext(context);
    if (pContext == nullptr) {
        return KestrovaErrorInvalidContext;
    }
    const float fDisparity = kestrova::disparityOf16(disp, pContext->m_nDisparityOffset);
    return convert(*pContext, pixelPosition(row, col, fDisparity), x, y, z);
}

KestrovaError kestrovaXYZToRCD(KestrovaContext context, float x, float y, float z, float* row, float* col, float* disp)
{
    const StereoContext* pContext = getActiveContext(context);
    if (pContext == nullptr) {
        return KestrovaErrorInvalidContext;
    }
    ImagePosition position{};
    if (!kestrova::positionOfPoint(geometryOf(*pContext), {x, y, z}, &position)) {
        return KestrovaErrorInvalidRequest;
    }
    *row = position.m_fRow;
    *col = position.m_fCol;
    *disp = position.m_fDisparity;
    return KestrovaErrorOk;
}
