// Box average and gain of an image, row by row: the half of the lowpass that comes before the warp.
#pragma once

#include "kernels/BoxFilter.h"
#include "rectify/ColumnBox.h"

#include <optional>

namespace kestrova {

class BoxAverage
{
public:
    /** Averages go into the rows of interior. sums and box, which was reset to it, serve where no wide form does. */
    BoxAverage(Image<unsigned char>& rInterior, const Image<unsigned char>& rSrc, Image<unsigned short>& rSums,
               BoxFilter& rBox, int nScale, int nMaskRows, int nMaskCols);

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
