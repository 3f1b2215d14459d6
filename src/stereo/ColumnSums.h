// What one call of the plain fast correlator works in: the sum table, the ring of differences and the walk over the
// rows.
//
// Scratch is kept from call to call, so a frame allocates nothing once sizes are settled.
#pragma once

#include "image/Image.h"
#include "stereo/ColumnLayout.h"
#include "stereo/back_forth.h"

#include <cstddef>
#include <cstdint>

namespace kestrova {

class ColumnSums : public ColumnLayout
{
public:
    ColumnSums(const ColumnLayout& rLayout, const Image<unsigned char>& rReference,
               const Image<unsigned char>& rSearch);
    ColumnSums(const ColumnSums&) = delete; // works in the thread's scratch
    ColumnSums& operator=(const ColumnSums&) = delete;

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

    [[nodiscard]] const std::uint16_t* table() const { return m_pTable; }
    [[nodiscard]] InverseRow& inverse() { return m_inverse; }
    /** Room for a byte per pixel of a row. */
    [[nodiscard]] std::uint8_t* lanes() { return m_pLanes; }

private:
    void takeScratch();
    unsigned addRow(int nRow);
    std::uint8_t* ringRow(int nRow);

    Image<unsigned char> m_reference;
    Image<unsigned char> m_search;
    InverseRow m_inverse;
    std::uint16_t* m_pTable = nullptr;
    std::uint8_t* m_pRing = nullptr;
    std::uint8_t* m_pLanes = nullptr;
    std::size_t m_uRingRow; // bytes
};

} // namespace kestrova
