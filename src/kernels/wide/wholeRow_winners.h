// The winners of a chunk's columns, as neighbours for a fit or as labels, and the search from the other image.
#pragma once

#include "kernels/wide/wholeRow_sums.h"

namespace kestrova {
namespace {

// The first lane equal to the minimum, 64 lanes to a word of comparison bits.

template<typename T>
constexpr int sk_nWordVectors = sk_nMaskWord / T::sk_nLanes;

/** A move, where the compiler might jump: which of the two it is cannot be foretold. */
[[gnu::always_inline]] inline unsigned choose(std::uint64_t uCondition, unsigned uThen, unsigned uOtherwise)
{
    asm("test %1, %1\n\tcmovne %2, %0" : "+r"(uOtherwise) : "r"(uCondition), "r"(uThen) : "cc");
    return uOtherwise;
}

/** The first of a word's bits, or uOtherwise. */
template<typename T>
[[gnu::always_inline]] inline unsigned firstBit(std::uint64_t uBits, int nFirstLane, unsigned uOtherwise)
{
    return choose(uBits, static_cast<unsigned>(nFirstLane) + T::trailingZeros(uBits), uOtherwise);
}

/** Of vectors nBegin to N - 1, one of which has such a lane unless an earlier one has. */
template<typename T, int N, int nBegin = 0>
[[gnu::always_inline]] inline unsigned firstEqual(const typename T::V (&aWindows)[N], typename T::V lowest)
{
    constexpr int K = N - nBegin < sk_nWordVectors<T> ? N - nBegin : sk_nWordVectors<T>;
    const std::uint64_t uBits = T::template equalBits<K>(aWindows + nBegin, lowest);
    constexpr int nFirstLane = nBegin * T::sk_nLanes;
    if constexpr (nBegin + K == N) {
        return static_cast<unsigned>(nFirstLane) + T::trailingZeros(uBits);
    } else {
        return firstBit<T>(uBits, nFirstLane, firstEqual<T, N, nBegin + K>(aWindows, lowest));
    }
}

/** Columns of one block: each is looked at while its windows are in registers. */
template<typename T, typename Use>
struct FindWinners
{
    static constexpr bool sk_bSlides = true;

    template<int N>
    [[gnu::always_inline]] void column(const typename T::V (&aWindows)[N], typename T::V minima,
                                       const std::uint16_t* pWindow, int nColumn) const
    {
        const typename T::V lowest = T::spreadMinimum(minima);
        m_rUse(m_nBegin + nColumn, pWindow, lowest, firstEqual<T, N>(aWindows, lowest));
    }

    const Use& m_rUse;
    int m_nBegin;
};

/** Columns of several blocks: looked at when all have been run along. nLast vectors are left for the last word. */
template<typename T, int nLast, typename Use>
void lookAgain(const WholeRow& rRow, const Chunk& rChunk, const Use& rUse)
{
    using V = typename T::V;
    const int nWhole = (rChunk.m_nVectors - nLast) * T::sk_nLanes;
    const std::uint16_t* pWindow = rRow.m_pWindows;
    for (int x = rChunk.m_nBegin; x < rChunk.m_nEnd; ++x, pWindow += rRow.m_nWindowStride) {
        const V lowest = T::spreadMinimum(T::load(rRow.m_pMinima + (x - rChunk.m_nBegin) * T::sk_nLanes));
        const auto bitsAt = [&]<int K>(int nLane) {
            V aWindows[K];
            for (int i = 0; i < K; ++i) {
                aWindows[i] = T::load(pWindow + nLane + i * T::sk_nLanes);
            }
            return T::template equalBits<K>(aWindows, lowest);
        };
        unsigned uLane = firstBit<T>(bitsAt.template operator()<nLast>(nWhole), nWhole, 0);
        for (int nLane = nWhole - sk_nMaskWord; nLane >= 0; nLane -= sk_nMaskWord) {
            uLane = firstBit<T>(bitsAt.template operator()<sk_nWordVectors<T>>(nLane), nLane, uLane);
        }
        rUse(x, pWindow, lowest, uLane);
    }
}

template<typename T, typename Use, int nLast = sk_nWordVectors<T>>
void lookAgain(const WholeRow& rRow, const Chunk& rChunk, const Use& rUse)
{
    if constexpr (nLast > 1) {
        if ((rChunk.m_nVectors - 1) % sk_nWordVectors<T> + 1 < nLast) {
            return lookAgain<T, Use, nLast - 1>(rRow, rChunk, rUse);
        }
    }
    lookAgain<T, nLast>(rRow, rChunk, rUse);
}

/** Calls rUse with the chunk's columns: number, window sums, minimum in all lanes, first lane equal to it. */
template<typename T, typename Use>
void forEachWinner(const WholeRow& rRow, const Chunk& rChunk, const Use& rUse)
{
    const int n = nBlocks<T>(rRow);
    if (n == 1) {
        slideBlock<T>(rRow, rChunk, {0, rRow.m_nVectors}, FindWinners<T, Use>{rUse, rChunk.m_nBegin});
        return;
    }
    for (int nBlock = 0; nBlock < n; ++nBlock) {
        slideBlock<T>(rRow, rChunk, block<T>(rRow, nBlock), KeepMinima<T>{rRow.m_pMinima, nBlock == 0});
    }
    lookAgain<T>(rRow, rChunk, rUse);
}

// Sums come back a few columns later: what vectors have just stored cannot be read across two of them at once.
constexpr int sk_nLater = 8;

template<typename T>
void neighbours(const WholeRow& rRow, const Chunk& rChunk, const NeighbourRow& rOut)
{
    std::uint16_t* const pLanes = rOut.m_pLanes;
    std::uint64_t* const pSums = rOut.m_pSums;
    const std::ptrdiff_t nBack = sk_nLater * rRow.m_nWindowStride + 1;
    const int nFirst = rChunk.m_nBegin + sk_nLater;
    forEachWinner<T>(rRow, rChunk, [=](int x, const std::uint16_t* pWindow, typename T::V, unsigned uLane) {
        pLanes[x] = static_cast<std::uint16_t>(uLane);
        if (x >= nFirst) {
            __builtin_memcpy(&pSums[x - sk_nLater], pWindow - nBack + pLanes[x - sk_nLater], sizeof pSums[x]);
        }
    });
    for (int x = rChunk.m_nEnd < nFirst ? rChunk.m_nBegin : rChunk.m_nEnd - sk_nLater; x < rChunk.m_nEnd; ++x) {
        const std::uint16_t* const pWindow = rRow.m_pWindows + (x - rChunk.m_nBegin) * rRow.m_nWindowStride;
        __builtin_memcpy(&pSums[x], pWindow - 1 + pLanes[x], sizeof pSums[x]);
    }
}

// ---- labels: ties go to the first lane inside a lane position, and to the lowest label among the positions ----

/** The rules of ties, when the first lane's label is not known to be lowest. Bits stand for lanes, 256 of them. */
inline std::uint8_t labelOfTies(const std::uint64_t* pBits, const LabelRow& rLabels)
{
    const auto uAll = (1U << rLabels.m_nGroup) - 1;
    unsigned uSeen = 0;
    unsigned uLabel = 255;
    for (int nLane = 0; nLane < 256 && uSeen != uAll; nLane += rLabels.m_nGroup) {
        const auto uGroup = static_cast<unsigned>(pBits[nLane / 64] >> nLane % 64) & uAll;
        for (unsigned uNew = uGroup & ~uSeen; uNew != 0; uNew &= uNew - 1) {
            const unsigned uOther = rLabels.m_pLabels[nLane + __builtin_ctz(uNew)] & 0xFFU;
            uLabel = uOther < uLabel ? uOther : uLabel;
        }
        uSeen |= uGroup;
    }
    return static_cast<std::uint8_t>(uLabel);
}

template<typename T>
std::uint8_t labelOfLowest(const Chunk& rChunk, const std::uint16_t* pWindow, std::uint16_t uLowest,
                           const LabelRow& rLabels, bool bSeed)
{
    const typename T::V lowest = T::spread(uLowest);
    std::uint64_t auBits[4] = {};
    for (int nVector = 0; nVector < rChunk.m_nVectors; ++nVector) {
        const int nLane = nVector * T::sk_nLanes;
        const typename T::V aWindow[] = {T::load(pWindow + nLane)};
        auBits[nLane / 64] |= T::template equalBits<1>(aWindow, lowest) << nLane % 64;
    }
    if (uLowest == sk_uWorst<T>) {
        auBits[0] = ~0ULL; // every lane, and there is one group at least
    }
    if (rLabels.m_pSeeds != nullptr) {
        for (int nWord = 3; nWord >= 0; --nWord) {
            auBits[nWord] = auBits[nWord] << 1 | (nWord > 0 ? auBits[nWord - 1] >> 63 : bSeed ? 1U : 0U);
        }
    }
    return labelOfTies(auBits, rLabels);
}

// A seed with bits for lane 1 changes that lane's sum, here only: the table keeps it.
template<typename T>
std::uint8_t labelOfWideSeed(const Chunk& rChunk, std::uint16_t* pWindow, std::uint32_t uSeed, const LabelRow& rLabels)
{
    const std::uint16_t uKept = pWindow[0];
    pWindow[0] = static_cast<std::uint16_t>(((uKept ^ T::sk_uBias) | uSeed >> 16) ^ T::sk_uBias);
    const unsigned uLow = uSeed & 0xFFFF;
    unsigned uLowest = uLow;
    for (int nLane = 0; nLane < rChunk.m_nVectors * T::sk_nLanes; ++nLane) {
        const unsigned uSum = pWindow[nLane] ^ T::sk_uBias;
        uLowest = uSum < uLowest ? uSum : uLowest;
    }
    const auto uBiased = static_cast<std::uint16_t>(uLowest ^ T::sk_uBias);
    const std::uint8_t ucLabel = labelOfLowest<T>(rChunk, pWindow, uBiased, rLabels, uLow == uLowest);
    pWindow[0] = uKept;
    return ucLabel;
}

template<typename T>
[[gnu::noinline]] std::uint8_t contestedLabel(const WholeRow& rRow, const Chunk& rChunk, int x, std::uint16_t uLowest,
                                              const LabelRow& rLabels)
{
    std::uint16_t* const pWindow =
        rRow.m_pWindows + static_cast<std::ptrdiff_t>(x - rChunk.m_nBegin) * rRow.m_nWindowStride;
    const std::uint32_t uSeed = rLabels.m_pSeeds != nullptr ? rLabels.m_pSeeds[x] : sk_uRejectedSeed;
    return uSeed > 0xFFFF && uSeed != sk_uRejectedSeed
               ? labelOfWideSeed<T>(rChunk, pWindow, uSeed, rLabels)
               : labelOfLowest<T>(rChunk, pWindow, uLowest, rLabels, uSeed == (uLowest ^ T::sk_uBias));
}

template<typename T, bool bSeeds>
void labels(const WholeRow& rRow, const Chunk& rChunk, const LabelRow& rOut)
{
    const std::uint16_t* const pLabels = rOut.m_pLabels;
    const std::uint32_t* const pSeeds = rOut.m_pSeeds;
    std::uint8_t* const pOut = rOut.m_pOut;
    forEachWinner<T>(rRow, rChunk,
                     [=, &rRow, &rChunk, &rOut](int x, const auto*, typename T::V lowest, unsigned uLane) {
                         unsigned uLabel = pLabels[bSeeds ? uLane + 1 : uLane];
                         if constexpr (bSeeds) {
                             const unsigned uLowest = T::firstLane(lowest) ^ T::sk_uBias;
                             const bool bRejected = (pSeeds[x] < uLowest) | (pSeeds[x] == sk_uRejectedSeed);
                             const bool bContested = (pSeeds[x] == uLowest) | (pSeeds[x] > 0xFFFF);
                             uLabel |= bContested ? sk_uNotLowest : 0U;
                             uLabel = bRejected ? pLabels[0] & 0xFFU : uLabel;
                         }
                         pOut[x] = __builtin_expect(uLabel < sk_uNotLowest, 1)
                                       ? static_cast<std::uint8_t>(uLabel)
                                       : contestedLabel<T>(rRow, rChunk, x, T::firstLane(lowest), rOut);
                     });
}

} // namespace
} // namespace kestrova
