#include "stereo/generalStereo.h"

#include "context/StereoContext.h"
#include "kernels/InstructionSet.h"
#include "stereo/GeneralSearch.h"

#include <algorithm>
#include <cstdint>

namespace kestrova {

namespace {

// Images of another resolution than the context's, as after a change without a new frame, may not hold the views.
bool coverFrame(std::span<const Image<unsigned char>> images, const ImageDim& rFrame)
{
    return std::all_of(images.begin(), images.end(), [&](const Image<unsigned char>& rImage) {
        return rImage.nRows() >= rFrame.m_nRows && rImage.nCols() >= rFrame.m_nCols;
    });
}

KestrovaError search(const DisparityImages& rOut, const CorrelationSettings& r, const KestrovaROI& rRegion,
                     const CameraSteps& rSteps, std::span<const Image<unsigned char>> images)
{
    const RegionGeometry geometry{rRegion, r.m_frame, r.m_nMask / 2};
    const std::int64_t nHighest = highestDisparity(geometry, rSteps, r.m_nMaxDisparity);
    if (nHighest < 0) {
        return KestrovaErrorInvalidROI;
    }
    if (nHighest < r.m_nMinDisparity) {
        return KestrovaErrorOk;
    }
    const GeneralSearch search(r, rOut, geometry, rSteps, images, static_cast<int>(nHighest));
    if (!search.hasRoom()) {
        return KestrovaErrorInvalidROI;
    }
    if (!(rOut.size(r.m_bSubpixel) == r.m_frame) || !coverFrame(images, r.m_frame)) {
        return KestrovaErrorOk;
    }
    const bool bByRows = !instructionSet().m_bReference && r.m_nMinDisparity >= 0;
    (bByRows ? searchByRows : searchByPasses)(search);
    return KestrovaErrorOk;
}

} // namespace

KestrovaError generalStereo(StereoContext& rContext, const KestrovaROI& rRegion,
                            const Image<unsigned char>* pStereoImages, int K)
{
    const CameraSteps* const pSteps = cameraSteps(rContext.m_eCameraConfiguration);
    if (pSteps == nullptr || K < 2 || K > sk_nMostCameras) {
        return KestrovaErrorUnknown;
    }
    return search(DisparityImages::of(rContext), CorrelationSettings::of(rContext), rRegion, *pSteps,
                  {pStereoImages, static_cast<std::size_t>(K)});
}

} // namespace kestrova
