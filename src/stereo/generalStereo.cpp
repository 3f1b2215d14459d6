#include "stereo/generalStereo.h"

#include "kernels/InstructionSet.h"
#include "stereo/GeneralSearch.h"

#include <algorithm>
#include <cstdint>

namespace kestrova {

namespace {

// Images of another resolution than the context's, as after a change without a new frame, may not hold the views.
bool coverFrame(const Image<unsigned char>* pImages, int K, const ImageDim& rFrame)
{
    return std::all_of(pImages, pImages + K, [&](const Image<unsigned char>& rImage) {
        return rImage.nRows() >= rFrame.m_nRows && rImage.nCols() >= rFrame.m_nCols;
    });
}

} // namespace

KestrovaError generalStereo(StereoContext& rContext, const KestrovaROI& rRegion,
                            const Image<unsigned char>* pStereoImages, int K)
{
    const CameraSteps* const pSteps = cameraSteps(rContext.m_eCameraConfiguration);
    if (pSteps == nullptr || K < 2 || K > sk_nMostCameras) {
        return KestrovaErrorUnknown;
    }
    const RegionGeometry geometry{rRegion, {rContext.m_nRows, rContext.m_nCols}, rContext.m_nStereoMaskSize / 2};
    const std::int64_t nHighest = highestDisparity(geometry, *pSteps, rContext.m_nMaxDisparity);
    if (nHighest < 0) {
        return KestrovaErrorInvalidROI;
    }
    if (nHighest < rContext.m_nMinDisparity) {
        return KestrovaErrorOk;
    }
    const GeneralSearch search(rContext, geometry, *pSteps, pStereoImages, K, static_cast<int>(nHighest));
    if (!search.hasRoom()) {
        return KestrovaErrorInvalidROI;
    }
    const ImageDim outDim =
        rContext.m_bSubpixelInterpolation ? rContext.m_disparityImage16.size() : rContext.m_disparityImage.size();
    if (!(outDim == geometry.m_frame) || !coverFrame(pStereoImages, K, geometry.m_frame)) {
        return KestrovaErrorOk;
    }
    const bool bByRows = !instructionSet().m_bReference && rContext.m_nMinDisparity >= 0;
    (bByRows ? searchByRows : searchByPasses)(search);
    return KestrovaErrorOk;
}

} // namespace kestrova
