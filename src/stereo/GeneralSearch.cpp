#include "stereo/GeneralSearch.h"

#include <algorithm>

namespace kestrova {

namespace {

constexpr float sk_fOff = -1.0F;
constexpr int sk_nWholeUniqueness = 0x10000; // the share is in the seed already
constexpr std::uint8_t sk_ucHigh = 0xFF;

} // namespace

bool GeneralSearch::hasRoom() const
{
    for (int i = m_nFirst; i <= m_nLast; ++i) {
        if (!viewsAt(i).haveRoom(m_rGeometry.m_nHalfMask)) {
            return false;
        }
    }
    return true;
}

AlignedViews GeneralSearch::viewsAt(int i) const
{
    return alignedViews(m_rGeometry, m_rSteps, m_nImages, std::int64_t{i} + m_rContext.m_nDisparityOffset);
}

ImageROI GeneralSearch::output(const AlignedViews& rViews) const
{
    ImageROI output = rViews.output(halfMask());
    const int nWindows = rViews.view(0).m_nRows - m_rContext.m_nStereoMaskSize + 1;
    output.m_nRows = std::min(nWindows, viewsAt(m_nFirst).output(halfMask()).m_nRows);
    return output;
}

bool GeneralSearch::validates() const
{
    const StereoContext& r = m_rContext;
    return r.m_bEdgeCorrelation && (r.m_bTextureValidation || r.m_bUniquenessValidation);
}

float GeneralSearch::textureThreshold() const
{
    const StereoContext& r = m_rContext;
    return r.m_bTextureValidation ? static_cast<float>(r.m_dTextureValidationThreshold) : sk_fOff;
}

float GeneralSearch::uniquenessThreshold() const
{
    const StereoContext& r = m_rContext;
    return r.m_bUniquenessValidation ? static_cast<float>(r.m_dUniquenessValidationThreshold) : sk_fOff;
}

EarlySeeds GeneralSearch::seeds() const
{
    const StereoContext& r = m_rContext;
    return EarlySeeds::make(m_nImages, r.m_nStereoMaskSize, textureThreshold(), r.m_ucTextureValidationMapping,
                            uniquenessThreshold(), r.m_ucUniquenessValidationMapping);
}

// A minimum on a rim of the range may lie outside it and is no result, unless the rim is index 0. The range ends where
// this region's does, so the last index and the mapped step may differ between regions.
std::uint8_t GeneralSearch::label8(int i) const
{
    const StereoContext& r = m_rContext;
    if (i == m_nLast || (i == m_nFirst && m_nFirst != 0)) {
        return r.m_ucSubpixelValidationMapping;
    }
    const int nSpan = r.m_nDisparityMappingMax - r.m_nDisparityMappingMin;
    const int nLabel =
        r.m_bDisparityMappingOn ? r.m_nDisparityMappingMin + nSpan * (i - m_nFirst) / (m_nLast - m_nFirst) : i;
    return static_cast<std::uint8_t>(nLabel);
}

RowInterpolation GeneralSearch::fit() const
{
    const StereoContext& r = m_rContext;
    return {static_cast<std::uint16_t>(validates() && r.m_bTextureValidation ? 1 : 0),
            validates() && r.m_bUniquenessValidation ? sk_nWholeUniqueness : 0,
            static_cast<std::uint8_t>(m_nFirst),
            static_cast<std::uint8_t>(m_nLast),
            sk_ucHigh,
            r.m_ucTextureValidationMapping,
            r.m_ucUniquenessValidationMapping,
            r.m_ucSubpixelValidationMapping};
}

} // namespace kestrova
