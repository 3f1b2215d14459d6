// The fit of row_interpolation for a register of pixels at a time. All tests are worked out for all pixels, and the one
// that goes first is put on last. What is left of a row is up to the caller.
//
// Included by forms that are compiled for a processor of their own: nothing here may be linked to by another.
#pragma once

#include "kernels/row_interpolation.h"

namespace kestrova {
namespace {

/** nLanes pixels in 32 bits each. Truth is all ones. */
template<int nLanes>
struct FitLanes
{
    typedef std::int32_t Int __attribute__((vector_size(4 * nLanes)));
    typedef std::uint32_t Unsigned __attribute__((vector_size(4 * nLanes)));
    typedef float Float __attribute__((vector_size(4 * nLanes)));
    typedef std::uint16_t Words __attribute__((vector_size(2 * nLanes)));
    typedef std::uint8_t Bytes __attribute__((vector_size(nLanes)));

    template<typename Narrow, typename T>
    static Int load(const T* p)
    {
        Narrow lanes;
        __builtin_memcpy(&lanes, p, sizeof lanes);
        return __builtin_convertvector(lanes, Int);
    }

    static Int select(Int condition, Int then, Int otherwise) { return (condition & then) | (~condition & otherwise); }
};

// Single precision is exact: numerators stay below 2^22 and quotients at 128 or below, so one that is no whole number
// lies further below the next (1 / 32767 at least) than it can be rounded.
template<int nLanes>
int fitWhole(std::uint16_t* pOut, int n, const std::uint16_t* pBest, const std::uint16_t* pBefore,
             const std::uint16_t* pAfter, const std::uint8_t* pLabels, const std::uint16_t* pValidation,
             const RowInterpolation& r)
{
    using L = FitLanes<nLanes>;
    using Int = typename L::Int;
    using Float = typename L::Float;
    using Words = typename L::Words;
    constexpr int nNeverSeen = 32767;
    const auto reject = [&](std::uint8_t ucCode) { return Int{} + (r.m_ucHigh << 8 | ucCode); };
    const Int scale = Int{} + r.m_nUniquenessScale;
    const Int onlyTested = Int{} - (r.m_nUniquenessScale > 0 ? 1 : 0);
    const int nFirstRim = r.m_ucFirstIndex != 0 ? r.m_ucFirstIndex : -1;
    int i = 0;
    for (; i + nLanes <= n; i += nLanes) {
        const Int s = L::template load<Words>(pBest + i);
        const Int a = L::template load<Words>(pBefore + i);
        const Int b = L::template load<Words>(pAfter + i);
        const Int label = L::template load<typename L::Bytes>(pLabels + i);
        const Int validation = L::template load<Words>(pValidation + i);
        const Int rising = a > b;
        const Int side = L::select(rising, a, b) - s;
        const Int minimum = (a < nNeverSeen) & (b < nNeverSeen) & (s <= a) & (s <= b) & (side > 0);
        const Int rise = L::select(rising, a - b, b - a) << 7;
        const Float quotient = __builtin_convertvector(minimum & rise, Float) /
                               __builtin_convertvector(L::select(minimum, side, Int{} + 1), Float);
        const Int fraction = __builtin_convertvector(quotient, Int);
        Int out = (label << 8) + L::select(rising, fraction, -fraction);
        out = L::select(minimum, out, reject(r.m_ucSubpixelMapping));
        const Int bound = (Int)((typename L::Unsigned)validation * (typename L::Unsigned)scale) >> 16;
        out = L::select(onlyTested & (s >= bound), reject(r.m_ucUniquenessMapping), out);
        out = L::select((label == r.m_ucLastIndex) | (label == nFirstRim), reject(r.m_ucSubpixelMapping), out);
        out = L::select(validation < r.m_uTextureFlag, reject(r.m_ucTextureMapping), out);
        const Words words = __builtin_convertvector(out & 0xFFFF, Words);
        __builtin_memcpy(pOut + i, &words, sizeof words);
    }
    return i;
}

/** The rest goes through the plain form. */
template<int nLanes>
void row_interpolation_lanes(std::uint16_t* pOut, int n, const std::uint16_t* pBest, const std::uint16_t* pBefore,
                             const std::uint16_t* pAfter, const std::uint8_t* pLabels, const std::uint16_t* pValidation,
                             const RowInterpolation& rSettings)
{
    const int i = fitWhole<nLanes>(pOut, n, pBest, pBefore, pAfter, pLabels, pValidation, rSettings);
    row_interpolation(pOut + i, n - i, pBest + i, pBefore + i, pAfter + i, pLabels + i, pValidation + i, rSettings);
}

} // namespace
} // namespace kestrova
