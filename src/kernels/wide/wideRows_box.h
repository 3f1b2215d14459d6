// Box sums out of column sums, turned into pixels in the same step. Written once over a vector type.
#pragma once

#include "kernels/WideRows.h"

#include <type_traits>

namespace kestrova {
namespace {

template<typename T>
void addRow(std::uint16_t* pColumns, const std::uint8_t* pArriving, const std::uint8_t* pLeaving, bool bFirst, int n)
{
    const auto overColumns = [&](auto vectorSum, auto pixelSum) {
        int i = 0;
        for (; i + T::sk_nLanes <= n; i += T::sk_nLanes) {
            T::storeWords(pColumns + i, vectorSum(i));
        }
        for (; i < n; ++i) {
            pColumns[i] = static_cast<std::uint16_t>(pixelSum(i));
        }
    };
    if (bFirst) {
        overColumns([&](int i) { return T::widen(pArriving + i); }, [&](int i) { return pArriving[i]; });
    } else if (pLeaving == nullptr) {
        overColumns([&](int i) { return T::add(T::loadWords(pColumns + i), T::widen(pArriving + i)); },
                    [&](int i) { return pColumns[i] + pArriving[i]; });
    } else {
        overColumns(
            [&](int i) {
                return T::add(T::loadWords(pColumns + i), T::subtract(T::widen(pArriving + i), T::widen(pLeaving + i)));
            },
            [&](int i) { return pColumns[i] + pArriving[i] - pLeaving[i]; });
    }
}

/** Pixels nBegin to nEnd - 1 of a row are its groups, which saturate; the others wrap. */
struct Groups
{
    int m_nBegin;
    int m_nEnd;
};

[[maybe_unused]] int sumAt(const ColumnRow& rRow, int i)
{
    unsigned uSum = 0;
    for (int j = 0; j < rRow.m_nMaskCols; ++j) {
        uSum += rRow.m_pColumns[i + j];
    }
    return static_cast<std::int16_t>(uSum); // wraps by design, and is read as signed
}

/**
 * Calls give(i, sums) for vectors of sums that cover the groups, four at a time as long as they last. The last vector
 * overlaps the one before; groups that fill no vector are left to giveGroup(i), and all other pixels to giveSingle(i).
 */
template<typename T, typename Give, typename GiveGroup, typename GiveSingle>
[[gnu::always_inline]] inline void forEachSum(ColumnRow row, Groups groups, Give give, GiveGroup giveGroup,
                                              GiveSingle giveSingle)
{
    const auto sums = [&]<int K>(int i, std::integral_constant<int, K>) {
        typename T::V aSums[K];
        for (int k = 0; k < K; ++k) {
            aSums[k] = T::loadWords(row.m_pColumns + i + k * T::sk_nLanes);
        }
        for (int j = 1; j < row.m_nMaskCols; ++j) {
            for (int k = 0; k < K; ++k) {
                aSums[k] = T::add(aSums[k], T::loadWords(row.m_pColumns + i + j + k * T::sk_nLanes));
            }
        }
        for (int k = 0; k < K; ++k) {
            give(i + k * T::sk_nLanes, aSums[k]);
        }
    };
    constexpr std::integral_constant<int, 4> sk_four;
    constexpr std::integral_constant<int, 1> sk_one;
    int i = groups.m_nBegin;
    for (; i + 4 * T::sk_nLanes <= groups.m_nEnd; i += 4 * T::sk_nLanes) {
        sums(i, sk_four);
    }
    for (; i + T::sk_nLanes <= groups.m_nEnd; i += T::sk_nLanes) {
        sums(i, sk_one);
    }
    if (i < groups.m_nEnd && groups.m_nEnd - groups.m_nBegin >= T::sk_nLanes) {
        sums(groups.m_nEnd - T::sk_nLanes, sk_one);
        i = groups.m_nEnd;
    }
    for (; i < groups.m_nEnd; ++i) {
        giveGroup(i);
    }
    for (i = 0; i < groups.m_nBegin; ++i) {
        giveSingle(i);
    }
    for (i = groups.m_nEnd; i < row.m_nOut; ++i) {
        giveSingle(i);
    }
}

[[maybe_unused]] std::uint8_t saturate(int n)
{
    return static_cast<std::uint8_t>(n < 0 ? 0 : n > 255 ? 255 : n);
}

// ---- packSums: the average; groups of 4 from the first pixel on ----
// x * scale / 65536 = mulhi(x, low half) + x * high half, with the high half one more where the low half reads as
// negative. All of it wraps at 16 bits.

template<typename T>
void packSums(std::uint8_t* pDst, const ColumnRow& rRow, int nScale)
{
    const auto nLow = static_cast<std::int16_t>(nScale);
    const auto nHigh = static_cast<std::int16_t>((nScale >> 16) + (nScale >> 15 & 1));
    const auto low = T::spread(nLow);
    const auto high = T::spread(nHigh);
    const Groups groups = rRow.m_nOut < 8 ? Groups{0, 0} : Groups{0, rRow.m_nOut & ~3};
    forEachSum<T>(
        rRow, groups,
        [&](int i, auto sums) {
            T::storeSaturated(pDst + i, T::add(T::multiplyHigh(sums, low), T::multiplyLow(sums, high)));
        },
        [&](int i) {
            const int nSum = sumAt(rRow, i);
            pDst[i] = saturate(static_cast<std::int16_t>((nSum * nLow >> 16) + nSum * nHigh));
        },
        [&](int i) {
            const unsigned uProduct = static_cast<unsigned>(sumAt(rRow, i)) * static_cast<unsigned>(nScale);
            pDst[i] = static_cast<std::uint8_t>(uProduct >> 16);
        });
}

// ---- bandpassSums: pixel and average, each with its factor; groups of 4 that end where dst is 4-byte aligned ----

template<typename T>
void bandpassSums(std::uint8_t* pDst, const std::uint8_t* pSrc, int nCentreFactor, const ColumnRow& rRow,
                  int nSumFactor)
{
    const auto nCentre = static_cast<std::int16_t>(nCentreFactor);
    const auto nFactor = static_cast<std::int16_t>(nSumFactor);
    const auto centre = T::spread(nCentre);
    const auto factor = T::spread(nFactor);
    const auto middle = T::spread(sk_ucEdgeZero);
    const int nEnd = rRow.m_nOut - static_cast<int>(reinterpret_cast<std::uintptr_t>(pDst + rRow.m_nOut) & 3);
    const Groups groups = rRow.m_nOut < 8 ? Groups{0, 0} : Groups{nEnd & 3, nEnd};
    const auto shifted = [](int nPixel, int nBy) {
        return static_cast<int>(static_cast<unsigned>(nPixel) * static_cast<unsigned>(nBy)) >> 16;
    };
    forEachSum<T>(
        rRow, groups,
        [&](int i, auto sums) {
            const auto difference = T::add(T::multiplyHigh(T::widen(pSrc + i), centre), T::multiplyHigh(sums, factor));
            T::storeSaturated(pDst + i, T::add(difference, middle));
        },
        [&](int i) {
            pDst[i] = saturate(shifted(pSrc[i], nCentre) + shifted(sumAt(rRow, i), nFactor) + sk_ucEdgeZero);
        },
        [&](int i) {
            const int nSum = shifted(sumAt(rRow, i), nSumFactor);
            pDst[i] = static_cast<std::uint8_t>(shifted(pSrc[i], nCentreFactor) + nSum + sk_ucEdgeZero);
        });
}

} // namespace
} // namespace kestrova
