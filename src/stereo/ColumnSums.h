// What one call of the plain fast correlator works in: the sum table, the ring of differences and the walk over the
// rows.
//
// All storage is made once per call; a row allocates nothing.
#pragma once

#include "image/Image.h"
#include "stereo/ColumnLayout.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kestrova {

class ColumnSums : public ColumnLayout
{
public:
    ColumnSums(const ColumnLayout& rLayout, const Image<unsigned char>& rReference,
               const Image<unsigned char>& rSearch);

    /** Calls rOutput with the number of every output row once the sums stand for it; returns the lanes updated. */
    template<typename Output>
    unsigned forEachRow(Output&& rOutput)
    {
        unsigned uLanes = 0;
        for (int nRow = 0; nRow < nRows(); ++nRow) {
            const unsigned uUpdated = addRow(nRow);
            if (nRow >= mask() - 1) {
                rOutput(nRow - (mask() - 1));
                uLanes += uUpdated;
            }
        }
        return uLanes;
    }

    [[nodiscard]] const std::uint16_t* table() const { return m_table.data(); }

private:
    unsigned addRow(int nRow);
    std::uint8_t* ringRow(int nRow);

    Image<unsigned char> m_reference;
    Image<unsigned char> m_search;
    std::vector<std::uint16_t> m_table;
    std::vector<std::uint8_t> m_ring;
    std::size_t m_uRingRow; // bytes
};

} // namespace kestrova
