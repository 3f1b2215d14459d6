#include "api/run.h"

#include "api/MultiContext.h"
#include "api/cameraIndex.h"
#include "stereo/twoCameraStereo.h"

#include <boost/bind/bind.hpp>

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

/** The configuration alone picks the correlator. The L and the vertical pair have none yet. */
int correlateRegions(StereoContext& rContext, std::span<const KestrovaROI> regions)
{
    int nResult = KestrovaErrorOk;
    for (const KestrovaROI& rRegion : regions) {
        if (rContext.m_eCameraConfiguration != KestrovaCfg2CameraHorizontal) {
            return KestrovaErrorNotImplemented;
        }
        const int nRegionResult = twoCameraStereo(rContext, rRegion, rContext.m_stereoImages);
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

int standardMultithreadedStereo(const BandPlan& rPlan, StereoContext& rWorkerContext, StereoContext&, boost::mutex&)
{
    return stereoOfRegions(rWorkerContext, rPlan.regionsFor(rWorkerContext));
}

int standardValidate(StereoContext&)
{
    // Nothing is done to whole frames yet. Small surfaces will be removed here, since they cross the bands.
    return KestrovaErrorOk;
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

KestrovaError kestrovaStereo(KestrovaContext context)
{
    using namespace kestrova;

    StereoContext* const pContext = getActiveContext(context);
    ExecutorPool* const pPool = getExecutorPool(multiContextOf(context));
    if (pContext == nullptr || pPool == nullptr) {
        return KestrovaErrorInvalidContext;
    }
    // The error of an earlier run comes back here, before any work, and stays: only a new pool forgets it.
    const KestrovaError eEarlier = syncAndGetExecutorError(multiContextOf(context));
    if (eEarlier != KestrovaErrorOk) {
        return eEarlier;
    }
    if (pContext->m_bEnhancedStereo && pContext->m_bSubpixelInterpolation) {
        return KestrovaErrorNotImplemented; // the second, shifted pass; a calibration can ask for it
    }
    clearDisparityImages(*pContext);
    pContext->saveStereoParameters();

    const BandPlan plan(*pContext, pPool->size());
    pPool->executeAsynch(boost::bind(&standardMultithreadedStereo, plan, boost::placeholders::_1,
                                     boost::placeholders::_2, boost::placeholders::_3),
                         &standardValidate, *pContext);
    if (multiContextOf(context)->m_bAsynchronous && pPool->isRunning()) {
        return KestrovaErrorOk;
    }
    return syncAndGetExecutorError(multiContextOf(context));
}
