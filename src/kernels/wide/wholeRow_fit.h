// The fit of a row, as many pixels at a time as a register of the form has 32-bit lanes. All tests are worked out for
// all pixels, and the one that goes first is put on last.
#pragma once

#include "kernels/WholeRow.h"
#include "kestrova.h"

namespace kestrova {
namespace {

constexpr int sk_nHighestChecked = 239; // lane that the back-forth check looks at
constexpr int sk_nSteepest = 4096;      // a side that is steeper has no fraction
constexpr float sk_fHalf = 8388608.0F;  // half a pixel in 16.16 of 1/256

/** Vectors of pixels, of the types that a form names. Truth is all ones. */
template<typename T>
struct Pixels
{
    using Int = typename T::Int;
    using Unsigned = typename T::Unsigned;
    using Float = typename T::Float;
    using Words = typename T::Words;
    using Bytes = typename T::Bytes;
    static constexpr int sk_nPixels = sizeof(Int) / sizeof(std::int32_t);

    /** The even or the odd halves of sk_nPixels words, as T puts them together. */
    template<bool bOdd>
    static Int loadHalves(const std::uint64_t* p)
    {
        const auto* const pHalves = reinterpret_cast<const std::uint16_t*>(p);
        return T::template halves<bOdd>(T::loadUnaligned(pHalves), T::loadUnaligned(pHalves + T::sk_nLanes));
    }

    static Int load(const std::uint16_t* p)
    {
        Words words;
        __builtin_memcpy(&words, p, sizeof words);
        return __builtin_convertvector(words, Int);
    }

    static Int load(const std::uint8_t* p)
    {
        Bytes bytes;
        __builtin_memcpy(&bytes, p, sizeof bytes);
        return __builtin_convertvector(bytes, Int);
    }

    static void store(std::uint16_t* p, Int pixels, int nCount)
    {
        const Words words = __builtin_convertvector(pixels, Words);
        if (nCount >= sk_nPixels) {
            __builtin_memcpy(p, &words, sizeof words);
        } else {
            __builtin_memcpy(p, &words, sizeof *p * static_cast<std::size_t>(nCount));
        }
    }

    static Int select(Int condition, Int then, Int otherwise) { return (condition & then) | (~condition & otherwise); }
    static Int select(Int condition, int nThen, Int otherwise) { return select(condition, Int{} + nThen, otherwise); }
};

// (a - b) * 128 / k by the reciprocal 0x800000 / k, truncated. Both are exact in single precision: a quotient lies at
// least 1 / k below the next integer, twice as far as it can be rounded; and the product is at most 0x800000, since a
// and b differ by no more than k.
template<typename P, bool bDown>
typename P::Int fraction(typename P::Int a, typename P::Int c, typename P::Int b, typename P::Int minimum)
{
    using Int = typename P::Int;
    using Float = typename P::Float;
    const Int side = P::select(a > b, a, b) - c;
    const Int fits = minimum & (side <= sk_nSteepest) & (side > 0);
    const Float reciprocal = sk_fHalf / __builtin_convertvector(P::select(fits, side, Int{} + 1), Float);
    const Float whole = __builtin_convertvector(__builtin_convertvector(reciprocal, Int), Float);
    const Int product = __builtin_convertvector(__builtin_convertvector(fits & (a - b), Float) * whole, Int);
    return (bDown ? product : product + (product >> 31 & 0xFFFF)) >> 16;
}

template<typename P, bool bTexture, bool bBackForth>
void fitPixels(std::uint16_t* pOut, const FitRow& rFit, int nBias)
{
    using Int = typename P::Int;
    constexpr int nFirst = bTexture ? 1 : 0;
    const auto reject = [](int nCode) { return KestrovaDisparity16Invalid + nCode; };
    const int nSubpixel = reject(rFit.m_ucSubpixelMapping);
    // The first disparity has no neighbour in front: it counts only if nothing lies in front of it at all.
    const int nOnFirst = rFit.m_uMinDisparity == 0 ? 0 : nSubpixel;
    const auto nBase = static_cast<int>((rFit.m_uMinDisparity - rFit.m_uOffset - nFirst) & 0xFF);
    const auto nLastLane = static_cast<int>(rFit.m_uLastLane);
    for (int x = 0; x < rFit.m_nCount; x += P::sk_nPixels) {
        const Int beforeBest = P::template loadHalves<false>(rFit.m_neighbours.m_pSums + x);
        const Int after = P::template loadHalves<true>(rFit.m_neighbours.m_pSums + x);
        const Int a = (beforeBest & 0xFFFF) ^ nBias;
        const Int b = (after & 0xFFFF) ^ nBias;
        Int c = (beforeBest >> 16 & 0xFFFF) ^ nBias;
        Int lane = P::load(rFit.m_neighbours.m_pLanes + x) + nFirst;
        Int measure{};
        if constexpr (bTexture) { // the lowest lane of all
            measure = P::load(rFit.m_pTexture + x);
            const Int wins = measure <= c;
            lane = ~wins & lane;
            c = P::select(wins, measure, c);
        }
        const Int minimum = (b != 0xFFFF) & (b >= c) & (a >= c);
        Int out = ((lane + nBase) << 8) + fraction<P, bTexture>(a, c, b, minimum);
        out = P::select(minimum, out, Int{} + nSubpixel);
        out = P::select(lane == nFirst, nOnFirst, out);
        out = P::select((lane < nFirst) | (lane >= nLastLane), nSubpixel, out);
        if constexpr (bBackForth) { // where the inverse is 0 only lane 0 passes
            const Int inverse = P::load(rFit.m_pInverse + x);
            const Int apart = (lane > inverse + 1) | (lane < inverse - 1) | ((inverse == 0) & (lane != 0));
            const Int checked = (lane >= nFirst) & (lane <= sk_nHighestChecked);
            out = P::select(checked & apart, reject(rFit.m_ucBackForthMapping), out);
        }
        if constexpr (bTexture) {
            using Unsigned = typename P::Unsigned;
            const Int bound = (Int)(((Unsigned)measure * rFit.m_uScale) >> 12) & 0xFFFF;
            out = P::select(bound < c, reject(rFit.m_ucUniquenessMapping), out);
            out = P::select(bound < static_cast<int>(rFit.m_uLeast), reject(rFit.m_ucTextureMapping), out);
        }
        P::store(pOut + x, out & 0xFFFF, rFit.m_nCount - x);
    }
}

template<typename T>
void fitRow(std::uint16_t* pOut, const FitRow& rFit)
{
    using P = Pixels<T>;
    if (rFit.m_pTexture != nullptr) {
        (rFit.m_pInverse != nullptr ? fitPixels<P, true, true> : fitPixels<P, true, false>)(pOut, rFit, T::sk_uBias);
    } else {
        (rFit.m_pInverse != nullptr ? fitPixels<P, false, true> : fitPixels<P, false, false>)(pOut, rFit, T::sk_uBias);
    }
}

} // namespace
} // namespace kestrova
