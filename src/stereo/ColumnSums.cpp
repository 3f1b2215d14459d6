#include "stereo/ColumnSums.h"

#include "stereo/mongo.h"
#include "stereo/processor.h"

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

std::optional<ColumnSums> ColumnSums::make(const ImageDim& rOut, const Image<unsigned char>& rReference,
                                           const Image<unsigned char>& rSearch, unsigned n, unsigned m,
                                           const LaneUse& rUse)
{
    const int nMask = static_cast<int>(std::max(m, 1U));
    if (!fits(rOut, rReference.size(), rSearch.size(), nMask) || n > rUse.m_uMost) {
        return std::nullopt;
    }
    ColumnSums sums(rReference, rSearch, nMask, rUse);
    sums.groupLanes(static_cast<int>(n) + (rUse.m_bTextureLane ? 1 : 0));
    if (sums.nStride() < 1) {
        return std::nullopt;
    }
    sums.allocate();
    return sums;
}

ColumnSums::ColumnSums(const Image<unsigned char>& rReference, const Image<unsigned char>& rSearch, int nMask,
                       const LaneUse& rUse)
    : m_reference(rReference), m_search(rSearch), m_use(rUse), m_nMask(nMask), m_bSSE2(sse2Enabled())
{}

// Groups are whole, so there may be more lanes than were asked for; and no more than have a window in the search row.
void ColumnSums::groupLanes(int nLanes)
{
    const int nGroup = m_bSSE2 ? 8 : 4;
    const int nLimit = (m_search.nCols() + 1 - m_nMask) / nGroup;
    m_nGroups = (nLanes + nGroup - 1) / nGroup;
    m_uLastLane = static_cast<unsigned>(nLanes) - 1;
    if (nLimit < m_nGroups) {
        m_nGroups = nLimit;
        m_uLastLane = static_cast<unsigned>(nGroup * nLimit) - 1;
    }
}

void ColumnSums::allocate()
{
    // The back-forth search looks at whole groups, also at the table's end, where its results are not used.
    constexpr std::size_t sk_uSlack = 8;
    const auto uLanes = static_cast<std::size_t>(nStride()) * 4;
    m_table.assign(static_cast<std::size_t>(width()) * uLanes + sk_uSlack, m_use.m_uStart);
    // One row more than the mask: the row that leaves is still there when the new one arrives.
    m_uRingRow = static_cast<std::size_t>(width() + m_nMask) * uLanes;
    m_ring.assign(m_uRingRow * (static_cast<std::size_t>(m_nMask) + 1), 0);
}

std::uint8_t* ColumnSums::ringRow(int nRow)
{
    return m_ring.data() + static_cast<std::size_t>(nRow % (m_nMask + 1)) * m_uRingRow;
}

unsigned ColumnSums::addRow(int nRow)
{
    const MongoRow row{&m_reference[nRow][0],
                       &m_search[nRow][0],
                       ringRow(nRow),
                       ringRow(nRow + m_nMask),
                       m_table.data(),
                       m_reference.nCols(),
                       m_search.nCols(),
                       m_nMask,
                       nStride()};
    return (m_use.m_bTextureLane ? mongo_val_row : mongo_row)(row, nRow == 0);
}

} // namespace kestrova
