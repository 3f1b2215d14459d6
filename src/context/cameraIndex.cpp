#include "context/cameraIndex.h"

#include <algorithm>

namespace kestrova {

namespace {

// By product, then by KestrovaCamera: reference, right, top, left.
constexpr int sk_anIndex[3][4] = {
    {0, 0, 1, 2},
    {0, 0, -1, 1},
    {0, 0, 1, -1},
};

} // namespace

int getCameraIndex(KestrovaCamera eCamera, const StereoContext* pContext)
{
    if (eCamera == KestrovaCamColor && pContext->m_bHasColorCamera) {
        eCamera = KestrovaCamReference;
    }
    const bool bKnown = eCamera >= KestrovaCamReference && eCamera <= KestrovaCamLeft;
    const int nProduct = pContext->m_eProduct;
    return bKnown && nProduct >= 0 && nProduct < ProductSelvane4 ? sk_anIndex[nProduct][eCamera] : -1;
}

bool isRightCam(const StereoContext* pContext, int nCamera)
{
    return nCamera == 0 && pContext->m_eProduct < ProductSelvane4;
}

bool isLeftCam(const StereoContext* pContext, int nCamera)
{
    return (nCamera == 1 && pContext->m_eProduct == ProductPemberlow) ||
           (nCamera == 2 && pContext->m_eProduct == ProductHalvorine);
}

bool isTopCam(const StereoContext* pContext, int nCamera)
{
    return nCamera == 1 && (pContext->m_eProduct == ProductHalvorine || pContext->m_eProduct == ProductTandrell);
}

void determineRequiredImages(const StereoContext* pContext, bool* pbRequired)
{
    std::fill_n(pbRequired, 3, false);
    const int nConfigured = std::clamp(pContext->m_nConfiguredCameraCount, 0, 3);
    if (pContext->m_nConfiguredCameraCount == pContext->m_nCameraCount) {
        std::fill_n(pbRequired, nConfigured, true);
        return;
    }
    // A part of the device: the right camera and its partner, if the configuration names one the product has.
    const KestrovaCameraConfiguration eConfiguration = pContext->m_eCameraConfiguration;
    if (eConfiguration != KestrovaCfg2CameraHorizontal && eConfiguration != KestrovaCfg2CameraVertical) {
        return;
    }
    const bool bHorizontal = eConfiguration == KestrovaCfg2CameraHorizontal;
    for (const KestrovaCamera eCamera : {KestrovaCamRight, bHorizontal ? KestrovaCamLeft : KestrovaCamTop}) {
        const int nCamera = getCameraIndex(eCamera, pContext);
        if (nCamera >= 0) {
            pbRequired[nCamera] = true;
        }
    }
}

} // namespace kestrova
