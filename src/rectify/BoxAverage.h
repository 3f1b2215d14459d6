// Box average and gain of an image, row by row: the half of the lowpass that comes before the warp.
#pragma once

#include "kernels/BoxFilter.h"
#include "rectify/ColumnBox.h"

#include <optional>

namespace kestrova {

/** The average of one image: where it goes, what it works with, and the box. */
struct BoxPass
{
    Image<unsigned char>& m_rTmp;      // of source size
    Image<unsigned char>& m_rInterior; // the part of it that the box can reach
    Image<unsigned short>& m_rSums;    // the accumulator that the filter was reset to; both serve where no wide form
    BoxFilter& m_rBox;                 // sums by columns
    int m_nScale;                      // the 16.16 factor of row_pack_op
    int m_nMaskRows;
    int m_nMaskCols;
};

class BoxAverage
{
public:
    /** Averages go into the rows of the interior. */
    BoxAverage(const BoxPass& rPass, const Image<unsigned char>& rSrc);

    /** Takes in the next source row. The number of the row just completed, negative while there is none. */
    int addRow();
    /** Writes the row just completed; nothing for a negative number. */
    void writeRow(int nRow);

private:
    Image<unsigned char>& m_rInterior;
    const Image<unsigned char>& m_rSrc;
    Image<unsigned short>& m_rSums;
    BoxFilter& m_rBox;
    int m_nScale;
    bool m_bSSE2;
    int m_nNext = 0; // source row
    const WideRowsForm* m_pForm;
    std::optional<ColumnBox> m_columns; // where there is a form
};

} // namespace kestrova
