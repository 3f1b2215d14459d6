#include "run/run.h"

#include "context/cameraIndex.h"
#include "stereo/generalStereo.h"
#include "stereo/surfaceValidation.h"
#include "stereo/twoCameraStereo.h"

#include <span>

namespace kestrova {

namespace {

/** Binds the images that a correlator reads, in the order of their cameras and without gaps. */
KestrovaError bindStereoImages(StereoContext& rContext)
{
    bool abRequired[3];
    determineRequiredImages(&rContext, abRequired);
    int nBound = 0;
    for (int nCamera = 0; nCamera < rContext.m_nCameraCount; ++nCamera) {
        if (!abRequired[nCamera]) {
            continue;
        }
        Image<unsigned char>& rBound = rContext.m_stereoImages[nBound++];
        rBound = rContext.m_bEdgeCorrelation ? rContext.m_edgeImages[nCamera] : rContext.m_rectifiedImages[nCamera];
        if (rBound.nRows() == 0) {
            return KestrovaErrorInvalidRequest;
        }
    }
    return KestrovaErrorOk;
}

/** The configuration alone picks the correlator: no size, mask or range has a say. */
int correlateRegion(StereoContext& rContext, const KestrovaROI& rRegion)
{
    switch (rContext.m_eCameraConfiguration) {
    case KestrovaCfg2CameraHorizontal:
        return twoCameraStereo(rContext, rRegion, rContext.m_stereoImages);
    case KestrovaCfg2CameraVertical:
        return generalStereo(rContext, rRegion, rContext.m_stereoImages, 2);
    case KestrovaCfg3CameraL:
        return generalStereo(rContext, rRegion, rContext.m_stereoImages, rContext.m_nConfiguredCameraCount);
    default:
        return KestrovaErrorNotImplemented;
    }
}

/** The last failure counts; one that no other region could escape ends the run. */
int correlateRegions(StereoContext& rContext, std::span<const KestrovaROI> regions)
{
    int nResult = KestrovaErrorOk;
    for (const KestrovaROI& rRegion : regions) {
        const int nRegionResult = correlateRegion(rContext, rRegion);
        if (nRegionResult == KestrovaErrorNotImplemented) {
            return nRegionResult;
        }
        nResult = nRegionResult != KestrovaErrorOk ? nRegionResult : nResult;
    }
    return nResult;
}

int stereoOfRegions(StereoContext& rContext, std::span<const KestrovaROI> regions)
{
    if (!rContext.m_bDoStereo) {
        return KestrovaErrorOk;
    }
    rContext.saveStereoParameters();
    const KestrovaError eError = bindStereoImages(rContext);
    return eError != KestrovaErrorOk ? eError : correlateRegions(rContext, regions);
}

} // namespace

int standardStereo(StereoContext& rContext)
{
    const KestrovaROI wholeFrame{0, 0, rContext.m_nRows, rContext.m_nCols};
    if (rContext.m_nROICount < 1) {
        return stereoOfRegions(rContext, {&wholeFrame, 1});
    }
    return stereoOfRegions(rContext, {rContext.m_aROIs.data(), static_cast<std::size_t>(rContext.m_nROICount)});
}

int standardMultithreadedStereo(StereoContext& rWorkerContext, StereoContext&, boost::mutex&)
{
    return standardStereo(rWorkerContext);
}

int correlateBand(StereoContext& rWorkerContext, StereoContext&, boost::mutex&, std::span<const KestrovaROI> regions)
{
    return stereoOfRegions(rWorkerContext, regions);
}

int standardValidate(StereoContext& rContext)
{
    if (!rContext.m_bSurfaceValidation) {
        return KestrovaErrorOk;
    }
    return validateSurfaces(&rContext) ? KestrovaErrorOk : KestrovaErrorSurfaceValidationOverflow;
}

int standardStereoAndValidate(StereoContext* pContext)
{
    if (pContext == nullptr) {
        return KestrovaErrorInvalidContext;
    }
    if (!pContext->m_bDoStereo) {
        return KestrovaErrorOk;
    }
    const int nStereo = standardStereo(*pContext);
    const int nValidate = standardValidate(*pContext);
    return nStereo != KestrovaErrorOk ? nStereo : nValidate;
}

} // namespace kestrova
