// A running box sum over the rows of an 8-bit image: one row in, one row of 16-bit sums out, at a cost per pixel that
// does not depend on the box.
//
// Sums wrap at 65536, and the row operations that read them take them as signed, so they are sound for boxes of up to
// 128 pixels of value 255.
#pragma once

#include "image/Image.h"

namespace kestrova {

class BoxFilter
{
public:
    /**
     * Starts anew. The sums go into the rows of rSums, or all into one row if its row distance is 0; the storage is
     * shared, not copied. What of a box row does not fit into rSums is dropped. The ring is kept if it fits.
     */
    void reset(Image<unsigned short>& rSums, unsigned uMaskRows, unsigned uMaskCols);

    /**
     * Adds a source row of nCols pixels; exactly these are read, so the row may lie in memory of a caller.
     *
     * @return the number of the output row just completed, negative while the box is not yet full. Output pixel
     *         (n, c) covers source rows n to n + maskRows - 1 and columns c to c + maskCols - 1.
     */
    int add(const Row<const unsigned char>& rRow, int nCols, bool bSSE2);
    int add(const Row<unsigned char>& rRow, int nCols, bool bSSE2)
    {
        return add(Row<const unsigned char>(&rRow[0], rRow.nCols()), nCols, bSSE2);
    }

private:
    void sumRow(unsigned short* pOut, const unsigned char* pRow, int nOut, bool bSSE2) const;

    // One row more than the box: the row that leaves is still there when the new one arrives.
    Image<unsigned short> m_rowSums;
    Image<unsigned short> m_sums;
    std::int32_t m_nMaskCols = 1;
    std::int32_t m_nMaskRows = 1;
    std::int32_t m_nRowsAdded = 0;
};

} // namespace kestrova
