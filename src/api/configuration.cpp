// Which cameras are correlated: moves the active context of a handle between the sections of its calibration.
#include "api/MultiContext.h"
#include "kestrova.h"

using namespace kestrova;

KestrovaError kestrovaSetCameraConfiguration(KestrovaContext context, KestrovaCameraConfiguration configuration)
{
    MultiContext* const pMulti = multiContextOf(context);
    if (pMulti == nullptr) {
        return KestrovaErrorInvalidContext;
    }
    if (configuration < KestrovaCfg3CameraL || configuration > KestrovaCfg2CameraWide) {
        return KestrovaErrorInvalidParameter;
    }
    StereoContext* const pServing = pMulti->m_apConfigurationContexts[static_cast<std::size_t>(configuration)];
    if (pServing == nullptr) {
        return KestrovaErrorInvalidRequest;
    }
    if (pServing != pMulti->m_pActiveContext) {
        pServing->copyDeviceFreeStereoSettings(*pMulti->m_pActiveContext);
        pMulti->m_pActiveContext = pServing;
        pMulti->m_nActiveIndex = slotOf(*pMulti, pServing);
    }
    // The wide pair is stored as the horizontal one; the baseline tells the two apart.
    return pServing->setCameraConfiguration(configuration == KestrovaCfg2CameraWide ? KestrovaCfg2CameraHorizontal
                                                                                    : configuration);
}

KestrovaError kestrovaGetCameraConfiguration(KestrovaContext context, KestrovaCameraConfiguration* out)
{
    const StereoContext* const pContext = getActiveContext(context);
    if (pContext == nullptr) {
        return KestrovaErrorInvalidContext;
    }
    const bool bWide = pContext->m_eCameraConfiguration == KestrovaCfg2CameraHorizontal &&
                       pContext->m_dBaseline > MultiContext::sk_dWideBaseline;
    *out = bWide ? KestrovaCfg2CameraWide : pContext->m_eCameraConfiguration;
    return KestrovaErrorOk;
}

KestrovaError kestrovaGetDeviceConfiguration(KestrovaContext context, KestrovaCameraConfiguration* out)
{
    const StereoContext* const pContext = getActiveContext(context);
    if (pContext == nullptr) {
        return KestrovaErrorInvalidContext;
    }
    switch (pContext->m_eProduct) {
    case ProductHalvorine:
        *out = KestrovaCfg3CameraL;
        return KestrovaErrorOk;
    case ProductPemberlow: // exactly 0.15 counts as wide here, by our decision, and as horizontal above
        *out = pContext->m_dBaseline < MultiContext::sk_dWideBaseline ? KestrovaCfg2CameraHorizontal
                                                                      : KestrovaCfg2CameraWide;
        return KestrovaErrorOk;
    case ProductTandrell:
        *out = KestrovaCfg2CameraVertical;
        return KestrovaErrorOk;
    default:
        return KestrovaErrorInvalidContext;
    }
}
