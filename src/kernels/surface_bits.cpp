#include "kernels/surface_bits.h"

#include <algorithm>
#include <cstdlib>
#include <emmintrin.h>
#include <limits>

namespace kestrova {

namespace {

constexpr int sk_nStep = 16; // pixels

template<typename T>
__m128i load(const T* p)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

unsigned zeroLanes(__m128i low, __m128i high)
{
    const __m128i zero = _mm_setzero_si128();
    return static_cast<unsigned>(
        _mm_movemask_epi8(_mm_packs_epi16(_mm_cmpeq_epi16(low, zero), _mm_cmpeq_epi16(high, zero))));
}

/** Sixteen bytes. Lanes of a result are 0 where something holds. */
struct Bytes
{
    using V = __m128i;
    static V spread(std::uint8_t u) { return _mm_set1_epi8(static_cast<char>(u)); }
    static V at(const std::uint8_t* p) { return load(p); }
    static V shifted(V v) { return _mm_slli_si128(v, 1); }
    static V beyond(V a, V b) { return _mm_subs_epu8(a, b); }
    static V either(V a, V b) { return _mm_or_si128(a, b); }
    static unsigned zeros(V v)
    {
        return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_setzero_si128())));
    }
};

/** Sixteen words. */
struct Words
{
    struct V
    {
        __m128i m_low;
        __m128i m_high;
    };
    static V spread(std::uint16_t u)
    {
        return {_mm_set1_epi16(static_cast<short>(u)), _mm_set1_epi16(static_cast<short>(u))};
    }
    static V at(const std::uint16_t* p) { return {load(p), load(p + 8)}; }
    static V shifted(const V& v)
    {
        return {_mm_slli_si128(v.m_low, 2), _mm_or_si128(_mm_slli_si128(v.m_high, 2), _mm_srli_si128(v.m_low, 14))};
    }
    static V beyond(const V& a, const V& b)
    {
        return {_mm_subs_epu16(a.m_low, b.m_low), _mm_subs_epu16(a.m_high, b.m_high)};
    }
    static V either(const V& a, const V& b)
    {
        return {_mm_or_si128(a.m_low, b.m_low), _mm_or_si128(a.m_high, b.m_high)};
    }
    static unsigned zeros(const V& v) { return zeroLanes(v.m_low, v.m_high); }
};

template<typename L>
typename L::V apart(const typename L::V& a, const typename L::V& b, const typename L::V& threshold)
{
    return L::beyond(L::either(L::beyond(a, b), L::beyond(b, a)), threshold);
}

template<typename T>
SurfaceBits bitsOf(const T* pPixel, const T* pUp, bool bFirst, const SurfaceRange<T>& r)
{
    const int nValue = *pPixel;
    const bool bValid = r.m_min <= nValue && nValue <= r.m_max;
    const auto isClose = [&](const T* p) { return bValid && std::abs(nValue - *p) <= r.m_nThreshold ? 1U : 0U; };
    return {bValid ? 1U : 0U, bFirst ? 0U : isClose(pPixel - 1), isClose(pUp)};
}

void put(SurfaceBits& rWord, const SurfaceBits& rBits, int nShift)
{
    rWord.m_uValid |= rBits.m_uValid << nShift;
    rWord.m_uLeft |= rBits.m_uLeft << nShift;
    rWord.m_uUp |= rBits.m_uUp << nShift;
}

template<typename L, typename T>
void bitsOfRow(SurfaceBits* pOut, const T* pRow, const T* pUp, int nBegin, int nEnd, const SurfaceRange<T>& r)
{
    std::fill_n(pOut, surfaceWords(nEnd - nBegin), SurfaceBits{});
    const auto threshold = L::spread(static_cast<T>(std::clamp<int>(r.m_nThreshold, 0, std::numeric_limits<T>::max())));
    const std::uint64_t uClose = r.m_nThreshold < 0 ? 0 : ~std::uint64_t{0};
    const auto min = L::spread(r.m_min), max = L::spread(r.m_max);
    int i = nBegin;
    for (; i + sk_nStep <= nEnd; i += sk_nStep) {
        const auto pixels = L::at(pRow + i);
        const auto left = i == 0 ? L::shifted(pixels) : L::at(pRow + i - 1);
        const auto outside = L::either(L::beyond(pixels, max), L::beyond(min, pixels));
        const std::uint64_t uLeft = L::zeros(L::either(outside, apart<L>(pixels, left, threshold)));
        const std::uint64_t uUp = L::zeros(L::either(outside, apart<L>(pixels, L::at(pUp + i), threshold)));
        put(pOut[(i - nBegin) / 64], {L::zeros(outside), uLeft & uClose, uUp & uClose}, (i - nBegin) % 64);
    }
    for (; i < nEnd; ++i) {
        put(pOut[(i - nBegin) / 64], bitsOf(pRow + i, pUp + i, i == 0, r), (i - nBegin) % 64);
    }
}

} // namespace

void surfaceBits(SurfaceBits* pOut, const std::uint16_t* pRow, const std::uint16_t* pUp, int nBegin, int nEnd,
                 const SurfaceRange<std::uint16_t>& rRange)
{
    bitsOfRow<Words>(pOut, pRow, pUp, nBegin, nEnd, rRange);
}

void surfaceBits(SurfaceBits* pOut, const std::uint8_t* pRow, const std::uint8_t* pUp, int nBegin, int nEnd,
                 const SurfaceRange<std::uint8_t>& rRange)
{
    bitsOfRow<Bytes>(pOut, pRow, pUp, nBegin, nEnd, rRange);
}

} // namespace kestrova
