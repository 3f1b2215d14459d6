// Single rows of pixels in the registers that every x86-64 processor has.
#include "kernels/PixelForm.h"
#include "kernels/wide/bandpass_pixel.h"
#include "kernels/wide/surface_pixels.h"

#include <algorithm>
#include <cstring>
#include <emmintrin.h>
#include <limits>

namespace kestrova {

namespace {

// ---- surfaceBits ----

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

template<typename L, typename T>
void surfaceBits_sse2(SurfaceBits* pOut, const T* pRow, const T* pUp, int nBegin, int nEnd, const SurfaceRange<T>& r)
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
    putPixels(pOut, pRow, pUp, nBegin, i, nEnd, r);
}

// ---- blend: four neighbours with weights that add up to 2^14, truncated ----

__m128i loadPairs(const std::uint8_t* pSrc, const std::int32_t* pEntry)
{
    std::uint16_t aPairs[4];
    for (int i = 0; i < 4; ++i) {
        std::memcpy(&aPairs[i], pSrc + pEntry[i], 2);
    }
    return _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(aPairs)), _mm_setzero_si128());
}

/** Words 128 - f and f of four fractions, alternating. */
__m128i loadWeights(const std::uint8_t* pFractions)
{
    int nFractions;
    std::memcpy(&nFractions, pFractions, 4);
    const __m128i f = _mm_unpacklo_epi8(_mm_cvtsi32_si128(nFractions), _mm_setzero_si128());
    return _mm_unpacklo_epi16(_mm_sub_epi16(_mm_set1_epi16(128), f), f);
}

// Exact: a blended row is at most 255 * 128 and fits a signed word, so two multiply-adds do the work of one pixel.
void blend4(std::uint8_t* pDst, const std::uint8_t* pSrc, int nRowStep, const std::int32_t* pEntry,
            const std::uint8_t* pRowFraction, const std::uint8_t* pColFraction)
{
    const __m128i weights = loadWeights(pColFraction);
    const __m128i top = _mm_madd_epi16(loadPairs(pSrc, pEntry), weights);
    const __m128i bottom = _mm_madd_epi16(loadPairs(pSrc + nRowStep, pEntry), weights);
    const __m128i both = _mm_or_si128(top, _mm_slli_epi32(bottom, 16));
    const __m128i sum = _mm_srli_epi32(_mm_madd_epi16(both, loadWeights(pRowFraction)), 14);
    const __m128i words = _mm_packs_epi32(sum, sum);
    const int nPixels = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
    std::memcpy(pDst, &nPixels, 4);
}

int blend_sse2(std::uint8_t* pDst, const BlendRow& r, int n)
{
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        blend4(pDst + i, r.m_pSrc, r.m_nRowStep, r.m_pEntries + i, r.m_pRowFraction + i, r.m_pColFraction + i);
    }
    return i;
}

// ---- row_bandpass_op ----

/** Pixels arrive as bytes in the low half; the result fills both halves. */
__m128i bandpass8(__m128i pixels, __m128i sums, const BandpassFactors& rFactors)
{
    const __m128i centre = _mm_set1_epi16(static_cast<short>(rFactors.m_nCentre));
    const __m128i sum = _mm_set1_epi16(static_cast<short>(rFactors.m_nSum));
    const __m128i difference = _mm_add_epi16(_mm_mulhi_epi16(_mm_unpacklo_epi8(pixels, _mm_setzero_si128()), centre),
                                             _mm_mulhi_epi16(sums, sum));
    return _mm_xor_si128(_mm_packs_epi16(difference, difference), _mm_set1_epi8(static_cast<char>(sk_ucEdgeZero)));
}

void row_bandpass_op_sse2(std::uint8_t* pDst, int n, const std::uint8_t* pSrc, int nCentreFactor,
                          const std::int16_t* pSums, int nSumFactor)
{
    const BandpassFactors factors{nCentreFactor, nSumFactor};
    int i = n;
    if (n >= 8) {
        for (; (reinterpret_cast<std::uintptr_t>(pDst + i) & 3) != 0; --i) {
            pDst[i - 1] = bandpass1(pSrc[i - 1], pSums[i - 1], factors);
        }
        for (; i >= 8; i -= 8) { // two groups at once
            const __m128i pixels = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(pSrc + i - 8));
            const __m128i sums = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pSums + i - 8));
            _mm_storel_epi64(reinterpret_cast<__m128i*>(pDst + i - 8), bandpass8(pixels, sums, factors));
        }
        if (i >= 4) {
            i -= 4;
            int nFour;
            std::memcpy(&nFour, pSrc + i, 4);
            const __m128i sums = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(pSums + i));
            nFour = _mm_cvtsi128_si32(bandpass8(_mm_cvtsi32_si128(nFour), sums, factors));
            std::memcpy(pDst + i, &nFour, 4);
        }
    }
    while (i-- > 0) {
        pDst[i] = bandpass1(pSrc[i], pSums[i], factors);
    }
}

// ---- extract: channels of packed pixels ----

/** Byte nLane of four pixels, as 32-bit numbers. */
template<int nLane>
__m128i lane4(const std::uint8_t* pPacked)
{
    const __m128i pixels = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pPacked));
    return _mm_and_si128(_mm_srli_epi32(pixels, 8 * nLane), _mm_set1_epi32(255));
}

template<int nLane>
void extract8(std::uint8_t* pDst, const std::uint8_t* pPacked)
{
    const __m128i words = _mm_packs_epi32(lane4<nLane>(pPacked), lane4<nLane>(pPacked + 16));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(pDst), _mm_packus_epi16(words, words));
}

template<int nLane>
void extract_sse2(std::uint8_t* pDst, int n, const std::uint8_t* pPacked)
{
    int i = n;
    for (; i >= 8; i -= 8) {
        extract8<nLane>(pDst + i - 8, pPacked + 4 * (i - 8));
    }
    while (i-- > 0) {
        pDst[i] = pPacked[4 * i + nLane];
    }
}

void extract_rgb_sse2(std::uint8_t* pRed, std::uint8_t* pGreen, std::uint8_t* pBlue, int n, const std::uint8_t* pPacked)
{
    if (n < 8) {
        return;
    }
    // The last group overlaps the one before it where n is no multiple of 8, so that nothing past the row is read.
    for (int nDone = 0; nDone < n; nDone += 8) {
        const int i = nDone + 8 <= n ? nDone : n - 8;
        extract8<2>(pRed + i, pPacked + 4 * i);
        extract8<1>(pGreen + i, pPacked + 4 * i);
        extract8<0>(pBlue + i, pPacked + 4 * i);
    }
}

} // namespace

constinit const PixelForm g_pixelsSse2 = {surfaceBits_sse2<Bytes, std::uint8_t>,
                                          surfaceBits_sse2<Words, std::uint16_t>,
                                          blend_sse2,
                                          row_bandpass_op_sse2,
                                          {extract_sse2<0>, extract_sse2<1>, extract_sse2<2>},
                                          extract_rgb_sse2};

} // namespace kestrova
