// What the calibration says of the camera set, and the adjustments of its cameras.
#include "api/settingShims.h"
#include "context/cameraIndex.h"
#include "geometry/disparityToPoint.h"
#include "kestrova.h"
#include "rectify/Camera.h"

using namespace kestrova;

namespace {

/** Adjustments go to the grey cameras only: the colour camera's name reaches the reference. */
template<class Use>
KestrovaError onCamera(KestrovaContext context, KestrovaCamera eCamera, Use use)
{
    return onActiveContext(context, [&](const StereoContext& rContext) {
        const int nCamera = getCameraIndex(eCamera, &rContext);
        return nCamera >= 0 ? use(*rContext.m_apCameras[static_cast<std::size_t>(nCamera)])
                            : KestrovaErrorInvalidCamera;
    });
}

KestrovaError readAdjustment(KestrovaContext context, KestrovaCamera eCamera,
                             void (Camera::*pfnRead)(double*, double*) const, double* x, double* y)
{
    return onCamera(context, eCamera, [&](const Camera& rCamera) {
        (rCamera.*pfnRead)(x, y);
        return KestrovaErrorOk;
    });
}

KestrovaError adjust(KestrovaContext context, KestrovaCamera eCamera, bool (Camera::*pfnAdjust)(double, double),
                     double x, double y)
{
    return onCamera(context, eCamera, [&](Camera& rCamera) {
        return (rCamera.*pfnAdjust)(x, y) ? KestrovaErrorOk : KestrovaErrorInvalidRequest;
    });
}

} // namespace

KestrovaError kestrovaGetSerialNumber(KestrovaContext context, int* out)
{
    return readSetting(context, &StereoContext::m_nSerialNumber, out);
}

KestrovaError kestrovaGetBaseline(KestrovaContext context, float* baseline)
{
    return readSetting(context, &StereoContext::m_dBaseline, baseline);
}

KestrovaError kestrovaGetFocalLength(KestrovaContext context, float* focalLength)
{
    return onActiveContext(context, [&](const StereoContext& rContext) {
        *focalLength = focalLengthInPixels(rContext.m_dFocalLength, rContext.m_nCols);
        return KestrovaErrorOk;
    });
}

KestrovaError kestrovaGetImageCenter(KestrovaContext context, float* row, float* col)
{
    return readPair(context, &StereoContext::m_dImageCenterRow, &StereoContext::m_dImageCenterCol, row, col);
}

KestrovaError kestrovaGetRectAdjustment(KestrovaContext context, KestrovaCamera camera, double* x, double* y)
{
    return readAdjustment(context, camera, &Camera::getRectifiedAdjustment, x, y);
}

KestrovaError kestrovaGetRawAdjustment(KestrovaContext context, KestrovaCamera camera, double* x, double* y)
{
    return readAdjustment(context, camera, &Camera::getRawAdjustment, x, y);
}

KestrovaError kestrovaSetRectAdjustment(KestrovaContext context, KestrovaCamera camera, double x, double y)
{
    return adjust(context, camera, &Camera::setRectifiedAdjustment, x, y);
}

KestrovaError kestrovaSetRawAdjustment(KestrovaContext context, KestrovaCamera camera, double x, double y)
{
    return adjust(context, camera, &Camera::setRawAdjustment, x, y);
}
