// Caller's memory as storage of the rectified colour images.
#include "api/settingShims.h"
#include "api/storage.h"
#include "context/cameraIndex.h"
#include "kestrova.h"

using namespace kestrova;

namespace {

/** Does something to the slot of a camera whose colour is asked for. */
template<class Use>
KestrovaError onColourSlot(KestrovaContext context, KestrovaCamera eCamera, Use use)
{
    return onActiveContext(context, [&](StereoContext& rContext) {
        if (eCamera == KestrovaCamColor && !rContext.m_bHasColorCamera) {
            return KestrovaErrorInvalidRequest;
        }
        const int nCamera = getCameraIndex(eCamera, &rContext);
        return nCamera >= 0 ? use(rContext, static_cast<std::size_t>(nCamera)) : KestrovaErrorInvalidCamera;
    });
}

} // namespace

KestrovaError kestrovaSetColorImageBuffer(KestrovaContext context, KestrovaCamera camera, unsigned char* red,
                                          unsigned char* green, unsigned char* blue)
{
    return onColourSlot(context, camera, [&](StereoContext& rContext, std::size_t nCamera) {
        if ((red == nullptr) != (green == nullptr) || (red == nullptr) != (blue == nullptr)) {
            return KestrovaErrorConflictingOptions;
        }
        unsigned char* const apBuffers[3] = {red, green, blue};
        for (std::size_t i = 0; i < 3; ++i) {
            rContext.m_colorPlaneImages[nCamera][i] = storage(apBuffers[i], rContext.m_nRows, rContext.m_nCols);
        }
        return KestrovaErrorOk;
    });
}

KestrovaError kestrovaUnsetColorImageBuffer(KestrovaContext context, KestrovaCamera camera)
{
    return kestrovaSetColorImageBuffer(context, camera, nullptr, nullptr, nullptr);
}

KestrovaError kestrovaSetPackedColorImageBuffer(KestrovaContext context, KestrovaCamera camera, Pixel8x4* buffer)
{
    return onColourSlot(context, camera, [&](StereoContext& rContext, std::size_t nCamera) {
        rContext.m_packedColorImages[nCamera] = storage(buffer, rContext.m_nRows, rContext.m_nCols);
        return KestrovaErrorOk;
    });
}

KestrovaError kestrovaUnsetPackedColorImageBuffer(KestrovaContext context, KestrovaCamera camera)
{
    return kestrovaSetPackedColorImageBuffer(context, camera, nullptr);
}
