// The fit of a row, all tests worked out for all pixels. Plain loops: the compiler makes vectors of them.
#pragma once

#include "stereo/WholeRow.h"

namespace kestrova {
namespace {

constexpr unsigned sk_uHighestChecked = 239; // lane that the back-forth check looks at
constexpr int sk_nSteepest = 4096;           // a side that is steeper has no fraction
constexpr float sk_fHalf = 8388608.0F;       // half a pixel in 16.16 of 1/256

// (a - b) * 128 / k by the reciprocal 0x800000 / k, truncated. Both are exact in single precision: a quotient lies at
// least 1 / k below the next integer, twice as far as it can be rounded; and the product is at most 0x800000, since a
// and b differ by no more than k.
template<bool bDown>
int fraction(int a, int c, int b, bool bMinimum)
{
    const int nSide = (a > b ? a : b) - c;
    const bool bFits = bMinimum & (nSide <= sk_nSteepest) & (nSide > 0);
    const int nReciprocal = static_cast<int>(sk_fHalf / static_cast<float>(bFits ? nSide : 1));
    const int nDifference = bFits ? a - b : 0;
    const int nProduct = static_cast<int>(static_cast<float>(nDifference) * static_cast<float>(nReciprocal));
    return (bDown ? nProduct : nProduct + (nProduct >> 31 & 0xFFFF)) >> 16;
}

// The tests in the order in which they count; see the plain form for what each of them means.
template<bool bTexture, bool bBackForth>
void fitPixels(std::uint16_t* __restrict pOut, const FitRow& rFit, unsigned uBias)
{
    constexpr unsigned uFirst = bTexture ? 1 : 0;
    const auto reject = [](unsigned uCode) { return 0xFF00U + uCode; };
    const unsigned uSubpixel = reject(rFit.m_ucSubpixelMapping);
    const unsigned uOnFirst = rFit.m_uMinDisparity == 0 ? 0 : uSubpixel;
    const unsigned uBackForth = reject(rFit.m_ucBackForthMapping);
    const unsigned uUniqueness = reject(rFit.m_ucUniquenessMapping);
    const unsigned uTexture = reject(rFit.m_ucTextureMapping);
    const unsigned uBase = rFit.m_uMinDisparity - rFit.m_uOffset - uFirst;
    const unsigned uLastLane = rFit.m_uLastLane;
    const std::uint32_t uScale = rFit.m_uScale;
    const std::uint32_t uLeast = rFit.m_uLeast;
    const std::uint16_t* const pLane = rFit.m_neighbours.m_pLane;
    const std::uint16_t* const pBest = rFit.m_neighbours.m_pBest;
    const std::uint16_t* const pBefore = rFit.m_neighbours.m_pBefore;
    const std::uint16_t* const pAfter = rFit.m_neighbours.m_pAfter;
    const int nCount = rFit.m_nCount;
    for (int x = 0; x < nCount; ++x) {
        unsigned uLane = pLane[x] + uFirst;
        unsigned c = pBest[x] ^ uBias;
        const unsigned a = pBefore[x] ^ uBias;
        const unsigned b = pAfter[x] ^ uBias;
        if constexpr (bTexture) {
            const unsigned uMeasure = rFit.m_pTexture[x];
            uLane = uMeasure <= c ? 0 : uLane; // the lowest lane of all
            c = uMeasure <= c ? uMeasure : c;
        }
        const bool bMinimum = (b != 0xFFFF) & (b >= c) & (a >= c);
        const int nFraction =
            fraction<bTexture>(static_cast<int>(a), static_cast<int>(c), static_cast<int>(b), bMinimum);
        unsigned uOut = ((uBase + uLane) << 8) + static_cast<unsigned>(nFraction);
        uOut = bMinimum ? uOut : uSubpixel;
        uOut = uLane == uFirst ? uOnFirst : uOut;
        uOut = (uLane < uFirst) | (uLane >= uLastLane) ? uSubpixel : uOut;
        if constexpr (bBackForth) {
            const unsigned uInverse = rFit.m_pInverse[x];
            const bool bChecked = (uLane >= uFirst) & (uLane <= sk_uHighestChecked);
            const bool bApart = (uLane != uInverse) & ((uLane > uInverse + 1) | (uLane < uInverse - 1));
            uOut = bChecked & bApart ? uBackForth : uOut;
        }
        if constexpr (bTexture) {
            const std::uint32_t uBound = (rFit.m_pTexture[x] * uScale) >> 12 & 0xFFFF;
            uOut = uBound < c ? uUniqueness : uOut;
            uOut = uLeast > uBound ? uTexture : uOut;
        }
        pOut[x] = static_cast<std::uint16_t>(uOut);
    }
}

template<typename T>
void fitRow(std::uint16_t* pOut, const FitRow& rFit)
{
    if (rFit.m_pTexture != nullptr) {
        (rFit.m_pInverse != nullptr ? fitPixels<true, true> : fitPixels<true, false>)(pOut, rFit, T::sk_uBias);
    } else {
        (rFit.m_pInverse != nullptr ? fitPixels<false, true> : fitPixels<false, false>)(pOut, rFit, T::sk_uBias);
    }
}

} // namespace
} // namespace kestrova
