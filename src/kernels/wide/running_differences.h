// Differences of a row that arrives less those of one that leaves, summed along the row: the front of a window sum in
// one go, without rows of differences in between. What abs_diff, acc_abs_diff or acc_abs_diff_over2 and box_add_sub16
// give one after the other.
//
// Included by forms that are compiled for a processor of their own: nothing here may be linked to by another.
#pragma once

#include "kernels/kernels.h"

namespace kestrova {
namespace {

/** Vectors are those of T. Bytes from nWhole on, counted from the vector's first, do not stop at 255. */
template<typename T, int nImages, bool bAverage, bool bWhole>
[[gnu::always_inline]] inline typename T::V differencesAt(const std::uint8_t* const* ppRows, int i, int nWhole)
{
    using V = typename T::V;
    const V reference = T::bytesAt(ppRows[0] + i);
    const V first = T::apart(reference, T::bytesAt(ppRows[1] + i));
    if constexpr (nImages == 2) {
        return first;
    } else {
        const V second = T::apart(reference, T::bytesAt(ppRows[2] + i));
        const V stopped = bAverage ? T::halved(T::addStopping(first, second)) : T::addStopping(first, second);
        if constexpr (bWhole) {
            return stopped;
        } else {
            return T::firstBytes(nWhole, stopped, bAverage ? T::halfOfSum(first, second) : T::add(first, second));
        }
    }
}

template<typename T, int nImages, bool bAverage>
void runDifferences(std::uint16_t* pOut, const DifferenceRows& r)
{
    typename T::Carry carry = T::carryOf(0);
    const auto step = [&]<bool bWhole>(int i) __attribute__((always_inline))
    {
        const auto arriving = differencesAt<T, nImages, bAverage, bWhole>(r.m_apArriving, i, r.m_nStopping - i);
        const auto leaving =
            r.m_bLeaving ? differencesAt<T, nImages, bAverage, bWhole>(r.m_apLeaving, i, r.m_nStopping - i) : T::none();
        carry = T::storeSums(pOut + i, arriving, leaving, carry);
    };
    int i = 0;
    for (; i + T::sk_nBytes <= r.m_nStopping; i += T::sk_nBytes) {
        step.template operator()<true>(i);
    }
    for (; i < r.m_nPixels; i += T::sk_nBytes) { // the last steps overlap what is done, rather than leave the row
        const int nFrom = i + T::sk_nBytes <= r.m_nPixels ? i : r.m_nPixels - T::sk_nBytes;
        carry = T::carryOf(nFrom > 0 ? pOut[nFrom - 1] : std::uint16_t{0});
        step.template operator()<false>(nFrom);
    }
}

template<typename T>
bool running_differences_lanes(std::uint16_t* pOut, const DifferenceRows& r)
{
    if (r.m_nPixels < T::sk_nBytes) {
        return false;
    }
    if (r.m_nImages == 2) {
        runDifferences<T, 2, false>(pOut, r);
    } else {
        (r.m_bAverage ? runDifferences<T, 3, true> : runDifferences<T, 3, false>)(pOut, r);
    }
    return true;
}

} // namespace
} // namespace kestrova
