#include "stereo/back_forth.h"

#include <emmintrin.h>

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdlib>

namespace kestrova {

namespace {

constexpr int sk_nGroup = 8;
constexpr int sk_nHighestLabel = 240;
constexpr int sk_nLowestCode = 250;

// Sums are kept biased, because compares are signed.
constexpr std::uint16_t sk_uWorst = 0x7FFF;

__m128i load(const std::uint16_t* p)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

/** What eight neighbouring disparities have found for eight neighbouring search columns. */
struct Window
{
    __m128i m_best;
    __m128i m_winner;

    void meet(__m128i sums, __m128i indices)
    {
        const __m128i higher = _mm_cmpgt_epi16(sums, m_best);
        m_best = _mm_min_epi16(sums, m_best);
        m_winner = _mm_or_si128(_mm_and_si128(higher, m_winner), _mm_andnot_si128(higher, indices));
    }

    // Lane 0 has met all eight disparities and leaves; the column that comes in brings what larger ones have found.
    void slide(std::uint16_t* pBest, std::uint16_t* pWinner)
    {
        pBest[0] = static_cast<std::uint16_t>(_mm_cvtsi128_si32(m_best));
        pWinner[0] = static_cast<std::uint16_t>(_mm_cvtsi128_si32(m_winner));
        m_best = _mm_insert_epi16(_mm_srli_si128(m_best, 2), pBest[sk_nGroup], 7);
        m_winner = _mm_insert_epi16(_mm_srli_si128(m_winner, 2), pWinner[sk_nGroup], 7);
    }
};

// Lanes at and beyond n hold other things than sums of the range: all ones there.
__m128i beyond(int nFirst, int n)
{
    const __m128i lane = _mm_set_epi16(7, 6, 5, 4, 3, 2, 1, 0);
    return _mm_cmpgt_epi16(lane, _mm_set1_epi16(static_cast<short>(std::min(n - nFirst, sk_nGroup) - 1)));
}

} // namespace

void InverseRow::clear()
{
    std::fill_n(m_pInverse, m_uSize, std::uint8_t{0});
}

// A search column meets its disparities from the largest to the smallest, so letting the later win a tie leaves the
// lowest. Disparities come in groups of eight, which are neighbours in the table; a group walks the row with a window
// that starts where its first disparity meets reference column 0.
void InverseRow::search(const std::uint16_t* pTable, int nCount, int n, int nStride)
{
    assert(n <= 256);
    std::fill_n(m_pBest, m_uSize, sk_uWorst);
    std::fill_n(m_pWinner, m_uSize, std::uint16_t{0});
    const std::ptrdiff_t nLanes = static_cast<std::ptrdiff_t>(nStride) * 4;
    const __m128i bias = _mm_set1_epi16(static_cast<short>(0x8000));
    const __m128i lane = _mm_set_epi16(7, 6, 5, 4, 3, 2, 1, 0);

    for (int d = (n - 1) / sk_nGroup * sk_nGroup; d >= 0; d -= sk_nGroup) {
        const __m128i none = beyond(d, n);
        const __m128i indices = _mm_add_epi16(lane, _mm_set1_epi16(static_cast<short>(d)));
        Window window{load(m_pBest + d), load(m_pWinner + d)};
        const std::uint16_t* pColumn = pTable + d;
        for (int r = d; r < nCount; ++r, pColumn += nLanes) {
            window.meet(_mm_xor_si128(_mm_or_si128(load(pColumn), none), bias), indices);
            window.slide(m_pBest + r, m_pWinner + r);
        }
    }
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
