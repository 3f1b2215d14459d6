#include "stereo/GeneralSearch.h"

#include <algorithm>

namespace kestrova {

namespace {

constexpr double sk_dOff = -1.0;
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
    return alignedViews(m_rGeometry, m_rSteps, images(), std::int64_t{i} + m_rSettings.m_nDisparityOffset);
}

ImageROI GeneralSearch::output(const AlignedViews& rViews) const
{
    ImageROI output = rViews.output(halfMask());
    const int nWindows = rViews.view(0).m_nRows - m_rSettings.m_nMask + 1;
    output.m_nRows = std::min(nWindows, viewsAt(m_nFirst).output(halfMask()).m_nRows);
    return output;
}

EarlyTests GeneralSearch::tests() const
{
    const CorrelationSettings& r = m_rSettings;
    return {images(),
            r.m_nMask,
            static_cast<float>(r.m_texture.thresholdOr(sk_dOff)),
            r.m_texture.m_ucCode,
            static_cast<float>(r.m_uniqueness.thresholdOr(sk_dOff)),
            r.m_uniqueness.m_ucCode};
}

// A minimum on a rim of the range may lie outside it and is no result, unless the rim is index 0. The range ends where
// this region's does, so the last index and the mapped step may differ between regions.
std::uint8_t GeneralSearch::label8(int i) const
{
    const CorrelationSettings& r = m_rSettings;
    if (i == m_nLast || (i == m_nFirst && m_nFirst != 0)) {
        return r.m_ucInvalid;
    }
    const int nSpan = r.m_nMappingMax - r.m_nMappingMin;
    const int nLabel = r.m_bMapping ? r.m_nMappingMin + nSpan * (i - m_nFirst) / (m_nLast - m_nFirst) : i;
    return static_cast<std::uint8_t>(nLabel);
}

RowInterpolation GeneralSearch::fit() const
{
    const CorrelationSettings& r = m_rSettings;
    return {static_cast<std::uint16_t>(r.testsLabels() && r.m_texture.m_bOn ? 1 : 0),
            r.testsLabels() && r.m_uniqueness.m_bOn ? sk_nWholeUniqueness : 0,
            static_cast<std::uint8_t>(m_nFirst),
            static_cast<std::uint8_t>(m_nLast),
            sk_ucHigh,
            r.m_texture.m_ucCode,
            r.m_uniqueness.m_ucCode,
            r.m_ucInvalid};
}

} // namespace kestrova
