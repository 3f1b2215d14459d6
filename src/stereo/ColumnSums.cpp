#include "stereo/ColumnSums.h"

#include "kernels/mongo.h"
#include "stereo/Scratch.h"

#include <algorithm>

namespace kestrova {

ColumnSums::ColumnSums(const ColumnLayout& rLayout, const Image<unsigned char>& rReference,
                       const Image<unsigned char>& rSearch)
    : ColumnLayout(rLayout), m_reference(rReference), m_search(rSearch),
      m_uRingRow(static_cast<std::size_t>(width() + mask()) * static_cast<std::size_t>(nLanes()))
{
    takeScratch();
}

// The back-forth search looks at whole groups, also at the table's end, where its results are not used. The ring has
// one row more than the mask: the row that leaves is still there when the new one arrives.
void ColumnSums::takeScratch()
{
    const std::size_t uTable = static_cast<std::size_t>(width()) * static_cast<std::size_t>(nLanes()) + 8;
    const std::size_t uRing = m_uRingRow * (static_cast<std::size_t>(mask()) + 1);
    const auto hand = [&](auto& rScratch) {
        m_pTable = rScratch.template take<std::uint16_t>(uTable);
        m_pRing = rScratch.template take<std::uint8_t>(uRing);
        m_pLanes = rScratch.template take<std::uint8_t>(static_cast<std::size_t>(nCount()));
        m_inverse.take(rScratch, width());
    };
    ScratchCount count;
    hand(count);
    threadScratch().reset(count.m_uBytes);
    hand(threadScratch());
    std::fill_n(m_pTable, uTable, static_cast<std::uint16_t>(use().m_uStart));
    std::fill_n(m_pRing, uRing, std::uint8_t{0});
    std::fill_n(m_pLanes, nCount(), std::uint8_t{0});
    m_inverse.clear();
}

std::uint8_t* ColumnSums::ringRow(int nRow)
{
    return m_pRing + static_cast<std::size_t>(nRow % (mask() + 1)) * m_uRingRow;
}

unsigned ColumnSums::addRow(int nRow)
{
    const MongoRow row{&m_reference[nRow][0],
                       &m_search[nRow][0],
                       ringRow(nRow),
                       ringRow(nRow + mask()),
                       m_pTable,
                       width(),
                       searchWidth(),
                       mask(),
                       nStride()};
    return (use().m_bTextureLane ? mongo_val_row : mongo_row)(row, nRow == 0);
}

} // namespace kestrova
