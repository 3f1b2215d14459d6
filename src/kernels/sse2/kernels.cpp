// The forms in use: the results of four-lane groups (mmx) and of eight-lane groups (sse2), both in SSE2.
//
// Loads and stores are unaligned ones, since views begin at any column; bodies still start at the boundaries that the
// results depend on. Where no result depends on them a body starts at the first pixel. The two forms differ only in
// the label constants of stereo_min, so they share everything else.
#include "kernels/kernel_forms.h"
#include "kernels/wide/row_interpolation_wide.h"
#include "kernels/wide/running_differences.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <emmintrin.h>

namespace kestrova {

namespace {

template<typename T>
__m128i load(const T* p)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

/** Eight bytes into the low half. */
template<typename T>
__m128i load_half(const T* p)
{
    return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
}

template<typename T>
void store(T* p, __m128i value)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), value);
}

template<typename T>
void store_half(T* p, __m128i value)
{
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), value);
}

__m128i choose(__m128i mask, __m128i ifSet, __m128i ifClear)
{
    return _mm_or_si128(_mm_and_si128(mask, ifSet), _mm_andnot_si128(mask, ifClear));
}

/** Low eight bytes to eight lanes. */
__m128i widen(__m128i bytes)
{
    return _mm_unpacklo_epi8(bytes, _mm_setzero_si128());
}

__m128i widen_high(__m128i bytes)
{
    return _mm_unpackhi_epi8(bytes, _mm_setzero_si128());
}

// ---- abs_diff, acc_abs_diff, acc_abs_diff_over2: differences of two rows ----
// One of the two saturating differences is 0, so their OR is the absolute difference.

__m128i difference(__m128i a, __m128i b)
{
    return _mm_or_si128(_mm_subs_epu8(a, b), _mm_subs_epu8(b, a));
}

void abs_diff_sse2(std::uint8_t* pOut, const std::uint8_t* pA, const std::uint8_t* pB, int n)
{
    int i = 0;
    for (; i + 16 <= n; i += 16) {
        store(pOut + i, difference(load(pA + i), load(pB + i)));
    }
    if (i + 8 <= n) {
        store_half(pOut + i, difference(load_half(pA + i), load_half(pB + i)));
        i += 8;
    }
    for (; i < n; ++i) {
        pOut[i] = static_cast<std::uint8_t>(std::abs(pA[i] - pB[i]));
    }
}

void acc_singles(std::uint8_t* pAcc, const std::uint8_t* pA, const std::uint8_t* pB, int nBegin, int nEnd)
{
    for (int i = nBegin; i < nEnd; ++i) {
        pAcc[i] = static_cast<std::uint8_t>(pAcc[i] + std::abs(pA[i] - pB[i])); // wraps by design
    }
}

void acc_abs_diff_sse2(std::uint8_t* pAcc, const std::uint8_t* pA, const std::uint8_t* pB, int n)
{
    const Body body = body_of(pAcc, sk_accAbsDiffBody, n);
    acc_singles(pAcc, pA, pB, 0, body.m_nBegin);
    for (int i = body.m_nBegin; i < body.m_nEnd; i += 16) {
        store(pAcc + i, _mm_adds_epu8(load(pAcc + i), difference(load(pA + i), load(pB + i))));
    }
    acc_singles(pAcc, pA, pB, body.m_nEnd, n);
}

void over2_singles(std::uint8_t* pAcc, const std::uint8_t* pA, const std::uint8_t* pB, int nBegin, int nEnd)
{
    for (int i = nBegin; i < nEnd; ++i) {
        pAcc[i] = static_cast<std::uint8_t>((pAcc[i] + std::abs(pA[i] - pB[i])) >> 1);
    }
}

__m128i over2(__m128i acc, __m128i a, __m128i b)
{
    const __m128i sum = _mm_adds_epu8(acc, difference(a, b));
    return _mm_and_si128(_mm_srli_epi16(sum, 1), _mm_set1_epi8(0x7F)); // bytes halved in pairs, stray bits cut
}

void acc_abs_diff_over2_sse2(std::uint8_t* pAcc, const std::uint8_t* pA, const std::uint8_t* pB, int n)
{
    const Body body = body_of(pAcc, sk_accAbsDiffOver2Body, n);
    over2_singles(pAcc, pA, pB, 0, body.m_nBegin);
    int i = body.m_nBegin;
    for (; i + 16 <= body.m_nEnd; i += 16) {
        store(pAcc + i, over2(load(pAcc + i), load(pA + i), load(pB + i)));
    }
    if (i < body.m_nEnd) {
        store_half(pAcc + i, over2(load_half(pAcc + i), load_half(pA + i), load_half(pB + i)));
    }
    over2_singles(pAcc, pA, pB, body.m_nEnd, n);
}

// ---- row_add, row_copy16 ----

void row_add_sse2(std::uint16_t* pOut, const std::uint16_t* pA, const std::uint16_t* pB, int n)
{
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        store(pOut + i, _mm_add_epi16(load(pA + i), load(pB + i)));
    }
    for (; i < n; ++i) {
        pOut[i] = static_cast<std::uint16_t>(pA[i] + pB[i]);
    }
}

void row_copy16_sse2(std::uint16_t* pOut, const std::uint16_t* pIn, int n)
{
    if (n > 0) {
        std::memcpy(pOut, pIn, static_cast<std::size_t>(n) * sizeof *pOut);
    }
}

// ---- box_add_sub16: running sum of the difference of two rows ----
// Only the last addition of a group waits for the group before it: the carry is broadcast and grows by the top lane.

__m128i running_sum(__m128i lanes)
{
    lanes = _mm_add_epi16(lanes, _mm_slli_si128(lanes, 2));
    lanes = _mm_add_epi16(lanes, _mm_slli_si128(lanes, 4));
    return _mm_add_epi16(lanes, _mm_slli_si128(lanes, 8));
}

__m128i broadcast_top(__m128i lanes)
{
    return _mm_shuffle_epi32(_mm_shufflehi_epi16(lanes, 0xFF), 0xFF);
}

unsigned box_singles(std::uint16_t* pOut, unsigned uSum, const std::uint8_t* pAdd, const std::uint8_t* pSub, int nBegin,
                     int nEnd)
{
    for (int i = nBegin; i < nEnd; ++i) {
        uSum = uSum + pAdd[i] - pSub[i];
        pOut[i] = static_cast<std::uint16_t>(uSum);
    }
    return uSum;
}

void box_add_sub16_sse2(std::uint16_t* pOut, unsigned uStart, const std::uint8_t* pAdd, const std::uint8_t* pSub, int n)
{
    constexpr BodyRule sk_aligned = {8, 16, 8}; // for speed alone: no result depends on it
    const Body body = body_of(pOut, sk_aligned, n);
    const unsigned uSum = box_singles(pOut, uStart, pAdd, pSub, 0, body.m_nBegin);
    __m128i carry = _mm_set1_epi16(static_cast<short>(uSum));
    int i = body.m_nBegin;
    for (; i + 16 <= body.m_nEnd; i += 16) {
        const __m128i add = load(pAdd + i);
        const __m128i sub = load(pSub + i);
        const __m128i low = running_sum(_mm_sub_epi16(widen(add), widen(sub)));
        const __m128i high = running_sum(_mm_sub_epi16(widen_high(add), widen_high(sub)));
        const __m128i lowTop = broadcast_top(low);
        store(pOut + i, _mm_add_epi16(low, carry));
        store(pOut + i + 8, _mm_add_epi16(_mm_add_epi16(high, lowTop), carry));
        carry = _mm_add_epi16(carry, _mm_add_epi16(lowTop, broadcast_top(high)));
    }
    if (i < body.m_nEnd) {
        const __m128i sums = running_sum(_mm_sub_epi16(widen(load_half(pAdd + i)), widen(load_half(pSub + i))));
        store(pOut + i, _mm_add_epi16(sums, carry));
        i += 8;
    }
    if (i < n) {
        box_singles(pOut, i > 0 ? pOut[i - 1] : uStart, pAdd, pSub, i, n);
    }
}

// ---- box_add_sub8ptr, box_add_sub16ptr: sums moved on by one row in and one row out ----

void box_add_sub8ptr_sse2(std::uint16_t* pOut, const std::uint16_t* pIn, const std::uint8_t* pAdd,
                          const std::uint8_t* pSub, int n)
{
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m128i change = _mm_sub_epi16(widen(load_half(pAdd + i)), widen(load_half(pSub + i)));
        store(pOut + i, _mm_add_epi16(load(pIn + i), change));
    }
    for (; i < n; ++i) {
        pOut[i] = static_cast<std::uint16_t>(pIn[i] + pAdd[i] - pSub[i]);
    }
}

void box_add_sub16ptr_sse2(std::uint16_t* pOut, const std::uint16_t* pIn, const std::uint16_t* pAdd,
                           const std::uint16_t* pSub, int n)
{
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        store(pOut + i, _mm_sub_epi16(_mm_add_epi16(load(pIn + i), load(pAdd + i)), load(pSub + i)));
    }
    for (; i < n; ++i) {
        pOut[i] = static_cast<std::uint16_t>(pIn[i] + pAdd[i] - pSub[i]);
    }
}

// ---- box8x4_hfilter: box sums of the four channels side by side ----

__m128i load_pixel(const Pixel8x4* p)
{
    std::int32_t nBytes;
    std::memcpy(&nBytes, p, sizeof nBytes);
    return widen(_mm_cvtsi32_si128(nBytes));
}

void box8x4_hfilter_sse2(Pixel16x4* pOut, const Pixel8x4* pIn, unsigned n, unsigned w)
{
    if (n < 1 || n < w) {
        return;
    }
    __m128i sum = _mm_setzero_si128();
    for (std::size_t i = 0; i < w; ++i) {
        sum = _mm_add_epi16(sum, load_pixel(pIn + i));
    }
    store_half(pOut, sum);
    for (std::size_t k = 1; k < n; ++k) {
        sum = _mm_add_epi16(sum, _mm_sub_epi16(load_pixel(pIn + k + w - 1), load_pixel(pIn + k - 1)));
        store_half(pOut + k, sum);
    }
}

// ---- stereo_min: lowest score per pixel, with its label ----
// The saturating difference best - score is 0 exactly where the score does not improve, and best minus it is the
// lower of the two: an unsigned compare and a minimum without a bias.

/** Label constants of two groups: whole ones for four-lane groups, 0 in lanes 4 to 7 of eight-lane ones. */
template<bool bSSE2>
__m128i label_constant(std::uint8_t ucLabel)
{
    const __m128i whole = _mm_set1_epi8(static_cast<char>(ucLabel));
    return bSSE2 ? _mm_and_si128(whole, _mm_set_epi32(0, -1, 0, -1)) : whole;
}

/** Updates best at p; set lanes of the result are the ones that keep what they had. */
__m128i keep_lower(std::uint16_t* p, __m128i scores)
{
    const __m128i best = load(p);
    const __m128i gain = _mm_subs_epu16(best, scores);
    store(p, _mm_sub_epi16(best, gain));
    return _mm_cmpeq_epi16(gain, _mm_setzero_si128());
}

/** All pixels take part in whole groups where labels are whole; else the body is where the lanes are counted from. */
template<bool bSSE2>
Body stereo_min_body(const std::uint16_t* pBest, int n)
{
    return bSSE2 ? body_of(pBest, sk_stereoMinBodySSE2, n) : Body{0, std::max(n, 0) / 8 * 8};
}

void stereo_min_singles(std::uint16_t* pBest, std::uint8_t* pLabel, const std::uint16_t* pScores,
                        std::uint8_t ucNewLabel, int nBegin, int nEnd)
{
    for (int i = nBegin; i < nEnd; ++i) {
        if (pScores[i] < pBest[i]) {
            pBest[i] = pScores[i];
            pLabel[i] = ucNewLabel;
        }
    }
}

template<bool bSSE2>
void stereo_min_lanes(std::uint16_t* pBest, std::uint8_t* pLabel, const std::uint16_t* pScores, std::uint8_t ucNewLabel,
                      int n)
{
    const Body body = stereo_min_body<bSSE2>(pBest, n);
    const __m128i newLabels = label_constant<bSSE2>(ucNewLabel);
    stereo_min_singles(pBest, pLabel, pScores, ucNewLabel, 0, body.m_nBegin);
    int i = body.m_nBegin;
    for (; i + 16 <= body.m_nEnd; i += 16) {
        const __m128i keepLow = keep_lower(pBest + i, load(pScores + i));
        const __m128i keepHigh = keep_lower(pBest + i + 8, load(pScores + i + 8));
        store(pLabel + i, choose(_mm_packs_epi16(keepLow, keepHigh), load(pLabel + i), newLabels));
    }
    if (i < body.m_nEnd) {
        const __m128i keep = keep_lower(pBest + i, load(pScores + i));
        store_half(pLabel + i, choose(_mm_packs_epi16(keep, keep), load_half(pLabel + i), newLabels));
    }
    stereo_min_singles(pBest, pLabel, pScores, ucNewLabel, body.m_nEnd, n);
}

// ---- stereo_min_subpix: the same, with the scores on either side of the best ----

struct SubpixRows
{
    std::uint16_t* m_pBest;
    std::uint8_t* m_pLabel;
    std::uint16_t* m_pBefore;
    std::uint16_t* m_pAfter;
    const std::uint16_t* m_pLast;
    const std::uint16_t* m_pScores;
};

void subpix_singles(const SubpixRows& r, std::uint8_t ucNewLabel, int nBegin, int nEnd)
{
    const auto ucBehind = static_cast<std::uint8_t>(ucNewLabel - 1);
    for (int i = nBegin; i < nEnd; ++i) {
        if (r.m_pScores[i] < r.m_pBest[i]) {
            r.m_pBest[i] = r.m_pScores[i];
            r.m_pLabel[i] = ucNewLabel;
            r.m_pBefore[i] = r.m_pLast[i];
        } else if (r.m_pLabel[i] == ucBehind) {
            r.m_pAfter[i] = r.m_pScores[i];
        }
    }
}

void subpix_group(const SubpixRows& r, __m128i newLabels, __m128i labelsBehind, int i)
{
    const __m128i scores = load(r.m_pScores + i);
    const __m128i keep = keep_lower(r.m_pBest + i, scores);
    const __m128i labels = choose(_mm_packs_epi16(keep, keep), load_half(r.m_pLabel + i), newLabels);
    store_half(r.m_pLabel + i, labels);
    store(r.m_pBefore + i, choose(keep, load(r.m_pBefore + i), load(r.m_pLast + i)));
    // The labels just stored are compared, so a lane that stored 0 and looks for 0 takes its score at once.
    const __m128i behind = _mm_cmpeq_epi8(labels, labelsBehind);
    const __m128i behindLanes = _mm_unpacklo_epi8(behind, behind);
    store(r.m_pAfter + i, choose(behindLanes, scores, load(r.m_pAfter + i)));
}

template<bool bSSE2>
void stereo_min_subpix_lanes(std::uint16_t* pBest, std::uint8_t* pLabel, std::uint16_t* pBefore, std::uint16_t* pAfter,
                             const std::uint16_t* pLast, const std::uint16_t* pScores, std::uint8_t ucNewLabel, int n)
{
    const SubpixRows rows = {pBest, pLabel, pBefore, pAfter, pLast, pScores};
    const Body body = stereo_min_body<bSSE2>(pBest, n);
    const __m128i newLabels = label_constant<bSSE2>(ucNewLabel);
    const __m128i labelsBehind = label_constant<bSSE2>(static_cast<std::uint8_t>(ucNewLabel - 1));
    subpix_singles(rows, ucNewLabel, 0, body.m_nBegin);
    for (int i = body.m_nBegin; i < body.m_nEnd; i += 8) {
        subpix_group(rows, newLabels, labelsBehind, i);
    }
    subpix_singles(rows, ucNewLabel, body.m_nEnd, n);
}

// ---- row_pack_op, row_scale_op: sums times a 16.16 factor ----
// x * scale / 65536 = mulhi(x, low half) + x * high half, with the high half one more where the low half reads as
// negative. All of it wraps at 16 bits.

struct Factor
{
    explicit Factor(int nScale)
        : m_low(_mm_set1_epi16(static_cast<short>(nScale))),
          m_high(_mm_set1_epi16(static_cast<short>((nScale >> 16) + (nScale >> 15 & 1))))
    {}

    [[nodiscard]] __m128i operator()(__m128i sums) const
    {
        return _mm_add_epi16(_mm_mulhi_epi16(sums, m_low), _mm_mullo_epi16(sums, m_high));
    }

    __m128i m_low;
    __m128i m_high;
};

void row_pack_op_sse2(std::uint8_t* pDst, int n, const std::uint16_t* pSums, int nScale)
{
    const Body body = body_of(pSums, sk_rowPackBody, n);
    const Factor factor(nScale);
    int i = 0;
    for (; i < body.m_nBegin; ++i) {
        pDst[i] = static_cast<std::uint8_t>(scaled_sum(pSums[i], nScale));
    }
    for (; i + 16 <= body.m_nEnd; i += 16) {
        store(pDst + i, _mm_packus_epi16(factor(load(pSums + i)), factor(load(pSums + i + 8))));
    }
    for (; i < body.m_nEnd; i += 4) {
        const __m128i packed = _mm_packus_epi16(factor(load_half(pSums + i)), _mm_setzero_si128());
        const std::int32_t nBytes = _mm_cvtsi128_si32(packed);
        std::memcpy(pDst + i, &nBytes, sizeof nBytes);
    }
    for (; i < n; ++i) {
        pDst[i] = static_cast<std::uint8_t>(scaled_sum(pSums[i], nScale));
    }
}

void row_scale_op_sse2(std::uint16_t* pDst, int n, const std::uint16_t* pSrc, int nScale)
{
    const Factor factor(nScale);
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        store(pDst + i, factor(load(pSrc + i)));
    }
    for (; i < n; ++i) {
        pDst[i] = scaled_sum(pSrc[i], nScale);
    }
}

// ---- running_differences ----

struct Registers
{
    using V = __m128i;
    using Carry = __m128i;
    static constexpr int sk_nBytes = 16;

    static V bytesAt(const std::uint8_t* p) { return load(p); }
    static V none() { return _mm_setzero_si128(); }
    static V apart(V a, V b) { return difference(a, b); }
    static V addStopping(V a, V b) { return _mm_adds_epu8(a, b); }
    static V add(V a, V b) { return _mm_add_epi8(a, b); }
    static V halved(V v) { return _mm_and_si128(_mm_srli_epi16(v, 1), _mm_set1_epi8(0x7F)); }
    /** The average that rounds up, less the bit that it rounded. */
    static V halfOfSum(V a, V b)
    {
        return _mm_sub_epi8(_mm_avg_epu8(a, b), _mm_and_si128(_mm_xor_si128(a, b), _mm_set1_epi8(1)));
    }
    static V firstBytes(int n, V first, V rest)
    {
        const V places = _mm_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
        return choose(_mm_cmpgt_epi8(_mm_set1_epi8(static_cast<char>(std::min(n, sk_nBytes))), places), first, rest);
    }
    static Carry carryOf(std::uint16_t u) { return _mm_set1_epi16(static_cast<short>(u)); }
    static Carry storeSums(std::uint16_t* p, V arriving, V leaving, Carry carry)
    {
        const V low = running_sum(_mm_sub_epi16(widen(arriving), widen(leaving)));
        const V high = running_sum(_mm_sub_epi16(widen_high(arriving), widen_high(leaving)));
        const V lowTop = broadcast_top(low);
        store(p, _mm_add_epi16(low, carry));
        store(p + 8, _mm_add_epi16(_mm_add_epi16(high, lowTop), carry));
        return _mm_add_epi16(carry, _mm_add_epi16(lowTop, broadcast_top(high)));
    }
};

template<bool bSSE2>
constexpr KernelForm vectorForm(const char* pszName)
{
    return {pszName,
            bSSE2,
            abs_diff_sse2,
            acc_abs_diff_sse2,
            acc_abs_diff_over2_sse2,
            row_add_sse2,
            row_copy16_sse2,
            box_add_sub16_sse2,
            box_add_sub8ptr_sse2,
            box_add_sub16ptr_sse2,
            box8x4_hfilter_sse2,
            stereo_min_lanes<bSSE2>,
            stereo_min_subpix_lanes<bSSE2>,
            row_pack_op_sse2,
            row_scale_op_sse2,
            row_interpolation_lanes<4>,
            running_differences_lanes<Registers>};
}

} // namespace

constinit const KernelForm g_mmxForm = vectorForm<false>("mmx");
constinit const KernelForm g_sse2Form = vectorForm<true>("sse2");

KernelForm sse2Kernels(bool bSSE2)
{
    return bSSE2 ? g_sse2Form : g_mmxForm;
}

} // namespace kestrova
