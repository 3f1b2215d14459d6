// Labels of a disparity image by runs of equal labels, the same for every pixel as the rule for single pixels gives.
//
// A label can change only where a run of close pixels begins or ends, and where the pixel above begins to be close or
// has another label than the one on its left. Those places come out of words of bits; all pixels between them are
// filled at once.
#pragma once

#include "kernels/surface_bits.h"
#include "surfaces/SurfaceTables.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kestrova {

/** Runs of rows in the order of a raster scan. Kept from frame to frame for its memory. */
class SurfaceRuns
{
public:
    /** A run ends where the next begins; the last of a row is empty. */
    struct Run
    {
        unsigned m_nBegin; // pixels from the first of the row that is labelled
        unsigned m_nLabel;
    };

    /** Before the first row. The row above it has these labels. */
    void begin(int nPixels, const unsigned* pUpperLabels);

    /** Words for the bits of a row, which the next call of labelRow reads. */
    [[nodiscard]] SurfaceBits* bits() { return m_bits.data(); }

    /** Labels a row; the labels stay valid until the next but one is done. */
    const unsigned* labelRow(SurfaceTables& rTables);

    /** Calls use(row, first pixel, end) for runs whose label is marked in a finished table; rows count from 0. */
    template<typename Use>
    void forEachMarked(const unsigned* pnTable, Use&& rUse)
    {
        for (std::size_t nRow = 0; nRow + 1 < m_rows.size(); ++nRow) {
            markRow(nRow, pnTable);
            for (const Marked* p = m_marked.data(); p->m_nBegin != p->m_nEnd; ++p) {
                rUse(static_cast<int>(nRow), static_cast<int>(p->m_nBegin), static_cast<int>(p->m_nEnd));
            }
        }
    }

    /** Of all tables, in bytes. */
    [[nodiscard]] std::size_t bytes() const;

private:
    /** Pixels to reject; an empty one ends the row. */
    struct Marked
    {
        unsigned m_nBegin;
        unsigned m_nEnd;
    };

    /** What goes from word to word along a row. */
    struct RowState
    {
        Run* m_pRun; // the one that is open
        std::uint64_t m_uValidCarry;
        std::uint64_t m_uUpCarry;
        unsigned m_nValid; // pixels
    };

    void labelWord(RowState& rRow, SurfaceTables& rTables, unsigned nWord);
    void fillRow(SurfaceTables& rTables, const Run* pEnd);
    void markRow(std::size_t nRow, const unsigned* pnTable);

    unsigned m_nPixels = 0;               // of a row
    std::vector<Run> m_runs;              // room for a whole row behind those in use
    std::vector<std::size_t> m_rows;      // the first run of each row, and the end
    std::vector<SurfaceBits> m_bits;      // of the row
    std::vector<std::uint64_t> m_changes; // of the row above: pixels with another label than the one on their left
    std::vector<unsigned> m_labels;       // of the row, with room to write whole vectors
    std::vector<unsigned> m_upperLabels;
    std::vector<Marked> m_marked; // of one row
};

} // namespace kestrova
