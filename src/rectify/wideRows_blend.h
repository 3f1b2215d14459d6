// The bilinear blend of eight destination pixels out of one window of the source: three rows of sixteen bytes.
//
// Neighbouring destination pixels read neighbouring source pixels, so one load per row serves eight of them and a
// shuffle brings each its pair. A pixel's index has the top bit set if its upper neighbours lie in the second row, and
// a shuffle gives 0 for such an index: two shuffles with the bit as it is and flipped, and an OR, choose between two
// rows.
//
// Exact: pixels count from -128, so a blended row is at most 2^14 in size and the difference of two fits 16 bits; its
// product with 512 times the fraction is taken in two parts, since that factor itself does not fit a signed word.
#pragma once

#include "rectify/WideRows.h"

#include <cstddef>

namespace kestrova {
namespace {

template<typename T>
[[gnu::always_inline]] inline void blendStep(std::uint8_t* pDst, const std::uint8_t* pSrc, const WindowRow& rRow,
                                             const std::int32_t* pBases, std::ptrdiff_t nCol)
{
    using V = typename T::V;
    const V flip = T::spread(static_cast<std::int16_t>(0x8080));
    const V first = T::windows(pSrc, pBases);
    const V second = T::windows(pSrc + rRow.m_nStride, pBases);
    const V third = T::windows(pSrc + 2 * static_cast<std::ptrdiff_t>(rRow.m_nStride), pBases);
    const V indices = T::addBytes(T::twice(rRow.m_pIndices + nCol), T::spread(0x0100)); // a pixel and the next
    const V others = T::exclusiveOr(indices, flip);
    const V upper = T::exclusiveOr(T::either(T::shuffle(first, indices), T::shuffle(second, others)), flip);
    const V lower = T::exclusiveOr(T::either(T::shuffle(second, indices), T::shuffle(third, others)), flip);
    // Bytes 128 - f and f: in the first, the complement of f plus 129.
    const V weights =
        T::addBytes(T::exclusiveOr(T::twice(rRow.m_pColFraction + nCol), T::spread(0x00FF)), T::spread(0x0081));
    const V top = T::multiplyPairs(weights, upper);
    const V difference = T::subtract(T::multiplyPairs(weights, lower), top);
    const V fraction = T::template shiftLeft<9>(T::widen(rRow.m_pRowFraction + nCol));
    const V whole = T::both(difference, T::template shiftRight<15>(fraction)); // fractions from one half on
    const V sum = T::add(T::add(top, whole), T::multiplyHigh(difference, fraction));
    T::storeSaturated(pDst, T::add(T::template shiftRight<7>(sum), T::spread(128)));
}

template<typename T>
int blendWindows(std::uint8_t* pDst, const std::uint8_t* pSrc, const WindowRow& rRow, int nCol, int nEnd)
{
    const WindowRow row = rRow; // a copy that no store of a byte can change: its pointers stay in registers
    const std::int32_t* pBases = row.m_pBases + nCol / sk_nWindow;
    std::ptrdiff_t i = nCol;
    for (; i + T::sk_nLanes <= nEnd; i += T::sk_nLanes, pBases += T::sk_nLanes / sk_nWindow) {
        std::int32_t nMissing = 0;
        for (int k = 0; k < T::sk_nLanes / sk_nWindow; ++k) {
            nMissing |= pBases[k];
        }
        if (nMissing < 0) {
            break;
        }
        blendStep<T>(pDst + (i - nCol), pSrc, row, pBases, i);
    }
    return static_cast<int>(i);
}

} // namespace
} // namespace kestrova
