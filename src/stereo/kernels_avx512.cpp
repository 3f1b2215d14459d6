// Row kernels in registers of 512 bits, ends of rows by masks. Compiled for processors that have them, and reached on
// no other.
#include "stereo/kernel_forms.h"

#include <immintrin.h>

namespace kestrova {

namespace {

constexpr int sk_nBytes = 64; // of a register
constexpr int sk_nWords = 32;

/** The first n of a register's lanes, all of them if there are more. */
__mmask64 firstBytes(int n)
{
    return n >= sk_nBytes ? ~__mmask64{0} : _bzhi_u64(~0ULL, static_cast<unsigned>(n));
}

__mmask32 firstWords(int n)
{
    return n >= sk_nWords ? ~__mmask32{0} : _bzhi_u32(~0U, static_cast<unsigned>(n));
}

__m512i words(const std::uint16_t* p, __mmask32 uLanes)
{
    return _mm512_maskz_loadu_epi16(uLanes, p);
}

__m512i widened(const std::uint8_t* p, __mmask32 uLanes)
{
    return _mm512_cvtepu8_epi16(_mm256_maskz_loadu_epi8(uLanes, p));
}

__m512i difference(const std::uint8_t* pA, const std::uint8_t* pB, __mmask64 uLanes)
{
    const __m512i a = _mm512_maskz_loadu_epi8(uLanes, pA);
    const __m512i b = _mm512_maskz_loadu_epi8(uLanes, pB);
    return _mm512_or_si512(_mm512_subs_epu8(a, b), _mm512_subs_epu8(b, a));
}

void abs_diff_avx512(std::uint8_t* pOut, const std::uint8_t* pA, const std::uint8_t* pB, int n)
{
    for (int i = 0; i < n; i += sk_nBytes) {
        const __mmask64 uLanes = firstBytes(n - i);
        _mm512_mask_storeu_epi8(pOut + i, uLanes, difference(pA + i, pB + i, uLanes));
    }
}

template<bool bStops>
void accumulate(std::uint8_t* pAcc, const std::uint8_t* pA, const std::uint8_t* pB, int nBegin, int nEnd)
{
    for (int i = nBegin; i < nEnd; i += sk_nBytes) {
        const __mmask64 uLanes = firstBytes(nEnd - i);
        const __m512i acc = _mm512_maskz_loadu_epi8(uLanes, pAcc + i);
        const __m512i more = difference(pA + i, pB + i, uLanes);
        _mm512_mask_storeu_epi8(pAcc + i, uLanes, bStops ? _mm512_adds_epu8(acc, more) : _mm512_add_epi8(acc, more));
    }
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
    for (int i = nBegin; i < nEnd; i += sk_nBytes) {
        const __mmask64 uLanes = firstBytes(nEnd - i);
        const __m512i acc = _mm512_maskz_loadu_epi8(uLanes, pAcc + i);
        const __m512i more = difference(pA + i, pB + i, uLanes);
        const __m512i stopped = _mm512_and_si512(_mm512_srli_epi16(_mm512_adds_epu8(acc, more), 1), low);
        // Half of the full sum: the average that rounds up, less the bit that it rounded.
        const __m512i odd = _mm512_and_si512(_mm512_xor_si512(acc, more), _mm512_set1_epi8(1));
        const __m512i full = _mm512_sub_epi8(_mm512_avg_epu8(acc, more), odd);
        _mm512_mask_storeu_epi8(pAcc + i, uLanes, bStops ? stopped : full);
    }
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
    for (int i = 0; i < n; i += sk_nWords) {
        const __mmask32 uLanes = firstWords(n - i);
        _mm512_mask_storeu_epi16(pOut + i, uLanes, _mm512_add_epi16(words(pA + i, uLanes), words(pB + i, uLanes)));
    }
}

// Sums run within quarters of the register first; then each quarter gets the totals of those in front of it. Only the
// last addition waits for the register before.
void box_add_sub16_avx512(std::uint16_t* pOut, unsigned uStart, const std::uint8_t* pAdd, const std::uint8_t* pSub,
                          int n)
{
    const __m512i zero = _mm512_setzero_si512();
    const __m512i top = _mm512_set1_epi16(0x0F0E);
    __m512i carry = _mm512_set1_epi16(static_cast<short>(uStart));
    for (int i = 0; i < n; i += sk_nWords) {
        const __mmask32 uLanes = firstWords(n - i);
        __m512i sums = _mm512_sub_epi16(widened(pAdd + i, uLanes), widened(pSub + i, uLanes));
        sums = _mm512_add_epi16(sums, _mm512_bslli_epi128(sums, 2));
        sums = _mm512_add_epi16(sums, _mm512_bslli_epi128(sums, 4));
        sums = _mm512_add_epi16(sums, _mm512_bslli_epi128(sums, 8));
        __m512i totals = _mm512_shuffle_epi8(sums, top);
        totals = _mm512_add_epi16(totals, _mm512_alignr_epi64(totals, zero, 6));
        totals = _mm512_add_epi16(totals, _mm512_alignr_epi64(totals, zero, 4));
        sums = _mm512_add_epi16(sums, _mm512_alignr_epi64(totals, zero, 6));
        _mm512_mask_storeu_epi16(pOut + i, uLanes, _mm512_add_epi16(sums, carry));
        carry = _mm512_add_epi16(carry, _mm512_shuffle_i64x2(totals, totals, 0xFF));
    }
}

void box_add_sub8ptr_avx512(std::uint16_t* pOut, const std::uint16_t* pIn, const std::uint8_t* pAdd,
                            const std::uint8_t* pSub, int n)
{
    for (int i = 0; i < n; i += sk_nWords) {
        const __mmask32 uLanes = firstWords(n - i);
        const __m512i change = _mm512_sub_epi16(widened(pAdd + i, uLanes), widened(pSub + i, uLanes));
        _mm512_mask_storeu_epi16(pOut + i, uLanes, _mm512_add_epi16(words(pIn + i, uLanes), change));
    }
}

void box_add_sub16ptr_avx512(std::uint16_t* pOut, const std::uint16_t* pIn, const std::uint16_t* pAdd,
                             const std::uint16_t* pSub, int n)
{
    for (int i = 0; i < n; i += sk_nWords) {
        const __mmask32 uLanes = firstWords(n - i);
        const __m512i change = _mm512_sub_epi16(words(pAdd + i, uLanes), words(pSub + i, uLanes));
        _mm512_mask_storeu_epi16(pOut + i, uLanes, _mm512_add_epi16(words(pIn + i, uLanes), change));
    }
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
    for (int i = nBegin; i < nEnd; i += sk_nWords) {
        const __mmask32 uLanes = firstWords(nEnd - i);
        const __m512i scores = words(r.m_pScores + i, uLanes);
        const __m512i best = words(r.m_pBest + i, uLanes);
        const __mmask32 uLower = _mm512_cmplt_epu16_mask(scores, best);
        _mm512_mask_storeu_epi16(r.m_pBest + i, uLanes, _mm512_min_epu16(scores, best));
        const __m256i labels = _mm256_mask_mov_epi8(_mm256_maskz_loadu_epi8(uLanes, r.m_pLabel + i), uLower, newLabels);
        _mm256_mask_storeu_epi8(r.m_pLabel + i, uLanes, labels);
        if constexpr (bSubpixel) {
            const __m512i before = words(r.m_pBefore + i, uLanes);
            const __m512i last = words(r.m_pLast + i, uLanes);
            _mm512_mask_storeu_epi16(r.m_pBefore + i, uLanes, _mm512_mask_mov_epi16(before, uLower, last));
            const __mmask32 uBehind = _mm256_cmpeq_epi8_mask(labels, labelsBehind);
            const __m512i after = words(r.m_pAfter + i, uLanes);
            _mm512_mask_storeu_epi16(r.m_pAfter + i, uLanes, _mm512_mask_mov_epi16(after, uBehind, scores));
        }
    }
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

} // namespace

void widenToAvx512(KernelForm& r)
{
    r.m_pszName = r.m_bSSE2 ? "avx512_sse2" : "avx512_mmx";
    r.abs_diff = abs_diff_avx512;
    r.acc_abs_diff = acc_abs_diff_avx512;
    r.acc_abs_diff_over2 = acc_abs_diff_over2_avx512;
    r.row_add = row_add_avx512;
    r.box_add_sub16 = box_add_sub16_avx512;
    r.box_add_sub8ptr = box_add_sub8ptr_avx512;
    r.box_add_sub16ptr = box_add_sub16ptr_avx512;
    r.stereo_min = r.m_bSSE2 ? stereo_min_avx512<true> : stereo_min_avx512<false>;
    r.stereo_min_subpix = r.m_bSSE2 ? stereo_min_subpix_avx512<true> : stereo_min_subpix_avx512<false>;
}

} // namespace kestrova
