// Single pixels between a camera's raw and rectified image.
#include "api/settingShims.h"
#include "context/cameraIndex.h"
#include "kestrova.h"
#include "preprocess/colour.h"
#include "rectify/Camera.h"
#include "rectify/pixelMapping.h"

using namespace kestrova;

namespace {

/** Hands over the maps of a camera, if both stand, with the sizes of its images. */
template<class Use>
KestrovaError onMaps(const StereoContext& rContext, KestrovaCamera eCamera, int nCamera, Use use)
{
    const Camera* const pCamera = colourWorkCamera(rContext, eCamera, nCamera);
    if (pCamera == nullptr || pCamera->forwardMap() == nullptr || pCamera->inverseMap() == nullptr) {
        return KestrovaErrorUnknown;
    }
    return use(PixelMaps{*pCamera->forwardMap(),
                         *pCamera->inverseMap(),
                         {rContext.m_nSourceRows, rContext.m_nSourceCols},
                         {rContext.m_nRows, rContext.m_nCols}});
}

} // namespace

KestrovaError kestrovaRectifyPixel(KestrovaContext context, KestrovaCamera camera, float* row, float* col, float inRow,
                                   float inCol)
{
    return onActiveContext(context, [&](const StereoContext& rContext) {
        if (rContext.m_nSourceRows == 0) { // asked before the camera; the other direction asks after it
            return KestrovaErrorInvalidSetting;
        }
        const int nCamera = getCameraIndex(camera, &rContext);
        if (nCamera < 0) {
            return KestrovaErrorInvalidCamera;
        }
        return onMaps(rContext, camera, nCamera, [&](const PixelMaps& rMaps) {
            const PixelPosition position = rectifyPixel(rMaps, {inRow, inCol});
            *row = position.m_fRow;
            *col = position.m_fCol;
            return KestrovaErrorOk;
        });
    });
}

KestrovaError kestrovaUnrectifyPixel(KestrovaContext context, KestrovaCamera camera, float* row, float* col,
                                     float inRow, float inCol)
{
    return onActiveContext(context, [&](const StereoContext& rContext) {
        const int nCamera = getCameraIndex(camera, &rContext);
        if (nCamera < 0) {
            return KestrovaErrorInvalidCamera;
        }
        if (rContext.m_nSourceRows == 0 || rContext.m_nSourceCols == 0) {
            return KestrovaErrorInvalidSetting;
        }
        return onMaps(rContext, camera, nCamera, [&](const PixelMaps& rMaps) {
            PixelPosition position{};
            const bool bFound = unrectifyPixel(rMaps, {inRow, inCol}, &position);
            *row = position.m_fRow;
            *col = position.m_fCol;
            return bFound ? KestrovaErrorOk : KestrovaErrorInvalidRequest;
        });
    });
}
