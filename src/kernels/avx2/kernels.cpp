// Row kernels in registers of 256 bits. Compiled for processors that have them, and reached on no other. What is left
// of a row goes through the narrower form, from where the wide steps end: always a boundary of its groups.
#include "kernels/kernel_forms.h"
#include "kernels/wide/row_interpolation_wide.h"
#include "kernels/wide/running_differences.h"

#include <immintrin.h>

namespace kestrova {

namespace {

constexpr int sk_nBytes = 32; // of a register
constexpr int sk_nWords = 16;

template<typename T>
__m256i load(const T* p)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

template<typename T>
void store(T* p, __m256i v)
{
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}

__m128i loadHalf(const std::uint8_t* p)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

__m256i widened(const std::uint8_t* p)
{
    return _mm256_cvtepu8_epi16(loadHalf(p));
}

__m256i difference(const std::uint8_t* pA, const std::uint8_t* pB)
{
    const __m256i a = load(pA);
    const __m256i b = load(pB);
    return _mm256_or_si256(_mm256_subs_epu8(a, b), _mm256_subs_epu8(b, a));
}

/** As many whole steps from nBegin as end by nEnd. */
int lastStep(int nBegin, int nEnd, int nStep)
{
    return nBegin + (nEnd > nBegin ? (nEnd - nBegin) / nStep * nStep : 0);
}

void abs_diff_avx2(std::uint8_t* pOut, const std::uint8_t* pA, const std::uint8_t* pB, int n)
{
    const int nEnd = lastStep(0, n, sk_nBytes);
    for (int i = 0; i < nEnd; i += sk_nBytes) {
        store(pOut + i, difference(pA + i, pB + i));
    }
    g_sse2Form.abs_diff(pOut + nEnd, pA + nEnd, pB + nEnd, n - nEnd);
}

void acc_abs_diff_avx2(std::uint8_t* pAcc, const std::uint8_t* pA, const std::uint8_t* pB, int n)
{
    const Body body = body_of(pAcc, sk_accAbsDiffBody, n);
    g_sse2Form.acc_abs_diff(pAcc, pA, pB, body.m_nBegin);
    const int nEnd = lastStep(body.m_nBegin, body.m_nEnd, sk_nBytes);
    for (int i = body.m_nBegin; i < nEnd; i += sk_nBytes) {
        store(pAcc + i, _mm256_adds_epu8(load(pAcc + i), difference(pA + i, pB + i)));
    }
    g_sse2Form.acc_abs_diff(pAcc + nEnd, pA + nEnd, pB + nEnd, n - nEnd);
}

void acc_abs_diff_over2_avx2(std::uint8_t* pAcc, const std::uint8_t* pA, const std::uint8_t* pB, int n)
{
    const Body body = body_of(pAcc, sk_accAbsDiffOver2Body, n);
    g_sse2Form.acc_abs_diff_over2(pAcc, pA, pB, body.m_nBegin);
    const int nEnd = lastStep(body.m_nBegin, body.m_nEnd, sk_nBytes);
    for (int i = body.m_nBegin; i < nEnd; i += sk_nBytes) {
        const __m256i sum = _mm256_adds_epu8(load(pAcc + i), difference(pA + i, pB + i));
        store(pAcc + i, _mm256_and_si256(_mm256_srli_epi16(sum, 1), _mm256_set1_epi8(0x7F)));
    }
    g_sse2Form.acc_abs_diff_over2(pAcc + nEnd, pA + nEnd, pB + nEnd, n - nEnd);
}

void row_add_avx2(std::uint16_t* pOut, const std::uint16_t* pA, const std::uint16_t* pB, int n)
{
    const int nEnd = lastStep(0, n, sk_nWords);
    for (int i = 0; i < nEnd; i += sk_nWords) {
        store(pOut + i, _mm256_add_epi16(load(pA + i), load(pB + i)));
    }
    g_sse2Form.row_add(pOut + nEnd, pA + nEnd, pB + nEnd, n - nEnd);
}

/** Sums run within halves of the register first. Only the last addition waits for the register before. */
__m256i store_running(std::uint16_t* p, __m256i changes, __m256i carry)
{
    const __m256i top = _mm256_set1_epi16(0x0F0E);
    __m256i sums = _mm256_add_epi16(changes, _mm256_bslli_epi128(changes, 2));
    sums = _mm256_add_epi16(sums, _mm256_bslli_epi128(sums, 4));
    sums = _mm256_add_epi16(sums, _mm256_bslli_epi128(sums, 8));
    const __m256i totals = _mm256_shuffle_epi8(sums, top);
    const __m256i lower = _mm256_permute2x128_si256(totals, totals, 0x08); // nothing, and the lower total
    store(p, _mm256_add_epi16(_mm256_add_epi16(sums, lower), carry));
    const __m256i total = _mm256_add_epi16(totals, lower);
    return _mm256_add_epi16(carry, _mm256_permute2x128_si256(total, total, 0x11));
}

void box_add_sub16_avx2(std::uint16_t* pOut, unsigned uStart, const std::uint8_t* pAdd, const std::uint8_t* pSub, int n)
{
    __m256i carry = _mm256_set1_epi16(static_cast<short>(uStart));
    const int nEnd = lastStep(0, n, sk_nWords);
    for (int i = 0; i < nEnd; i += sk_nWords) {
        carry = store_running(pOut + i, _mm256_sub_epi16(widened(pAdd + i), widened(pSub + i)), carry);
    }
    g_sse2Form.box_add_sub16(pOut + nEnd, static_cast<unsigned>(_mm256_extract_epi16(carry, 0)), pAdd + nEnd,
                             pSub + nEnd, n - nEnd);
}

void box_add_sub8ptr_avx2(std::uint16_t* pOut, const std::uint16_t* pIn, const std::uint8_t* pAdd,
                          const std::uint8_t* pSub, int n)
{
    const int nEnd = lastStep(0, n, sk_nWords);
    for (int i = 0; i < nEnd; i += sk_nWords) {
        store(pOut + i, _mm256_add_epi16(load(pIn + i), _mm256_sub_epi16(widened(pAdd + i), widened(pSub + i))));
    }
    g_sse2Form.box_add_sub8ptr(pOut + nEnd, pIn + nEnd, pAdd + nEnd, pSub + nEnd, n - nEnd);
}

void box_add_sub16ptr_avx2(std::uint16_t* pOut, const std::uint16_t* pIn, const std::uint16_t* pAdd,
                           const std::uint16_t* pSub, int n)
{
    const int nEnd = lastStep(0, n, sk_nWords);
    for (int i = 0; i < nEnd; i += sk_nWords) {
        store(pOut + i, _mm256_add_epi16(load(pIn + i), _mm256_sub_epi16(load(pAdd + i), load(pSub + i))));
    }
    g_sse2Form.box_add_sub16ptr(pOut + nEnd, pIn + nEnd, pAdd + nEnd, pSub + nEnd, n - nEnd);
}

/** Whole labels, or those of eight-lane groups: 0 in lanes 4 to 7. */
template<bool bSSE2>
__m128i label_constant(std::uint8_t ucLabel)
{
    const __m128i whole = _mm_set1_epi8(static_cast<char>(ucLabel));
    return bSSE2 ? _mm_and_si128(whole, _mm_set1_epi64x(0xFFFFFFFF)) : whole;
}

/** Updates best at p; set lanes of the result are the ones that keep what they had. */
__m256i keep_lower(std::uint16_t* p, __m256i scores)
{
    const __m256i best = load(p);
    const __m256i lower = _mm256_min_epu16(best, scores);
    store(p, lower);
    return _mm256_cmpeq_epi16(lower, best);
}

/** Updates labels at p, and gives them back. */
__m128i relabel(std::uint8_t* p, __m256i keep, __m128i newLabels)
{
    const __m128i keepBytes = _mm_packs_epi16(_mm256_castsi256_si128(keep), _mm256_extracti128_si256(keep, 1));
    const __m128i labels = _mm_blendv_epi8(newLabels, loadHalf(p), keepBytes);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), labels);
    return labels;
}

template<bool bSSE2>
const KernelForm& narrower()
{
    return bSSE2 ? g_sse2Form : g_mmxForm;
}

template<bool bSSE2>
Body minimumBody(const std::uint16_t* pBest, int n)
{
    const Body body = bSSE2 ? body_of(pBest, sk_stereoMinBodySSE2, n) : Body{0, n};
    return {body.m_nBegin, lastStep(body.m_nBegin, body.m_nEnd, sk_nWords)};
}

template<bool bSSE2>
void stereo_min_avx2(std::uint16_t* pBest, std::uint8_t* pLabel, const std::uint16_t* pScores, std::uint8_t ucNewLabel,
                     int n)
{
    const Body body = minimumBody<bSSE2>(pBest, n);
    const __m128i newLabels = label_constant<bSSE2>(ucNewLabel);
    narrower<bSSE2>().stereo_min(pBest, pLabel, pScores, ucNewLabel, body.m_nBegin);
    for (int i = body.m_nBegin; i < body.m_nEnd; i += sk_nWords) {
        relabel(pLabel + i, keep_lower(pBest + i, load(pScores + i)), newLabels);
    }
    const int i = body.m_nEnd;
    narrower<bSSE2>().stereo_min(pBest + i, pLabel + i, pScores + i, ucNewLabel, n - i);
}

template<bool bSSE2>
void stereo_min_subpix_avx2(std::uint16_t* pBest, std::uint8_t* pLabel, std::uint16_t* pBefore, std::uint16_t* pAfter,
                            const std::uint16_t* pLast, const std::uint16_t* pScores, std::uint8_t ucNewLabel, int n)
{
    const Body body = minimumBody<bSSE2>(pBest, n);
    const __m128i newLabels = label_constant<bSSE2>(ucNewLabel);
    const __m128i labelsBehind = label_constant<bSSE2>(static_cast<std::uint8_t>(ucNewLabel - 1));
    narrower<bSSE2>().stereo_min_subpix(pBest, pLabel, pBefore, pAfter, pLast, pScores, ucNewLabel, body.m_nBegin);
    for (int i = body.m_nBegin; i < body.m_nEnd; i += sk_nWords) {
        const __m256i scores = load(pScores + i);
        const __m256i keep = keep_lower(pBest + i, scores);
        const __m128i labels = relabel(pLabel + i, keep, newLabels);
        store(pBefore + i, _mm256_blendv_epi8(load(pLast + i), load(pBefore + i), keep));
        // The labels just stored are compared, so a lane that stored 0 and looks for 0 takes its score at once.
        const __m256i behind = _mm256_cvtepi8_epi16(_mm_cmpeq_epi8(labels, labelsBehind));
        store(pAfter + i, _mm256_blendv_epi8(load(pAfter + i), scores, behind));
    }
    const int i = body.m_nEnd;
    narrower<bSSE2>().stereo_min_subpix(pBest + i, pLabel + i, pBefore + i, pAfter + i, pLast + i, pScores + i,
                                        ucNewLabel, n - i);
}

struct Registers
{
    using V = __m256i;
    using Carry = __m256i;
    static constexpr int sk_nBytes = 32;

    static V bytesAt(const std::uint8_t* p) { return load(p); }
    static V none() { return _mm256_setzero_si256(); }
    static V apart(V a, V b) { return _mm256_or_si256(_mm256_subs_epu8(a, b), _mm256_subs_epu8(b, a)); }
    static V addStopping(V a, V b) { return _mm256_adds_epu8(a, b); }
    static V add(V a, V b) { return _mm256_add_epi8(a, b); }
    static V halved(V v) { return _mm256_and_si256(_mm256_srli_epi16(v, 1), _mm256_set1_epi8(0x7F)); }
    /** The average that rounds up, less the bit that it rounded. */
    static V halfOfSum(V a, V b)
    {
        return _mm256_sub_epi8(_mm256_avg_epu8(a, b), _mm256_and_si256(_mm256_xor_si256(a, b), _mm256_set1_epi8(1)));
    }
    static V firstBytes(int n, V first, V rest)
    {
        const V places = _mm256_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21,
                                          22, 23, 24, 25, 26, 27, 28, 29, 30, 31);
        const V end = _mm256_set1_epi8(static_cast<char>(n < sk_nBytes ? n : sk_nBytes));
        return _mm256_blendv_epi8(rest, first, _mm256_cmpgt_epi8(end, places));
    }
    static Carry carryOf(std::uint16_t u) { return _mm256_set1_epi16(static_cast<short>(u)); }
    static Carry storeHalf(std::uint16_t* p, __m128i arriving, __m128i leaving, Carry carry)
    {
        return store_running(p, _mm256_sub_epi16(_mm256_cvtepu8_epi16(arriving), _mm256_cvtepu8_epi16(leaving)), carry);
    }
    static Carry storeSums(std::uint16_t* p, V arriving, V leaving, Carry carry)
    {
        carry = storeHalf(p, _mm256_castsi256_si128(arriving), _mm256_castsi256_si128(leaving), carry);
        return storeHalf(p + sk_nWords, _mm256_extracti128_si256(arriving, 1), _mm256_extracti128_si256(leaving, 1),
                         carry);
    }
};

} // namespace

KernelForm avx2Kernels(bool bSSE2)
{
    KernelForm r = sse2Kernels(bSSE2);
    r.m_pszName = bSSE2 ? "avx2_sse2" : "avx2_mmx";
    r.abs_diff = abs_diff_avx2;
    r.acc_abs_diff = acc_abs_diff_avx2;
    r.acc_abs_diff_over2 = acc_abs_diff_over2_avx2;
    r.row_add = row_add_avx2;
    r.box_add_sub16 = box_add_sub16_avx2;
    r.box_add_sub8ptr = box_add_sub8ptr_avx2;
    r.box_add_sub16ptr = box_add_sub16ptr_avx2;
    r.stereo_min = bSSE2 ? stereo_min_avx2<true> : stereo_min_avx2<false>;
    r.stereo_min_subpix = bSSE2 ? stereo_min_subpix_avx2<true> : stereo_min_subpix_avx2<false>;
    r.row_interpolation = row_interpolation_lanes<8>;
    r.running_differences = running_differences_lanes<Registers>;
    return r;
}

} // namespace kestrova
