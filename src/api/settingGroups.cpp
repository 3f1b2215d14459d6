// Settings of more than one field: ranges, resolutions, quality and regions.
#include "api/settingShims.h"
#include "kestrova.h"
#include "preprocess/contextWarpers.h"
#include "run/furrowFix.h"

using namespace kestrova;

// ---- disparity ----

KestrovaError kestrovaSetDisparity(KestrovaContext context, int min, int max)
{
    return onActiveContext(
        context, [&](StereoContext& rContext) { return settingResult(rContext.setDisparityRange(min, max)); });
}

KestrovaError kestrovaGetDisparity(KestrovaContext context, int* min, int* max)
{
    return readPair(context, &StereoContext::m_nMinDisparity, &StereoContext::m_nMaxDisparity, min, max);
}

KestrovaError kestrovaGetDisparityOffset(KestrovaContext context, int* offset)
{
    return readSetting(context, &StereoContext::m_nDisparityOffset, offset);
}

KestrovaError kestrovaSetDisparityMapping(KestrovaContext context, int min, int max)
{
    return onActiveContext(
        context, [&](StereoContext& rContext) { return settingResult(rContext.setDisparityMapping(min, max)); });
}

KestrovaError kestrovaGetDisparityMapping(KestrovaContext context, uint8_t* min, uint8_t* max)
{
    return readPair(context, &StereoContext::m_nDisparityMappingMin, &StereoContext::m_nDisparityMappingMax, min, max);
}

// ---- resolution ----

KestrovaError kestrovaSetResolution(KestrovaContext context, int rows, int cols)
{
    return onActiveContext(context,
                           [&](StereoContext& rContext) { return settingResult(rContext.setResolution(rows, cols)); });
}

KestrovaError kestrovaGetResolution(KestrovaContext context, int* rows, int* cols)
{
    return readPair(context, &StereoContext::m_nRows, &StereoContext::m_nCols, rows, cols);
}

KestrovaError kestrovaSetSourceResolution(KestrovaContext context, int rows, int cols)
{
    return onActiveContext(
        context, [&](StereoContext& rContext) { return settingResult(rContext.setSourceResolution(rows, cols)); });
}

KestrovaError kestrovaGetSourceResolution(KestrovaContext context, int* rows, int* cols)
{
    return readPair(context, &StereoContext::m_nSourceRows, &StereoContext::m_nSourceCols, rows, cols);
}

KestrovaError kestrovaSetResolutionAndPrepare(KestrovaContext context, int rows, int cols, int sourceRows,
                                              int sourceCols)
{
    return onActiveContext(context, [&](StereoContext& rContext) {
        if (!rContext.setResolution(rows, cols) || !rContext.setSourceResolution(sourceRows, sourceCols)) {
            return KestrovaErrorInvalidSetting;
        }
        return buildWarpers(&rContext) ? furrowFixBuildWarpers(&rContext) : KestrovaErrorSystem;
    });
}

// ---- quality ----

KestrovaError kestrovaSetRectImgQuality(KestrovaContext context, KestrovaRectImgQuality quality)
{
    return onActiveContext(context, [&](StereoContext& rContext) {
        StereoContext::imageQualityToKernelParms(quality, &rContext.m_eKernelType, &rContext.m_nKernelSize);
        return KestrovaErrorOk;
    });
}

KestrovaError kestrovaGetRectImgQuality(KestrovaContext context, KestrovaRectImgQuality* quality)
{
    return onActiveContext(context, [&](const StereoContext& rContext) {
        StereoContext::kernelParmsToImageQuality(rContext.m_eKernelType, rContext.m_nKernelSize, quality);
        return KestrovaErrorOk;
    });
}

KestrovaError kestrovaSetStereoQuality(KestrovaContext context, KestrovaStereoQuality quality)
{
    return onActiveContext(context, [&](StereoContext& rContext) {
        const bool bEnhanced = quality == KestrovaStereoEnhanced;
        const KestrovaError eError =
            bEnhanced && !rContext.m_bEnhancedStereo ? syncFurrowFixContext(&rContext) : KestrovaErrorOk;
        if (eError == KestrovaErrorOk) {
            rContext.m_bEnhancedStereo = bEnhanced;
        }
        return eError;
    });
}

KestrovaError kestrovaGetStereoQuality(KestrovaContext context, KestrovaStereoQuality* quality)
{
    return readSetting(context, &StereoContext::m_bEnhancedStereo, quality);
}

// ---- regions ----

KestrovaError kestrovaGetROIs(KestrovaContext context, KestrovaROI** out, int* maxROIs)
{
    return onActiveContext(context, [&](StereoContext& rContext) {
        *out = rContext.m_aROIs.data();
        *maxROIs = StereoContext::sk_nMaxROIs;
        return KestrovaErrorOk;
    });
}

KestrovaError kestrovaSetNumberOfROIs(KestrovaContext context, int count)
{
    return storeField(context, &StereoContext::m_nROICount, count, count >= 0 && count <= StereoContext::sk_nMaxROIs);
}
