// Rectified colour images of the context.
#include "preprocess/colour.h"

#include "api/settingShims.h"
#include "context/cameraIndex.h"
#include "kestrova.h"

using namespace kestrova;

KestrovaError kestrovaRectifyColorImage(KestrovaContext context, KestrovaCamera camera, KestrovaInput* input,
                                        KestrovaColorImage* image)
{
    return onActiveContext(context, [&](StereoContext& rContext) {
        const KestrovaError eError = rectifyColorPlanes(&rContext, camera, input);
        if (eError != KestrovaErrorOk) {
            return eError;
        }
        const auto nCamera = static_cast<std::size_t>(getCameraIndex(camera, &rContext));
        ColorPlanes& rPlanes = rContext.m_colorPlaneImages[nCamera];
        *image = {rPlanes[0].nRows(), rPlanes[0].nCols(), rowInc(rPlanes[0]),
                  rPlanes[0].data(),  rPlanes[1].data(),  rPlanes[2].data()};
        return KestrovaErrorOk;
    });
}

KestrovaError kestrovaRectifyPackedColorImage(KestrovaContext context, KestrovaCamera camera, KestrovaInput* input,
                                              KestrovaPackedColorImage* image)
{
    return onActiveContext(context, [&](StereoContext& rContext) {
        const KestrovaError eError = rectifyPackedColor(&rContext, camera, input);
        if (eError != KestrovaErrorOk) {
            return eError;
        }
        const auto nCamera = static_cast<std::size_t>(getCameraIndex(camera, &rContext));
        Image<Pixel8x4>& rImage = rContext.m_packedColorImages[nCamera];
        *image = {rImage.nRows(), rImage.nCols(), rowInc(rImage), rImage.data()};
        return KestrovaErrorOk;
    });
}
