// Row kernels in registers of 512 bits, ends of rows by masks. Compiled for processors that have them, and reached on
// no other.
#include "kernels/kernel_forms.h"
#include "kernels/wide/row_interpolation_wide.h"
#include "kernels/wide/running_differences.h"

#include <immintrin.h>

namespace kestrova {

namespace {

constexpr int sk_nBytes = 64; // of a register
constexpr int sk_nWords = 32;

/** All lanes of a register; whole stores are there for the next load at once, masked ones are not. */
struct All
{
};

/** Its first lanes. */
struct Some
{
    std::uint64_t m_uMask;
};

/** Steps of nWidth from nBegin on, the last one maybe of fewer lanes. */
template<int nWidth, typename Step>
[[gnu::always_inline]] inline void steps(int nBegin, int nEnd, const Step& step)
{
    int i = nBegin;
    for (; i + nWidth <= nEnd; i += nWidth) {
        step(i, All{});
    }
    if (i < nEnd) {
        step(i, Some{_bzhi_u64(~0ULL, static_cast<unsigned>(nEnd - i))});
    }
}

__m512i words(const std::uint16_t* p, All)
{
    return _mm512_loadu_si512(p);
}

__m512i words(const std::uint16_t* p, Some lanes)
{
    return _mm512_maskz_loadu_epi16(static_cast<__mmask32>(lanes.m_uMask), p);
}

void storeWords(std::uint16_t* p, All, __m512i v)
{
    _mm512_storeu_si512(p, v);
}

void storeWords(std::uint16_t* p, Some lanes, __m512i v)
{
    _mm512_mask_storeu_epi16(p, static_cast<__mmask32>(lanes.m_uMask), v);
}

__m512i bytes(const std::uint8_t* p, All)
{
    return _mm512_loadu_si512(p);
}

__m512i bytes(const std::uint8_t* p, Some lanes)
{
    return _mm512_maskz_loadu_epi8(lanes.m_uMask, p);
}

void storeBytes(std::uint8_t* p, All, __m512i v)
{
    _mm512_storeu_si512(p, v);
}

void storeBytes(std::uint8_t* p, Some lanes, __m512i v)
{
    _mm512_mask_storeu_epi8(p, lanes.m_uMask, v);
}

__m256i halfBytes(const std::uint8_t* p, All)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

__m256i halfBytes(const std::uint8_t* p, Some lanes)
{
    return _mm256_maskz_loadu_epi8(static_cast<__mmask32>(lanes.m_uMask), p);
}

void storeHalfBytes(std::uint8_t* p, All, __m256i v)
{
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}

void storeHalfBytes(std::uint8_t* p, Some lanes, __m256i v)
{
    _mm256_mask_storeu_epi8(p, static_cast<__mmask32>(lanes.m_uMask), v);
}

template<typename Lanes>
__m512i widened(const std::uint8_t* p, Lanes lanes)
{
    return _mm512_cvtepu8_epi16(halfBytes(p, lanes));
}

template<typename Lanes>
__m512i difference(const std::uint8_t* pA, const std::uint8_t* pB, Lanes lanes)
{
    const __m512i a = bytes(pA, lanes);
    const __m512i b = bytes(pB, lanes);
    return _mm512_or_si512(_mm512_subs_epu8(a, b), _mm512_subs_epu8(b, a));
}

void abs_diff_avx512(std::uint8_t* pOut, const std::uint8_t* pA, const std::uint8_t* pB, int n)
{
    steps<sk_nBytes>(0, n, [&](int i, auto lanes) { storeBytes(pOut + i, lanes, difference(pA + i, pB + i, lanes)); });
}

template<bool bStops>
void accumulate(std::uint8_t* pAcc, const std::uint8_t* pA, const std::uint8_t* pB, int nBegin, int nEnd)
{
    steps<sk_nBytes>(nBegin, nEnd, [&](int i, auto lanes) {
        const __m512i acc = bytes(pAcc + i, lanes);
        const __m512i more = difference(pA + i, pB + i, lanes);
        storeBytes(pAcc + i, lanes, bStops ? _mm512_adds_epu8(acc, more) : _mm512_add_epi8(acc, more));
    });
}

void acc_abs_diff_avx512(std::uint8_t* pAcc, const std::uint8_t* pA, const std::uint8_t* pB, int n)
{
    const Body body = body_of(pAcc, sk_accAbsDiffBody, n);
    accumulate<false>(pAcc, pA, pB, 0, body.m_nBegin); // wraps by design
    accumulate<true>(pAcc, pA, pB, body.m_nBegin, body.m_nEnd);
    accumulate<false>(pAcc, pA, pB, body.m_nEnd, n);
}

template<bool bStops>
void average(std::uint8_t* pAcc, const std::uint8_t* pA, const std::uint8_t* pB, int nBegin, int nEnd)
{
    const __m512i low = _mm512_set1_epi8(0x7F);
    steps<sk_nBytes>(nBegin, nEnd, [&](int i, auto lanes) {
        const __m512i acc = bytes(pAcc + i, lanes);
        const __m512i more = difference(pA + i, pB + i, lanes);
        const __m512i stopped = _mm512_and_si512(_mm512_srli_epi16(_mm512_adds_epu8(acc, more), 1), low);
        // Half of the full sum: the average that rounds up, less the bit that it rounded.
        const __m512i odd = _mm512_and_si512(_mm512_xor_si512(acc, more), _mm512_set1_epi8(1));
        const __m512i full = _mm512_sub_epi8(_mm512_avg_epu8(acc, more), odd);
        storeBytes(pAcc + i, lanes, bStops ? stopped : full);
    });
}

void acc_abs_diff_over2_avx512(std::uint8_t* pAcc, const std::uint8_t* pA, const std::uint8_t* pB, int n)
{
    const Body body = body_of(pAcc, sk_accAbsDiffOver2Body, n);
    average<false>(pAcc, pA, pB, 0, body.m_nBegin);
    average<true>(pAcc, pA, pB, body.m_nBegin, body.m_nEnd);
    average<false>(pAcc, pA, pB, body.m_nEnd, n);
}

void row_add_avx512(std::uint16_t* pOut, const std::uint16_t* pA, const std::uint16_t* pB, int n)
{
    steps<sk_nWords>(0, n, [&](int i, auto lanes) {
        storeWords(pOut + i, lanes, _mm512_add_epi16(words(pA + i, lanes), words(pB + i, lanes)));
    });
}

/**
 * Sums run within quarters of the register first; then each quarter gets the totals of those in front of it. Only the
 * last addition waits for the register before.
 */
template<typename Lanes>
__m512i store_running(std::uint16_t* p, Lanes lanes, __m512i changes, __m512i carry)
{
    const __m512i zero = _mm512_setzero_si512();
    __m512i sums = _mm512_add_epi16(changes, _mm512_bslli_epi128(changes, 2));
    sums = _mm512_add_epi16(sums, _mm512_bslli_epi128(sums, 4));
    sums = _mm512_add_epi16(sums, _mm512_bslli_epi128(sums, 8));
    __m512i totals = _mm512_shuffle_epi8(sums, _mm512_set1_epi16(0x0F0E));
    totals = _mm512_add_epi16(totals, _mm512_alignr_epi64(totals, zero, 6));
    totals = _mm512_add_epi16(totals, _mm512_alignr_epi64(totals, zero, 4));
    sums = _mm512_add_epi16(sums, _mm512_alignr_epi64(totals, zero, 6));
    storeWords(p, lanes, _mm512_add_epi16(sums, carry));
    return _mm512_add_epi16(carry, _mm512_shuffle_i64x2(totals, totals, 0xFF));
}

void box_add_sub16_avx512(std::uint16_t* pOut, unsigned uStart, const std::uint8_t* pAdd, const std::uint8_t* pSub,
                          int n)
{
    __m512i carry = _mm512_set1_epi16(static_cast<short>(uStart));
    steps<sk_nWords>(0, n, [&](int i, auto lanes) {
        const __m512i changes = _mm512_sub_epi16(widened(pAdd + i, lanes), widened(pSub + i, lanes));
        carry = store_running(pOut + i, lanes, changes, carry);
    });
}

void box_add_sub8ptr_avx512(std::uint16_t* pOut, const std::uint16_t* pIn, const std::uint8_t* pAdd,
                            const std::uint8_t* pSub, int n)
{
    steps<sk_nWords>(0, n, [&](int i, auto lanes) {
        const __m512i change = _mm512_sub_epi16(widened(pAdd + i, lanes), widened(pSub + i, lanes));
        storeWords(pOut + i, lanes, _mm512_add_epi16(words(pIn + i, lanes), change));
    });
}

void box_add_sub16ptr_avx512(std::uint16_t* pOut, const std::uint16_t* pIn, const std::uint16_t* pAdd,
                             const std::uint16_t* pSub, int n)
{
    steps<sk_nWords>(0, n, [&](int i, auto lanes) {
        const __m512i change = _mm512_sub_epi16(words(pAdd + i, lanes), words(pSub + i, lanes));
        storeWords(pOut + i, lanes, _mm512_add_epi16(words(pIn + i, lanes), change));
    });
}

/** Whole labels, or those of eight-lane groups: 0 in lanes 4 to 7. */
__m256i label_constant(std::uint8_t ucLabel, bool bWhole)
{
    const __m256i whole = _mm256_set1_epi8(static_cast<char>(ucLabel));
    return bWhole ? whole : _mm256_and_si256(whole, _mm256_set1_epi64x(0xFFFFFFFF));
}

struct Minimum
{
    std::uint16_t* m_pBest;
    std::uint8_t* m_pLabel;
    std::uint16_t* m_pBefore;
    std::uint16_t* m_pAfter;
    const std::uint16_t* m_pLast;
    const std::uint16_t* m_pScores;
};

template<bool bSubpixel>
void keep_minimum(const Minimum& r, std::uint8_t ucNewLabel, bool bWhole, int nBegin, int nEnd)
{
    const __m256i newLabels = label_constant(ucNewLabel, bWhole);
    const __m256i labelsBehind = label_constant(static_cast<std::uint8_t>(ucNewLabel - 1), bWhole);
    steps<sk_nWords>(nBegin, nEnd, [&](int i, auto lanes) {
        const __m512i scores = words(r.m_pScores + i, lanes);
        const __m512i best = words(r.m_pBest + i, lanes);
        const __mmask32 uLower = _mm512_cmplt_epu16_mask(scores, best);
        storeWords(r.m_pBest + i, lanes, _mm512_min_epu16(scores, best));
        const __m256i labels = _mm256_mask_mov_epi8(halfBytes(r.m_pLabel + i, lanes), uLower, newLabels);
        storeHalfBytes(r.m_pLabel + i, lanes, labels);
        if constexpr (bSubpixel) {
            const __m512i before = words(r.m_pBefore + i, lanes);
            const __m512i last = words(r.m_pLast + i, lanes);
            storeWords(r.m_pBefore + i, lanes, _mm512_mask_mov_epi16(before, uLower, last));
            const __mmask32 uBehind = _mm256_cmpeq_epi8_mask(labels, labelsBehind);
            const __m512i after = words(r.m_pAfter + i, lanes);
            storeWords(r.m_pAfter + i, lanes, _mm512_mask_mov_epi16(after, uBehind, scores));
        }
    });
}

template<bool bSSE2, bool bSubpixel>
void keep_minimum(const Minimum& r, std::uint8_t ucNewLabel, int n)
{
    const Body body = bSSE2 ? body_of(r.m_pBest, sk_stereoMinBodySSE2, n) : Body{0, 0};
    keep_minimum<bSubpixel>(r, ucNewLabel, true, 0, body.m_nBegin);
    keep_minimum<bSubpixel>(r, ucNewLabel, false, body.m_nBegin, body.m_nEnd);
    keep_minimum<bSubpixel>(r, ucNewLabel, true, body.m_nEnd, n);
}

template<bool bSSE2>
void stereo_min_avx512(std::uint16_t* pBest, std::uint8_t* pLabel, const std::uint16_t* pScores,
                       std::uint8_t ucNewLabel, int n)
{
    keep_minimum<bSSE2, false>({pBest, pLabel, nullptr, nullptr, nullptr, pScores}, ucNewLabel, n);
}

template<bool bSSE2>
void stereo_min_subpix_avx512(std::uint16_t* pBest, std::uint8_t* pLabel, std::uint16_t* pBefore, std::uint16_t* pAfter,
                              const std::uint16_t* pLast, const std::uint16_t* pScores, std::uint8_t ucNewLabel, int n)
{
    keep_minimum<bSSE2, true>({pBest, pLabel, pBefore, pAfter, pLast, pScores}, ucNewLabel, n);
}

struct Registers
{
    using V = __m512i;
    using Carry = __m512i;
    static constexpr int sk_nBytes = kestrova::sk_nBytes;

    static V bytesAt(const std::uint8_t* p) { return bytes(p, All{}); }
    static V none() { return _mm512_setzero_si512(); }
    static V apart(V a, V b) { return _mm512_or_si512(_mm512_subs_epu8(a, b), _mm512_subs_epu8(b, a)); }
    static V addStopping(V a, V b) { return _mm512_adds_epu8(a, b); }
    static V add(V a, V b) { return _mm512_add_epi8(a, b); }
    static V halved(V v) { return _mm512_and_si512(_mm512_srli_epi16(v, 1), _mm512_set1_epi8(0x7F)); }
    /** The average that rounds up, less the bit that it rounded. */
    static V halfOfSum(V a, V b)
    {
        return _mm512_sub_epi8(_mm512_avg_epu8(a, b), _mm512_and_si512(_mm512_xor_si512(a, b), _mm512_set1_epi8(1)));
    }
    static V firstBytes(int n, V first, V rest)
    {
        return _mm512_mask_mov_epi8(rest, _bzhi_u64(~0ULL, static_cast<unsigned>(n < 0 ? 0 : n)), first);
    }
    static Carry carryOf(std::uint16_t u) { return _mm512_set1_epi16(static_cast<short>(u)); }
    static Carry storeHalf(std::uint16_t* p, __m256i arriving, __m256i leaving, Carry carry)
    {
        const V changes = _mm512_sub_epi16(_mm512_cvtepu8_epi16(arriving), _mm512_cvtepu8_epi16(leaving));
        return store_running(p, All{}, changes, carry);
    }
    static Carry storeSums(std::uint16_t* p, V arriving, V leaving, Carry carry)
    {
        carry = storeHalf(p, _mm512_castsi512_si256(arriving), _mm512_castsi512_si256(leaving), carry);
        return storeHalf(p + sk_nWords, _mm512_extracti64x4_epi64(arriving, 1), _mm512_extracti64x4_epi64(leaving, 1),
                         carry);
    }
};

} // namespace

KernelForm avx512Kernels(bool bSSE2)
{
    KernelForm r = sse2Kernels(bSSE2);
    r.m_pszName = bSSE2 ? "avx512_sse2" : "avx512_mmx";
    r.abs_diff = abs_diff_avx512;
    r.acc_abs_diff = acc_abs_diff_avx512;
    r.acc_abs_diff_over2 = acc_abs_diff_over2_avx512;
    r.row_add = row_add_avx512;
    r.box_add_sub16 = box_add_sub16_avx512;
    r.box_add_sub8ptr = box_add_sub8ptr_avx512;
    r.box_add_sub16ptr = box_add_sub16ptr_avx512;
    r.stereo_min = bSSE2 ? stereo_min_avx512<true> : stereo_min_avx512<false>;
    r.stereo_min_subpix = bSSE2 ? stereo_min_subpix_avx512<true> : stereo_min_subpix_avx512<false>;
    r.row_interpolation = row_interpolation_lanes<16>;
    r.running_differences = running_differences_lanes<Registers>;
    return r;
}

} // namespace kestrova
