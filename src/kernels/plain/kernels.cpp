// The plain forms: straight code that says what every pixel of every kernel becomes. All other forms are held to it.
#include "kernels/kernel_forms.h"

#include <algorithm>
#include <cstdlib>

namespace kestrova {

namespace {

Body bodyFrom(int nPrefix, const BodyRule& rRule, int n)
{
    if (n < rRule.m_nEntry || nPrefix > n) {
        return {n, n};
    }
    return {nPrefix, nPrefix + (n - nPrefix) / rRule.m_nGroup * rRule.m_nGroup};
}

int pixels_to_boundary(const void* p, int nPixelSize, int nAlignment)
{
    const auto uMask = static_cast<std::uintptr_t>(nAlignment) - 1;
    return static_cast<int>((0 - reinterpret_cast<std::uintptr_t>(p)) & uMask) / nPixelSize;
}

bool holds(const Body& rBody, int i)
{
    return i >= rBody.m_nBegin && i < rBody.m_nEnd;
}

void abs_diff_plain(std::uint8_t* pOut, const std::uint8_t* pA, const std::uint8_t* pB, int n)
{
    for (int i = 0; i < n; ++i) {
        pOut[i] = static_cast<std::uint8_t>(std::abs(pA[i] - pB[i]));
    }
}

void acc_abs_diff_plain(std::uint8_t* pAcc, const std::uint8_t* pA, const std::uint8_t* pB, int n)
{
    const Body body = body_of(pAcc, sk_accAbsDiffBody, n);
    for (int i = 0; i < n; ++i) {
        const int nSum = pAcc[i] + std::abs(pA[i] - pB[i]);
        pAcc[i] = static_cast<std::uint8_t>(holds(body, i) ? std::min(255, nSum) : nSum);
    }
}

void acc_abs_diff_over2_plain(std::uint8_t* pAcc, const std::uint8_t* pA, const std::uint8_t* pB, int n)
{
    const Body body = body_of(pAcc, sk_accAbsDiffOver2Body, n);
    for (int i = 0; i < n; ++i) {
        const int nSum = pAcc[i] + std::abs(pA[i] - pB[i]);
        pAcc[i] = static_cast<std::uint8_t>((holds(body, i) ? std::min(255, nSum) : nSum) >> 1);
    }
}

void row_add_plain(std::uint16_t* pOut, const std::uint16_t* pA, const std::uint16_t* pB, int n)
{
    for (int i = 0; i < n; ++i) {
        pOut[i] = static_cast<std::uint16_t>(pA[i] + pB[i]);
    }
}

void row_copy16_plain(std::uint16_t* pOut, const std::uint16_t* pIn, int n)
{
    for (int i = 0; i < n; ++i) {
        pOut[i] = pIn[i];
    }
}

void box_add_sub16_plain(std::uint16_t* pOut, unsigned uStart, const std::uint8_t* pAdd, const std::uint8_t* pSub,
                         int n)
{
    unsigned uSum = uStart;
    for (int i = 0; i < n; ++i) {
        uSum = uSum + pAdd[i] - pSub[i];
        pOut[i] = static_cast<std::uint16_t>(uSum);
    }
}

void box_add_sub8ptr_plain(std::uint16_t* pOut, const std::uint16_t* pIn, const std::uint8_t* pAdd,
                           const std::uint8_t* pSub, int n)
{
    for (int i = 0; i < n; ++i) {
        pOut[i] = static_cast<std::uint16_t>(pIn[i] + pAdd[i] - pSub[i]);
    }
}

void box_add_sub16ptr_plain(std::uint16_t* pOut, const std::uint16_t* pIn, const std::uint16_t* pAdd,
                            const std::uint16_t* pSub, int n)
{
    for (int i = 0; i < n; ++i) {
        pOut[i] = static_cast<std::uint16_t>(pIn[i] + pAdd[i] - pSub[i]);
    }
}

void box8x4_hfilter_plain(Pixel16x4* pOut, const Pixel8x4* pIn, unsigned n, unsigned w)
{
    if (n < 1 || n < w) {
        return;
    }
    const auto* pBytes = reinterpret_cast<const std::uint8_t*>(pIn);
    for (std::size_t uLane = 0; uLane < 4; ++uLane) {
        unsigned uSum = 0;
        for (std::size_t i = 0; i < w; ++i) {
            uSum += pBytes[4 * i + uLane];
        }
        pOut[0].m_aLanes[uLane] = static_cast<std::uint16_t>(uSum);
        for (std::size_t k = 1; k < n; ++k) {
            uSum = uSum + pBytes[4 * (k + w - 1) + uLane] - pBytes[4 * (k - 1) + uLane];
            pOut[k].m_aLanes[uLane] = static_cast<std::uint16_t>(uSum);
        }
    }
}

struct Labels
{
    std::uint8_t m_ucNew;    // what an improvement stores
    std::uint8_t m_ucBehind; // the label whose pixel takes the score as the one behind its best
};

// In eight-lane groups the label constants fill only the low half of their load: lanes 4 to 7 store and look for 0.
// Disparity maps depend on it; leave it. Four-lane groups, and the pixels outside any group, have whole labels.
template<bool bSSE2>
Labels labels_at(const Body& rBody, int i, std::uint8_t ucNewLabel)
{
    if (bSSE2 && holds(rBody, i) && (i - rBody.m_nBegin) % 8 >= 4) {
        return {0, 0};
    }
    return {ucNewLabel, static_cast<std::uint8_t>(ucNewLabel - 1)};
}

template<bool bSSE2>
void stereo_min_plain(std::uint16_t* pBest, std::uint8_t* pLabel, const std::uint16_t* pScores, std::uint8_t ucNewLabel,
                      int n)
{
    const Body body = body_of(pBest, sk_stereoMinBodySSE2, n);
    for (int i = 0; i < n; ++i) {
        if (pScores[i] < pBest[i]) {
            pBest[i] = pScores[i];
            pLabel[i] = labels_at<bSSE2>(body, i, ucNewLabel).m_ucNew;
        }
    }
}

template<bool bSSE2>
void stereo_min_subpix_plain(std::uint16_t* pBest, std::uint8_t* pLabel, std::uint16_t* pBefore, std::uint16_t* pAfter,
                             const std::uint16_t* pLast, const std::uint16_t* pScores, std::uint8_t ucNewLabel, int n)
{
    const Body body = body_of(pBest, sk_stereoMinBodySSE2, n);
    for (int i = 0; i < n; ++i) {
        const Labels labels = labels_at<bSSE2>(body, i, ucNewLabel);
        if (pScores[i] < pBest[i]) {
            pBest[i] = pScores[i];
            pLabel[i] = labels.m_ucNew;
            pBefore[i] = pLast[i];
        }
        // Looks at the label as it stands now. A whole new label is never the one behind it, so an improvement
        // leaves after alone; in a lane that stores 0 it sets after too.
        if (pLabel[i] == labels.m_ucBehind) {
            pAfter[i] = pScores[i];
        }
    }
}

void row_pack_op_plain(std::uint8_t* pDst, int n, const std::uint16_t* pSums, int nScale)
{
    const Body body = body_of(pSums, sk_rowPackBody, n);
    for (int i = 0; i < n; ++i) {
        const int nValue = static_cast<std::int16_t>(scaled_sum(pSums[i], nScale));
        pDst[i] = static_cast<std::uint8_t>(holds(body, i) ? std::clamp(nValue, 0, 255) : nValue);
    }
}

void row_scale_op_plain(std::uint16_t* pDst, int n, const std::uint16_t* pSrc, int nScale)
{
    for (int i = 0; i < n; ++i) {
        pDst[i] = scaled_sum(pSrc[i], nScale);
    }
}

KernelForm plainForm(const char* pszName, bool bSSE2)
{
    return {pszName,
            bSSE2,
            abs_diff_plain,
            acc_abs_diff_plain,
            acc_abs_diff_over2_plain,
            row_add_plain,
            row_copy16_plain,
            box_add_sub16_plain,
            box_add_sub8ptr_plain,
            box_add_sub16ptr_plain,
            box8x4_hfilter_plain,
            bSSE2 ? stereo_min_plain<true> : stereo_min_plain<false>,
            bSSE2 ? stereo_min_subpix_plain<true> : stereo_min_subpix_plain<false>,
            row_pack_op_plain,
            row_scale_op_plain,
            row_interpolation,
            nullptr};
}

} // namespace

Body body_of(const std::uint8_t* pLeading, const BodyRule& rRule, int n)
{
    return bodyFrom(pixels_to_boundary(pLeading, 1, rRule.m_nAlignment), rRule, n);
}

Body body_of(const std::uint16_t* pLeading, const BodyRule& rRule, int n)
{
    return bodyFrom(pixels_to_boundary(pLeading, 2, rRule.m_nAlignment), rRule, n);
}

std::uint16_t scaled_sum(std::uint16_t uSum, int nScale)
{
    const auto uSigned = static_cast<std::uint32_t>(static_cast<std::int16_t>(uSum));
    return static_cast<std::uint16_t>(uSigned * static_cast<std::uint32_t>(nScale) >> 16);
}

KernelForm plainKernels(bool bSSE2)
{
    return bSSE2 ? plainForm("plain_sse2", true) : plainForm("plain_mmx", false);
}

} // namespace kestrova
