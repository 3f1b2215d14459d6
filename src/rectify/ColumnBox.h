// A running box over an image that stands whole in memory: column sums, moved down a row at a time.
//
// As BoxFilter, but the row that leaves is read from the image again. The columns are the thread's own and are kept, so
// a frame allocates nothing once sizes are settled; one box at a time in a thread.
#pragma once

#include "image/Image.h"
#include "kernels/WideRows.h"

namespace kestrova {

class ColumnBox
{
public:
    /** The image outlives the box and is at least as large as the mask. */
    ColumnBox(const WideRowsForm& rForm, const Image<unsigned char>& rSrc, int nMaskRows, int nMaskCols);

    /** The form to use for a mask; null where BoxFilter is the better choice or a wide form is not wanted. */
    [[nodiscard]] static const WideRowsForm* formFor(int nMaskCols);

    /** Adds the next source row. The number of the row of boxes just completed, negative while there is none. */
    int addRow();
    /** The row of boxes just completed, of which nOut are wanted. */
    [[nodiscard]] ColumnRow row(int nOut) const { return {m_pColumns, m_nMaskCols, nOut}; }

private:
    const WideRowsForm& m_rForm;
    const Image<unsigned char>& m_rSrc;
    int m_nMaskRows;
    int m_nMaskCols;
    int m_nNext = 0; // source row
    std::uint16_t* m_pColumns;
};

} // namespace kestrova
