#include "stereo/ColumnLayout.h"

#include "kernels/processor.h"

#include <algorithm>

namespace kestrova {

namespace {

bool fits(const ImageDim& rOut, const ImageDim& rReference, const ImageDim& rSearch, int m)
{
    return rReference.m_nCols >= m && rReference.m_nRows >= m && rReference.m_nRows <= m - 1 + rOut.m_nRows &&
           rReference.m_nCols <= m - 1 + rOut.m_nCols && rReference.m_nRows <= rSearch.m_nRows &&
           rReference.m_nCols <= rSearch.m_nCols;
}

} // namespace

std::optional<ColumnLayout> ColumnLayout::make(const ImageDim& rOut, const ImageDim& rReference,
                                               const ImageDim& rSearch, unsigned n, unsigned m, const LaneUse& rUse)
{
    const int nMask = static_cast<int>(std::max(m, 1U));
    if (!fits(rOut, rReference, rSearch, nMask) || n > rUse.m_uMost) {
        return std::nullopt;
    }
    ColumnLayout layout(rReference, rSearch, nMask, rUse, sse2Enabled());
    layout.groupLanes(static_cast<int>(n) + (rUse.m_bTextureLane ? 1 : 0));
    return layout.nStride() < 1 ? std::nullopt : std::optional(layout);
}

ColumnLayout::ColumnLayout(const ImageDim& rReference, const ImageDim& rSearch, int nMask, const LaneUse& rUse,
                           bool bSSE2)
    : m_reference(rReference), m_search(rSearch), m_use(rUse), m_nMask(nMask), m_bSSE2(bSSE2)
{}

// Groups are whole, so there may be more lanes than were asked for; and no more than have a window in the search row.
void ColumnLayout::groupLanes(int nLanes)
{
    const int nGroup = m_bSSE2 ? 8 : 4;
    const int nLimit = (m_search.m_nCols + 1 - m_nMask) / nGroup;
    m_nGroups = (nLanes + nGroup - 1) / nGroup;
    m_uLastLane = static_cast<unsigned>(nLanes) - 1;
    if (nLimit < m_nGroups) {
        m_nGroups = nLimit;
        m_uLastLane = static_cast<unsigned>(nGroup * nLimit) - 1;
    }
}

LaneStep ColumnLayout::step(int nFirstLane) const
{
    const int nReserved = m_use.m_bTextureLane ? 1 : 0;
    const bool bTexture = nFirstLane == 0 && m_use.m_bTextureLane;
    const int nLanesOfStep = bTexture || nFirstLane + 4 == nLanes() ? 4 : 8;
    const int nHighest = nFirstLane - nReserved + nLanesOfStep - 1; // disparity
    return {nFirstLane, nLanesOfStep, std::min(searchWidth() - nHighest, width()) + 1 - m_nMask};
}

} // namespace kestrova
