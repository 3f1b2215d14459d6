#include "stereo/surfaceValidation.h"

#include "context/StereoContext.h"

namespace kestrova {

namespace {

constexpr unsigned sk_uReject = KestrovaDisparity16Invalid; // plus a code

void prepareLabels(Image<unsigned int>& rLabels, const ImageDim& rDim)
{
    if (!(rLabels.size() == rDim)) {
        rLabels = Image<unsigned int>(rDim);
    }
}

/** Where the labels of the 8-bit image lie, and what a step of one disparity is there. */
struct LabelScale
{
    std::uint8_t m_ucMin;
    std::uint8_t m_ucMax;
    double m_dPerDisparity;
};

LabelScale labelScale(const StereoContext& r)
{
    if (r.m_bDisparityMappingOn) {
        const double dSpan = r.m_nDisparityMappingMax - r.m_nDisparityMappingMin;
        return {static_cast<std::uint8_t>(r.m_nDisparityMappingMin),
                static_cast<std::uint8_t>(r.m_nDisparityMappingMax), dSpan / (r.m_nMaxDisparity - r.m_nMinDisparity)};
    }
    return {static_cast<std::uint8_t>(r.m_nMinDisparity - r.m_nDisparityOffset),
            static_cast<std::uint8_t>(r.m_nMaxDisparity - r.m_nDisparityOffset), 1.0};
}

} // namespace

bool validateSurfaces(StereoContext* pContext)
{
    if (pContext == nullptr) {
        return false;
    }
    StereoContext& r = *pContext;
    const auto uMinSize = static_cast<unsigned>(r.m_nSurfaceValidationSize);
    if (r.m_bSubpixelInterpolation) {
        // The edge mask counts whether or not edge images were correlated.
        const int nBorder = r.m_nStereoMaskSize / 2 + r.m_nEdgeMaskSize / 2;
        prepareLabels(r.m_surfaceLabelImage, r.m_disparityImage16.size());
        r.m_segmentContext.SegmentIntoRegions(
            r.m_disparityImage16, r.m_surfaceLabelImage, r.m_dSurfaceValidationDifference, uMinSize,
            static_cast<std::uint16_t>(sk_uReject + r.m_ucSurfaceValidationMapping), static_cast<unsigned>(nBorder));
    } else {
        const LabelScale scale = labelScale(r);
        prepareLabels(r.m_surfaceLabelImage, r.m_disparityImage.size());
        r.m_segmentContext.SegmentIntoRegions(r.m_disparityImage, r.m_surfaceLabelImage,
                                              r.m_dSurfaceValidationDifference * scale.m_dPerDisparity, scale.m_ucMin,
                                              scale.m_ucMax, uMinSize, r.m_ucSurfaceValidationMapping);
    }
    return true;
}

} // namespace kestrova
