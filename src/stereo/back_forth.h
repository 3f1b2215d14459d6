// The back-forth check: the best disparity as seen from the search image, and its comparison with the forward one.
#pragma once

#include "stereo/labels.h"

#include <cstdint>
#include <vector>

namespace kestrova {

/**
 * The inverse disparity of a row, with the scratch to find it. Made once per call of a correlator; entries at and
 * beyond the count given to a search read as 0, also behind the end of the row.
 */
class InverseRow
{
public:
    explicit InverseRow(int W);

    /**
     * For each of nCount search columns r the disparity index d, from 0 to the smaller of r and n - 1, with the lowest
     * sum at reference column r - d; the lowest d wins a tie.
     *
     * A range that is wider than a column's 4 * nStride lanes runs on into the lanes of the next column: so it is
     * where the search image ends, and there disparity maps depend on it.
     */
    void mongo_inverse(const std::uint16_t* pTable, int nCount, int n, int nStride);

    /**
     * As mongo_inverse for tables with the texture measure in lane 0; entry r is the label of the winning lane. The
     * last disparity of the range is no candidate here.
     */
    void mongo_val_inverse(const std::uint16_t* pTable, const LabelTable& rLabels, int nCount, int n, int nStride);

    [[nodiscard]] const std::uint8_t* data() const { return m_inverse.data(); }

private:
    void search(const std::uint16_t* pTable, int nCount, int n, int nStride);

    std::vector<std::uint8_t> m_inverse;
    std::vector<std::uint16_t> m_best;
    std::vector<std::uint16_t> m_winner;
};

/**
 * Turns a row of raw indices into labels. An index whose inverse is more than 1 away becomes the back-forth mapping,
 * 241 to 249 become invalid, and 250 and above are codes that stand.
 */
void back_forth_row(std::uint8_t* pRow, const std::uint8_t* pInverse, const LabelTable& rLabels, int nCount,
                    std::uint8_t ucInvalid, std::uint8_t ucBackForthMapping);

} // namespace kestrova
