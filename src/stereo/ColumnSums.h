// What one call of a fast correlator works in: the sum table, the ring of differences and the walk over the rows.
//
// All storage is made once per call; a row allocates nothing.
#pragma once

#include "image/Image.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace kestrova {

/** How a form of the correlator uses the lanes. */
struct LaneUse
{
    bool m_bTextureLane;    // lane 0 holds the texture measure, disparities begin at lane 1
    std::uint16_t m_uStart; // every lane before the first row; with 1 no lane ever holds a true 0
    unsigned m_uMost;       // disparities that fit
};

class ColumnSums
{
public:
    /** None when the views do not suit each other, the mask or the output, or hold no group of lanes. */
    [[nodiscard]] static std::optional<ColumnSums> make(const ImageDim& rOut, const Image<unsigned char>& rReference,
                                                        const Image<unsigned char>& rSearch, unsigned n, unsigned m,
                                                        const LaneUse& rUse);

    /** Calls rOutput with the number of every output row once the sums stand for it; returns the lanes updated. */
    template<typename Output>
    unsigned forEachRow(Output&& rOutput)
    {
        unsigned uLanes = 0;
        for (int nRow = 0; nRow < m_reference.nRows(); ++nRow) {
            const unsigned uUpdated = addRow(nRow);
            if (nRow >= m_nMask - 1) {
                rOutput(nRow - (m_nMask - 1));
                uLanes += uUpdated;
            }
        }
        return uLanes;
    }

    [[nodiscard]] const std::uint16_t* table() const { return m_table.data(); }
    [[nodiscard]] int width() const { return m_reference.nCols(); }
    [[nodiscard]] int mask() const { return m_nMask; }
    /** Output pixels of a row. */
    [[nodiscard]] int nCount() const { return m_reference.nCols() + 1 - m_nMask; }
    /** Search columns that the back-forth check looks back from. */
    [[nodiscard]] int nInverse() const { return m_reference.nCols() - (m_nMask - 1) / 2; }
    /** Groups of a column: of 8 lanes with bSSE2, of 4 without. */
    [[nodiscard]] int nGroups() const { return m_nGroups; }
    /** Lanes of a column / 4. */
    [[nodiscard]] int nStride() const { return m_bSSE2 ? 2 * m_nGroups : m_nGroups; }
    [[nodiscard]] bool bSSE2() const { return m_bSSE2; }
    /** The last lane that a result may come from; a search row too short for the range cuts it. */
    [[nodiscard]] unsigned lastLane() const { return m_uLastLane; }

private:
    ColumnSums(const Image<unsigned char>& rReference, const Image<unsigned char>& rSearch, int nMask,
               const LaneUse& rUse);
    void groupLanes(int nLanes);
    void allocate();
    unsigned addRow(int nRow);
    std::uint8_t* ringRow(int nRow);

    Image<unsigned char> m_reference;
    Image<unsigned char> m_search;
    LaneUse m_use;
    int m_nMask;
    bool m_bSSE2;
    int m_nGroups = 0;
    unsigned m_uLastLane = 0;
    std::vector<std::uint16_t> m_table;
    std::vector<std::uint8_t> m_ring;
    std::size_t m_uRingRow = 0; // bytes
};

} // namespace kestrova
