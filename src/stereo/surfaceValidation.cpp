#include "stereo/surfaceValidation.h"

#include "context/StereoContext.h"
#include "stereo/CorrelationSettings.h"

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

LabelScale labelScale(const CorrelationSettings& r)
{
    if (r.m_bMapping) {
        const double dSpan = r.m_nMappingMax - r.m_nMappingMin;
        return {static_cast<std::uint8_t>(r.m_nMappingMin), static_cast<std::uint8_t>(r.m_nMappingMax),
                dSpan / (r.m_nMaxDisparity - r.m_nMinDisparity)};
    }
    return {static_cast<std::uint8_t>(r.m_nMinDisparity - r.m_nDisparityOffset),
            static_cast<std::uint8_t>(r.m_nMaxDisparity - r.m_nDisparityOffset), 1.0};
}

/** What makes a surface: so many pixels, each within so many disparities of the next; and how others show. */
struct SurfaceTest
{
    double m_dDifference;
    unsigned m_uMinSize;
    std::uint8_t m_ucCode;
};

void validate16(KesSegmentContext& rSegments, Image<unsigned short>& rImage, Image<unsigned int>& rLabels,
                const CorrelationSettings& r, const SurfaceTest& rTest)
{
    // The edge mask counts whether or not edge images were correlated.
    const int nBorder = r.m_nMask / 2 + r.m_nEdgeMask / 2;
    prepareLabels(rLabels, rImage.size());
    rSegments.SegmentIntoRegions(rImage, rLabels, rTest.m_dDifference, rTest.m_uMinSize,
                                 static_cast<std::uint16_t>(sk_uReject + rTest.m_ucCode),
                                 static_cast<unsigned>(nBorder));
}

void validate8(KesSegmentContext& rSegments, Image<unsigned char>& rImage, Image<unsigned int>& rLabels,
               const CorrelationSettings& r, const SurfaceTest& rTest)
{
    const LabelScale scale = labelScale(r);
    prepareLabels(rLabels, rImage.size());
    rSegments.SegmentIntoRegions(rImage, rLabels, rTest.m_dDifference * scale.m_dPerDisparity, scale.m_ucMin,
                                 scale.m_ucMax, rTest.m_uMinSize, rTest.m_ucCode);
}

} // namespace

bool validateSurfaces(StereoContext* pContext)
{
    if (pContext == nullptr) {
        return false;
    }
    StereoContext& r = *pContext;
    const CorrelationSettings settings = CorrelationSettings::of(r);
    const SurfaceTest test{r.m_dSurfaceValidationDifference, static_cast<unsigned>(r.m_nSurfaceValidationSize),
                           r.m_ucSurfaceValidationMapping};
    if (settings.m_bSubpixel) {
        validate16(r.m_segmentContext, r.m_disparityImage16, r.m_surfaceLabelImage, settings, test);
    } else {
        validate8(r.m_segmentContext, r.m_disparityImage, r.m_surfaceLabelImage, settings, test);
    }
    return true;
}

} // namespace kestrova
