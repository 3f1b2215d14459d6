#include "stereo/back_forth.h"

#include "kernels/InstructionSet.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdlib>

namespace kestrova {

namespace {

constexpr int sk_nHighestLabel = 240;
constexpr int sk_nLowestCode = 250;

} // namespace

void InverseRow::clear()
{
    std::fill_n(m_pInverse, m_uSize, std::uint8_t{0});
}

void InverseRow::search(const std::uint16_t* pTable, int nCount, int n, int nStride)
{
    assert(n <= sk_nMostInverse);
    instructionSet().m_pColumns->findInverse(
        {pTable, nCount, n, static_cast<std::ptrdiff_t>(nStride) * 4, m_pBest, m_pWinner});
}

void InverseRow::mongo_inverse(const std::uint16_t* pTable, int nCount, int n, int nStride)
{
    search(pTable, nCount, n, nStride);
    for (int r = 0; r < nCount; ++r) {
        m_pInverse[r] = static_cast<std::uint8_t>(m_pWinner[r]);
    }
}

void InverseRow::mongo_val_inverse(const std::uint16_t* pTable, const LabelTable& rLabels, int nCount, int n,
                                   int nStride)
{
    search(pTable + 1, nCount, n - 1, nStride);
    for (int r = 0; r < nCount; ++r) {
        m_pInverse[r] = rLabels[(m_pWinner[r] + 1U) & 0xFF];
    }
}

void back_forth_row(std::uint8_t* pRow, const std::uint8_t* pInverse, const LabelTable& rLabels, int nCount,
                    std::uint8_t ucInvalid, std::uint8_t ucBackForthMapping)
{
    for (int x = 0; x < nCount; ++x) {
        const int d = pRow[x];
        if (d <= sk_nHighestLabel) {
            pRow[x] = std::abs(d - pInverse[x + d]) > 1 ? ucBackForthMapping : rLabels[static_cast<std::size_t>(d)];
        } else if (d < sk_nLowestCode) {
            pRow[x] = ucInvalid;
        }
    }
}

} // namespace kestrova
