// Columns of the sum table in the registers that every x86-64 processor has.
#include "kernels/ColumnForm.h"
#include "kernels/wide/column_sums.h"

#include <cstddef>
#include <cstring>
#include <emmintrin.h>

namespace kestrova {

namespace {

__m128i loadWords(const std::uint16_t* p)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

__m128i load4(const std::uint8_t* p)
{
    std::int32_t n;
    std::memcpy(&n, p, sizeof n);
    return _mm_cvtsi32_si128(n);
}

/** What lanes of four and eight share; the sums of four fill the low half. */
struct Words
{
    static __m128i none() { return _mm_setzero_si128(); }
    static __m128i widen(__m128i bytes) { return _mm_unpacklo_epi8(bytes, _mm_setzero_si128()); }
    static __m128i add(__m128i a, __m128i b) { return _mm_add_epi16(a, b); }
    static __m128i subtract(__m128i a, __m128i b) { return _mm_sub_epi16(a, b); }
    static __m128i apart(std::uint8_t ucReference, __m128i search)
    {
        const __m128i reference = _mm_set1_epi8(static_cast<char>(ucReference));
        return _mm_or_si128(_mm_subs_epu8(reference, search), _mm_subs_epu8(search, reference));
    }
};

/** Four disparities a step. */
struct FourLanes : Words
{
    static constexpr int sk_nLanes = 4;

    static __m128i load(const std::uint8_t* p) { return load4(p); }
    static __m128i difference(std::uint8_t ucReference, const std::uint8_t* p) { return apart(ucReference, load4(p)); }
    static void store(std::uint8_t* p, __m128i lanes)
    {
        const std::int32_t n = _mm_cvtsi128_si32(lanes);
        std::memcpy(p, &n, sizeof n);
    }
    static void addTo(std::uint16_t* pSums, __m128i delta)
    {
        auto* const p = reinterpret_cast<__m128i*>(pSums);
        _mm_storel_epi64(p, _mm_add_epi16(_mm_loadl_epi64(p), delta));
    }
};

/** The texture measure and three disparities: lane 0 is compared with the zero level, lane k with search pixel k - 1.
 */
struct TextureLanes : FourLanes
{
    static __m128i difference(std::uint8_t ucReference, const std::uint8_t* p)
    {
        // Three pixels and no more: the fourth may lie outside the row.
        const unsigned uSearch = sk_ucEdgeZero | static_cast<unsigned>(p[0]) << 8 | static_cast<unsigned>(p[1]) << 16 |
                                 static_cast<unsigned>(p[2]) << 24;
        return apart(ucReference, _mm_cvtsi32_si128(static_cast<int>(uSearch)));
    }
};

/** Eight disparities a step. The sums may lie at 8-byte alignment. */
struct EightLanes : Words
{
    static constexpr int sk_nLanes = 8;

    static __m128i load(const std::uint8_t* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); }
    static __m128i difference(std::uint8_t ucReference, const std::uint8_t* p) { return apart(ucReference, load(p)); }
    static void store(std::uint8_t* p, __m128i lanes) { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), lanes); }
    static void addTo(std::uint16_t* pSums, __m128i delta)
    {
        auto* const p = reinterpret_cast<__m128i*>(pSums);
        _mm_storeu_si128(p, _mm_add_epi16(_mm_loadu_si128(p), delta));
    }
};

struct Lanes
{
    using Four = FourLanes;
    using Eight = EightLanes;
    using Texture = TextureLanes;
};

// ---- mincorr_row, mincorr_val_row: the best lane of a column ----

/** Sums and labels of a group. */
struct FourSums
{
    static constexpr int sk_nLanes = 4;

    static __m128i loadSums(const std::uint16_t* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); }
    static __m128i loadLabels(const std::uint8_t* p) { return load4(p); }
};

struct EightSums
{
    static constexpr int sk_nLanes = 8;

    static __m128i loadSums(const std::uint16_t* p) { return loadWords(p); }
    static __m128i loadLabels(const std::uint8_t* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); }
};

// Compares are signed: sums are biased before, and stay so.
__m128i biased(__m128i sums)
{
    return _mm_xor_si128(sums, _mm_set1_epi16(static_cast<short>(0x8000)));
}

__m128i select(__m128i mask, __m128i ones, __m128i zeros)
{
    return _mm_or_si128(_mm_and_si128(mask, ones), _mm_andnot_si128(mask, zeros));
}

__m128i min_epi32(__m128i a, __m128i b)
{
    return select(_mm_cmplt_epi32(a, b), a, b);
}

/** Best sum, biased, and its label, twice in 16 bits, per lane position. */
struct BestLanes
{
    __m128i m_sums;
    __m128i m_labels;
};

template<typename Lanes>
__m128i labelPairs(const std::uint8_t* pLabels)
{
    const __m128i labels = Lanes::loadLabels(pLabels);
    return _mm_unpacklo_epi8(labels, labels);
}

// Lane-wise minimum over the groups of a column, the first of which comes as an argument.
template<typename Lanes>
BestLanes best_lanes(__m128i first, const std::uint16_t* pColumn, const std::uint8_t* pLabels, int nGroups)
{
    BestLanes best{biased(first), labelPairs<Lanes>(pLabels)};
    for (int g = 1; g < nGroups; ++g) {
        const __m128i sums = biased(Lanes::loadSums(pColumn + g * Lanes::sk_nLanes));
        const __m128i lower = _mm_cmplt_epi16(sums, best.m_sums);
        best.m_sums = _mm_min_epi16(sums, best.m_sums);
        best.m_labels = select(lower, labelPairs<Lanes>(pLabels + g * Lanes::sk_nLanes), best.m_labels);
    }
    return best;
}

// Across the lane positions the sum decides and then the label: both make one 32-bit key.
template<typename Lanes>
std::uint8_t best_label(const BestLanes& rBest)
{
    __m128i keys = _mm_unpacklo_epi16(rBest.m_labels, rBest.m_sums);
    if constexpr (Lanes::sk_nLanes == 8) {
        keys = min_epi32(keys, _mm_unpackhi_epi16(rBest.m_labels, rBest.m_sums));
    }
    keys = min_epi32(keys, _mm_shuffle_epi32(keys, _MM_SHUFFLE(3, 2, 3, 2)));
    keys = min_epi32(keys, _mm_shuffle_epi32(keys, _MM_SHUFFLE(1, 1, 1, 1)));
    return static_cast<std::uint8_t>(_mm_cvtsi128_si32(keys));
}

/** The columns of a sum table, as every form walks them. */
struct Columns
{
    const std::uint16_t* m_pTable;
    const std::uint8_t* m_pLabels;
    int m_nCount;
    int m_nGroups;
};

template<typename Lanes>
std::uint8_t winner(__m128i first, const std::uint16_t* pColumn, const Columns& rColumns)
{
    return best_label<Lanes>(best_lanes<Lanes>(first, pColumn, rColumns.m_pLabels, rColumns.m_nGroups));
}

// Lane 0 by another value. Bits above its 16 are not cut off: they fall into lane 1, which is where a uniqueness
// threshold above 1 puts strong texture. Disparity maps depend on it.
template<typename Lanes>
__m128i withFirstLane(const std::uint16_t* pColumn, std::uint32_t uValue)
{
    const __m128i others = _mm_andnot_si128(_mm_cvtsi32_si128(0xFFFF), Lanes::loadSums(pColumn));
    return _mm_or_si128(others, _mm_cvtsi32_si128(static_cast<int>(uValue)));
}

template<typename Lanes>
void mincorr(std::uint8_t* pOut, const Columns& rColumns)
{
    const std::uint16_t* pColumn = rColumns.m_pTable;
    const std::ptrdiff_t nLanes = static_cast<std::ptrdiff_t>(rColumns.m_nGroups) * Lanes::sk_nLanes;
    for (int x = 0; x < rColumns.m_nCount; ++x, pColumn += nLanes) {
        pOut[x] = winner<Lanes>(Lanes::loadSums(pColumn), pColumn, rColumns);
    }
}

template<typename Lanes>
void mincorr_textval(std::uint8_t* pOut, const Columns& rColumns, std::uint32_t uTexture)
{
    const std::uint16_t* pColumn = rColumns.m_pTable;
    const std::ptrdiff_t nLanes = static_cast<std::ptrdiff_t>(rColumns.m_nGroups) * Lanes::sk_nLanes;
    for (int x = 0; x < rColumns.m_nCount; ++x, pColumn += nLanes) {
        // 0xFFFF for a measure above the threshold, 0 for one at or below it. A threshold that is 65536 or more above
        // the measure, of masks from 23 on, gives 1.
        const std::uint32_t uExcess = (uTexture - pColumn[0]) >> 16;
        pOut[x] = uExcess == 0 ? rColumns.m_pLabels[0]
                               : winner<Lanes>(withFirstLane<Lanes>(pColumn, uExcess), pColumn, rColumns);
    }
}

template<typename Lanes>
void mincorr_uniqval(std::uint8_t* pOut, const Columns& rColumns, std::uint32_t uTexture, std::uint32_t uUniqueness)
{
    const std::uint32_t uLeast = (uUniqueness * uTexture + 4095) >> 12;
    const std::uint16_t* pColumn = rColumns.m_pTable;
    const std::ptrdiff_t nLanes = static_cast<std::ptrdiff_t>(rColumns.m_nGroups) * Lanes::sk_nLanes;
    for (int x = 0; x < rColumns.m_nCount; ++x, pColumn += nLanes) {
        const std::uint32_t uBound = (pColumn[0] * uUniqueness) >> 12;
        const auto uKeep = static_cast<std::uint32_t>(static_cast<std::int32_t>(uLeast - uBound) >> 16);
        pOut[x] = winner<Lanes>(withFirstLane<Lanes>(pColumn, uBound & uKeep), pColumn, rColumns);
    }
}

template<typename Lanes>
void mincorr_val(std::uint8_t* pOut, const Columns& rColumns, unsigned uTexture, unsigned uUniqueness)
{
    if (uUniqueness != 0) {
        mincorr_uniqval<Lanes>(pOut, rColumns, uTexture, uUniqueness);
    } else {
        mincorr_textval<Lanes>(pOut, rColumns, uTexture);
    }
}

void mincorr_row_sse2(std::uint8_t* pOut, const std::uint16_t* pTable, const std::uint8_t* pLabels, int nCount,
                      int nGroups, bool bSSE2)
{
    (bSSE2 ? mincorr<EightSums> : mincorr<FourSums>)(pOut, {pTable, pLabels, nCount, nGroups});
}

void mincorr_val_row_sse2(std::uint8_t* pOut, const std::uint16_t* pTable, const std::uint8_t* pLabels, int nCount,
                          int nGroups, unsigned uTexture, unsigned uUniqueness, bool bSSE2)
{
    (bSSE2 ? mincorr_val<EightSums> : mincorr_val<FourSums>)(pOut, {pTable, pLabels, nCount, nGroups}, uTexture,
                                                             uUniqueness);
}

// ---- findInverse: the best disparity of every search column ----

constexpr int sk_nGroup = sk_nInverseSlack;

// Sums are kept biased, because compares are signed.
constexpr std::uint16_t sk_uWorst = 0x7FFF;

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
    return _mm_cmpgt_epi16(lane,
                           _mm_set1_epi16(static_cast<short>((n - nFirst < sk_nGroup ? n - nFirst : sk_nGroup) - 1)));
}

// A search column meets its disparities from the largest to the smallest, so letting the later win a tie leaves the
// lowest. Disparities come in groups of eight, which are neighbours in the table; a group walks the row with a window
// that starts where its first disparity meets reference column 0.
void findInverse_sse2(const InverseColumns& r)
{
    for (int i = 0; i < r.m_nColumns + sk_nMostInverse + 2 * sk_nInverseSlack; ++i) {
        r.m_pBest[i] = sk_uWorst;
        r.m_pWinner[i] = 0;
    }
    const __m128i bias = _mm_set1_epi16(static_cast<short>(0x8000));
    const __m128i lane = _mm_set_epi16(7, 6, 5, 4, 3, 2, 1, 0);
    for (int d = (r.m_nDisparities - 1) / sk_nGroup * sk_nGroup; d >= 0; d -= sk_nGroup) {
        const __m128i none = beyond(d, r.m_nDisparities);
        const __m128i indices = _mm_add_epi16(lane, _mm_set1_epi16(static_cast<short>(d)));
        Window window{loadWords(r.m_pBest + d), loadWords(r.m_pWinner + d)};
        const std::uint16_t* pColumn = r.m_pTable + d;
        for (int x = d; x < r.m_nColumns; ++x, pColumn += r.m_nLanes) {
            window.meet(_mm_xor_si128(_mm_or_si128(loadWords(pColumn), none), bias), indices);
            window.slide(r.m_pBest + x, r.m_pWinner + x);
        }
    }
}

} // namespace

constinit const ColumnForm g_columnsSse2 = {mongo_row_lanes<Lanes>, mongo_val_row_lanes<Lanes>, mincorr_row_sse2,
                                            mincorr_val_row_sse2, findInverse_sse2};

} // namespace kestrova
