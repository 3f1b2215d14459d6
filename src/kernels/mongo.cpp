#include "kernels/mongo.h"

#include <emmintrin.h>

#include <algorithm>
#include <cstring>

namespace kestrova {

namespace {

constexpr std::uint8_t sk_ucZeroLevel = 128; // of an edge image: what texture is measured from

__m128i load4(const std::uint8_t* p)
{
    std::int32_t n;
    std::memcpy(&n, p, sizeof n);
    return _mm_cvtsi32_si128(n);
}

/** Four disparities a step. */
struct FourLanes
{
    static constexpr int sk_nLanes = 4;

    static __m128i load(const std::uint8_t* p) { return load4(p); }
    static __m128i loadSearch(const std::uint8_t* p) { return load4(p); }
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
    static __m128i loadSearch(const std::uint8_t* p)
    {
        // Three pixels and no more: the fourth may lie outside the row.
        return _mm_cvtsi32_si128(static_cast<int>(sk_ucZeroLevel | static_cast<unsigned>(p[0]) << 8 |
                                                  static_cast<unsigned>(p[1]) << 16 |
                                                  static_cast<unsigned>(p[2]) << 24));
    }
};

/** Eight disparities a step. The sums may lie at 8-byte alignment. */
struct EightLanes
{
    static constexpr int sk_nLanes = 8;

    static __m128i load(const std::uint8_t* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); }
    static __m128i loadSearch(const std::uint8_t* p) { return load(p); }
    static void store(std::uint8_t* p, __m128i lanes) { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), lanes); }
    static void addTo(std::uint16_t* pSums, __m128i delta)
    {
        auto* const p = reinterpret_cast<__m128i*>(pSums);
        _mm_storeu_si128(p, _mm_add_epi16(_mm_loadu_si128(p), delta));
    }
};

__m128i widen(__m128i lanes)
{
    return _mm_unpacklo_epi8(lanes, _mm_setzero_si128());
}

template<typename Lanes>
__m128i difference(std::uint8_t ucReference, const std::uint8_t* pSearch)
{
    const __m128i reference = _mm_set1_epi8(static_cast<char>(ucReference));
    const __m128i search = Lanes::loadSearch(pSearch);
    return _mm_or_si128(_mm_subs_epu8(reference, search), _mm_subs_epu8(search, reference));
}

/** What one group of lanes works on: rows that begin at the group's first pixel. */
struct Group
{
    std::uint16_t* m_pSums;
    std::uint8_t* m_pNew;
    const std::uint8_t* m_pOld;
    const std::uint8_t* m_pReference;
    const std::uint8_t* m_pSearch;
};

// Adds to the sums of nColumns (at least 1) the difference between the window row that enters and the one that leaves.
template<typename Lanes>
void mongo(const Group& rGroup, int m, int nColumns, std::ptrdiff_t nStride)
{
    constexpr int L = Lanes::sk_nLanes;
    std::uint16_t* pSums = rGroup.m_pSums;
    std::uint8_t* pNew = rGroup.m_pNew;
    const std::uint8_t* pOld = rGroup.m_pOld;

    __m128i delta = _mm_setzero_si128();
    for (int i = 0; i < m; ++i) {
        const __m128i a = difference<Lanes>(rGroup.m_pReference[i], rGroup.m_pSearch + i);
        Lanes::store(pNew + i * L, a);
        delta = _mm_add_epi16(delta, _mm_sub_epi16(widen(a), widen(Lanes::load(pOld + i * L))));
    }

    const std::uint8_t* const pReference = rGroup.m_pReference + m;
    const std::uint8_t* const pSearch = rGroup.m_pSearch + m;
    const std::ptrdiff_t nAhead = static_cast<std::ptrdiff_t>(m) * L;
    for (int p = 0; p < nColumns - 1; ++p) {
        Lanes::addTo(pSums, delta);
        const __m128i a = difference<Lanes>(pReference[p], pSearch + p);
        const __m128i enters = _mm_add_epi16(widen(a), widen(Lanes::load(pOld)));
        const __m128i leaves = _mm_add_epi16(widen(Lanes::load(pNew)), widen(Lanes::load(pOld + nAhead)));
        delta = _mm_add_epi16(delta, _mm_sub_epi16(enters, leaves));
        Lanes::store(pNew + nAhead, a);
        pSums += nStride;
        pNew += L;
        pOld += L;
    }
    // The last column has no next one: looking for it would leave the rows.
    Lanes::addTo(pSums, delta);
}

// Columns that this group never sums: all ones, so they lose every comparison.
void fillUnreached(std::uint16_t* pSums, int nFirst, int nEnd, int nLanes, std::ptrdiff_t nStride)
{
    for (int x = nFirst; x < nEnd; ++x) {
        std::fill_n(pSums + x * nStride, nLanes, std::uint16_t{0xFFFF});
    }
}

// One group of Lanes at group number nGroup, whose first lane compares column x with search column x + nShift.
// Negative when the search row is too short for a single window.
template<typename Lanes>
int mongo_group(const MongoRow& rRow, int nGroup, int nShift, int nReach, bool bFirstRow)
{
    const int nColumns = std::min(rRow.m_nSearchWidth - nShift - nReach, rRow.m_nWidth) + 1 - rRow.m_nMask;
    if (nColumns < 0) {
        return -1;
    }
    const std::ptrdiff_t nStride = static_cast<std::ptrdiff_t>(rRow.m_nGroups) * 4;
    const std::ptrdiff_t nRing = static_cast<std::ptrdiff_t>(nGroup) * (rRow.m_nWidth + rRow.m_nMask) * 4;
    std::uint16_t* const pSums = rRow.m_pTable + nGroup * 4;
    if (nColumns > 0) {
        mongo<Lanes>(
            {pSums, rRow.m_pNewRing + nRing, rRow.m_pOldRing + nRing, rRow.m_pReference, rRow.m_pSearch + nShift},
            rRow.m_nMask, nColumns, nStride);
    }
    if (bFirstRow) {
        fillUnreached(pSums, nColumns, rRow.m_nWidth, Lanes::sk_nLanes, nStride);
    }
    return nColumns * Lanes::sk_nLanes;
}

// All groups from nGroup on. The first lane of group g stands for disparity index 4 * g - nReserved.
unsigned mongo_groups(const MongoRow& rRow, int nGroup, int nReserved, bool bFirstRow)
{
    unsigned uLanes = 0;
    while (nGroup < rRow.m_nGroups) {
        const int nShift = nGroup * 4 - nReserved;
        const bool bEight = nGroup + 1 < rRow.m_nGroups;
        const int nDone = bEight ? mongo_group<EightLanes>(rRow, nGroup, nShift, 7, bFirstRow)
                                 : mongo_group<FourLanes>(rRow, nGroup, nShift, 3, bFirstRow);
        if (nDone < 0) {
            break;
        }
        uLanes += static_cast<unsigned>(nDone);
        nGroup += bEight ? 2 : 1;
    }
    return uLanes;
}

} // namespace

unsigned mongo_row(const MongoRow& rRow, bool bFirstRow)
{
    return mongo_groups(rRow, 0, 0, bFirstRow);
}

unsigned mongo_val_row(const MongoRow& rRow, bool bFirstRow)
{
    const int nDone = mongo_group<TextureLanes>(rRow, 0, 0, 2, bFirstRow);
    return nDone < 0 ? 0 : static_cast<unsigned>(nDone) + mongo_groups(rRow, 1, 1, bFirstRow);
}

} // namespace kestrova
