#include "stereo/ColumnSums.h"

#include "kernels/mongo.h"

namespace kestrova {

// The back-forth search looks at whole groups, also at the table's end, where its results are not used. The ring has
// one row more than the mask: the row that leaves is still there when the new one arrives.
ColumnSums::ColumnSums(const ColumnLayout& rLayout, const Image<unsigned char>& rReference,
                       const Image<unsigned char>& rSearch)
    : ColumnLayout(rLayout), m_reference(rReference), m_search(rSearch),
      m_table(static_cast<std::size_t>(width()) * static_cast<std::size_t>(nLanes()) + 8, use().m_uStart),
      m_uRingRow(static_cast<std::size_t>(width() + mask()) * static_cast<std::size_t>(nLanes()))
{
    m_ring.assign(m_uRingRow * (static_cast<std::size_t>(mask()) + 1), 0);
}

std::uint8_t* ColumnSums::ringRow(int nRow)
{
    return m_ring.data() + static_cast<std::size_t>(nRow % (mask() + 1)) * m_uRingRow;
}

unsigned ColumnSums::addRow(int nRow)
{
    const MongoRow row{&m_reference[nRow][0],
                       &m_search[nRow][0],
                       ringRow(nRow),
                       ringRow(nRow + mask()),
                       m_table.data(),
                       width(),
                       searchWidth(),
                       mask(),
                       nStride()};
    return (use().m_bTextureLane ? mongo_val_row : mongo_row)(row, nRow == 0);
}

} // namespace kestrova
