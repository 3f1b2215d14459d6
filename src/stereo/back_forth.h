// The back-forth check: the best disparity as seen from the search image, and its comparison with the forward one.
#pragma once

#include "stereo/labels.h"

#include <cstddef>
#include <cstdint>

namespace kestrova {

/**
 * The inverse disparity of a row, with the scratch to find it. Made once per call of a correlator; entries at and
 * beyond the count given to a search read as 0, also behind the end of the row.
 */
class InverseRow
{
public:
    /** Takes its storage out of a Scratch, or out of what counts for one, for rows of W pixels. */
    template<typename Taker>
    void take(Taker& rTaker, int W)
    {
        m_uSize = static_cast<std::size_t>(W) + sk_uBeyond;
        m_pInverse = rTaker.template take<std::uint8_t>(m_uSize);
        m_pBest = rTaker.template take<std::uint16_t>(m_uSize);
        m_pWinner = rTaker.template take<std::uint16_t>(m_uSize);
    }
    /** To be called once the storage is there. */
    void clear();

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

    [[nodiscard]] const std::uint8_t* data() const { return m_pInverse; }

private:
    void search(const std::uint16_t* pTable, int nCount, int n, int nStride);

    static constexpr std::size_t sk_uBeyond = 256 + 2 * 8; // the widest range, and two groups of disparities

    std::size_t m_uSize = 0;
    std::uint8_t* m_pInverse = nullptr;
    std::uint16_t* m_pBest = nullptr;
    std::uint16_t* m_pWinner = nullptr;
};

/**
 * Turns a row of raw indices into labels. An index whose inverse is more than 1 away becomes the back-forth mapping,
 * 241 to 249 become invalid, and 250 and above are codes that stand.
 */
void back_forth_row(std::uint8_t* pRow, const std::uint8_t* pInverse, const LabelTable& rLabels, int nCount,
                    std::uint8_t ucInvalid, std::uint8_t ucBackForthMapping);

} // namespace kestrova
