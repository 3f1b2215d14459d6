// The bilinear blend of eight destination pixels out of one window of the source: three rows of sixteen bytes, or of
// thirty-two where the map shrinks.
//
// Neighbouring destination pixels read neighbouring source pixels, so one load per row serves eight of them and a
// shuffle brings each its pair. A pixel's index has the top bit set if its upper neighbours lie in the second row, and
// a shuffle gives 0 for such an index: two shuffles with the bit as it is and flipped, and an OR, choose between two
// rows.
//
// Exact: pixels count from -128, so a blended row is at most 2^14 in size and the difference of two fits 16 bits; its
// product with 512 times the fraction is taken in two parts, since that factor itself does not fit a signed word.
#pragma once

#include "kernels/WideRows.h"

#include <cstddef>

namespace kestrova {
namespace {

/** Neighbours of each pixel, in pairs: the upper two and the lower two, counted from -128. */
template<typename T>
struct Neighbours
{
    typename T::V m_upper;
    typename T::V m_lower;
};

template<typename T>
[[gnu::always_inline]] inline Neighbours<T> narrowNeighbours(const std::uint8_t* pSrc, std::ptrdiff_t nStride,
                                                             const std::int32_t* pBases, typename T::V indices)
{
    const auto flip = T::spread(static_cast<std::int16_t>(0x8080));
    const auto first = T::windows(pSrc, pBases);
    const auto second = T::windows(pSrc + nStride, pBases);
    const auto third = T::windows(pSrc + 2 * nStride, pBases);
    const auto others = T::exclusiveOr(indices, flip);
    return {T::exclusiveOr(T::either(T::shuffle(first, indices), T::shuffle(second, others)), flip),
            T::exclusiveOr(T::either(T::shuffle(second, indices), T::shuffle(third, others)), flip)};
}

/** As above from rows of twice the length: the two halves take turns as the rows do above. */
template<typename T>
[[gnu::always_inline]] inline Neighbours<T> wideNeighbours(const std::uint8_t* pSrc, std::ptrdiff_t nStride,
                                                           const std::int32_t* pBases, typename T::V indices)
{
    std::int32_t anBases[T::sk_nLanes / sk_nWindow];
    for (int i = 0; i < T::sk_nLanes / sk_nWindow; ++i) {
        anBases[i] = pBases[i] ^ (pBases[i] >> 31); // narrow windows have room for a wide one
    }
    const auto flip = T::spread(static_cast<std::int16_t>(0x8080));
    // From 16 on the sum has the top bit set.
    const auto left = T::addBytes(T::both(indices, T::spread(0x7F7F)), T::spread(0x7070));
    const auto right = T::exclusiveOr(left, flip);
    const auto row = [&](const std::uint8_t* p) {
        const auto pixels = T::either(T::shuffle(T::windows(p, anBases), left),
                                      T::shuffle(T::windows(p + sk_nWindowBytes, anBases), right));
        return T::exclusiveOr(pixels, flip);
    };
    const auto second = row(pSrc + nStride);
    return {T::whereTop(indices, second, row(pSrc)), T::whereTop(indices, row(pSrc + 2 * nStride), second)};
}

template<typename T, bool bWide>
[[gnu::always_inline]] inline void blendStep(std::uint8_t* pDst, const std::uint8_t* pSrc, const WindowRow& rRow,
                                             const std::int32_t* pBases, std::ptrdiff_t nCol)
{
    using V = typename T::V;
    const V indices = T::addBytes(T::twice(rRow.m_pIndices + nCol), T::spread(0x0100)); // a pixel and the next
    const auto neighbours = bWide ? wideNeighbours<T>(pSrc, rRow.m_nStride, pBases, indices)
                                  : narrowNeighbours<T>(pSrc, rRow.m_nStride, pBases, indices);
    // Bytes 128 - f and f: in the first, the complement of f plus 129.
    const V weights =
        T::addBytes(T::exclusiveOr(T::twice(rRow.m_pColFraction + nCol), T::spread(0x00FF)), T::spread(0x0081));
    const V top = T::multiplyPairs(weights, neighbours.m_upper);
    const V difference = T::subtract(T::multiplyPairs(weights, neighbours.m_lower), top);
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
        std::int32_t nSigns = 0;
        bool bMissing = false;
        for (int k = 0; k < T::sk_nLanes / sk_nWindow; ++k) {
            nSigns |= pBases[k];
            bMissing |= pBases[k] == sk_nNoWindow;
        }
        if (nSigns >= 0) {
            blendStep<T, false>(pDst + (i - nCol), pSrc, row, pBases, i);
        } else if (!bMissing) {
            blendStep<T, true>(pDst + (i - nCol), pSrc, row, pBases, i);
        } else {
            break;
        }
    }
    return static_cast<int>(i);
}

} // namespace
} // namespace kestrova
