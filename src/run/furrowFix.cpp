#include "run/furrowFix.h"

#include "context/StereoContext.h"
#include "preprocess/contextWarpers.h"
#include "preprocess/preprocess.h"

#include <cstddef>

namespace kestrova {

namespace {

constexpr int sk_nHalfPixel = 128; // in 1/256

std::uint16_t combined(std::uint16_t uMain, std::uint16_t uFurrow)
{
    if (KESTROVA_DISPARITY16_IS_INVALID(uMain)) {
        return uMain;
    }
    if (KESTROVA_DISPARITY16_IS_INVALID(uFurrow)) {
        return uFurrow;
    }
    // Toward zero. Below half a pixel in sum it is negative and lands among the codes: near 0 there is no disparity.
    return static_cast<std::uint16_t>((uMain + uFurrow - sk_nHalfPixel) / 2);
}

bool getDisparity(StereoContext* pContext, KestrovaImage16* pImage)
{
    return pContext->getImage16(KestrovaImg16Disparity, KestrovaCamReference, pImage);
}

} // namespace

KestrovaError syncFurrowFixContext(StereoContext* pContext)
{
    if (pContext == nullptr) {
        return KestrovaErrorInvalidContext;
    }
    return pContext->m_pFurrowContext == nullptr ? pContext->initFurrowFix() : pContext->syncFurrowFixSettings();
}

KestrovaError furrowFixBuildWarpers(StereoContext* pContext)
{
    if (!pContext->m_bEnhancedStereo || !pContext->m_bSubpixelInterpolation || !pContext->m_bDoStereo) {
        return KestrovaErrorOk;
    }
    const KestrovaError eError = syncFurrowFixContext(pContext);
    return eError != KestrovaErrorOk || buildWarpers(pContext->m_pFurrowContext.get()) ? eError : KestrovaErrorSystem;
}

KestrovaError furrowFixKestrovaPreprocess(StereoContext* pContext, const KestrovaInput* pInput)
{
    KestrovaError eError = standardKestrovaPreprocess(pContext, pInput);
    if (eError != KestrovaErrorOk || !pContext->m_bSubpixelInterpolation || !pContext->m_bDoStereo) {
        return eError;
    }
    eError = syncFurrowFixContext(pContext);
    if (eError == KestrovaErrorOk) {
        static_cast<void>(standardKestrovaPreprocess(pContext->m_pFurrowContext.get(), pInput));
    }
    return eError;
}

KestrovaError furrowFixCombineDisparityImages(StereoContext* pMain, StereoContext* pFurrow)
{
    if (!pMain->m_bSubpixelInterpolation) {
        return KestrovaErrorInvalidSetting;
    }
    KestrovaImage16 main{};
    KestrovaImage16 furrow{};
    if (!getDisparity(pMain, &main) || !getDisparity(pFurrow, &furrow) || main.nrows != furrow.nrows ||
        main.ncols != furrow.ncols) {
        return KestrovaErrorInvalidRequest;
    }
    const std::size_t nPixels = static_cast<std::size_t>(main.nrows) * static_cast<std::size_t>(main.ncols);
    for (std::size_t i = 0; i < nPixels; ++i) {
        main.data[i] = combined(main.data[i], furrow.data[i]);
    }
    return KestrovaErrorOk;
}

} // namespace kestrova
