#include "kernels/mincorr.h"

#include <emmintrin.h>

#include <cstddef>
#include <cstring>

namespace kestrova {

namespace {

struct FourLanes
{
    static constexpr int sk_nLanes = 4;

    static __m128i loadSums(const std::uint16_t* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); }
    static __m128i loadLabels(const std::uint8_t* p)
    {
        std::int32_t n;
        std::memcpy(&n, p, sizeof n);
        return _mm_cvtsi32_si128(n);
    }
};

struct EightLanes
{
    static constexpr int sk_nLanes = 8;

    static __m128i loadSums(const std::uint16_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
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

} // namespace

void mincorr_row(std::uint8_t* pOut, const std::uint16_t* pTable, const std::uint8_t* pLabels, int nCount, int nGroups,
                 bool bSSE2)
{
    (bSSE2 ? mincorr<EightLanes> : mincorr<FourLanes>)(pOut, {pTable, pLabels, nCount, nGroups});
}

void mincorr_val_row(std::uint8_t* pOut, const std::uint16_t* pTable, const std::uint8_t* pLabels, int nCount,
                     int nGroups, unsigned uTexture, unsigned uUniqueness, bool bSSE2)
{
    (bSSE2 ? mincorr_val<EightLanes> : mincorr_val<FourLanes>)(pOut, {pTable, pLabels, nCount, nGroups}, uTexture,
                                                               uUniqueness);
}

} // namespace kestrova
