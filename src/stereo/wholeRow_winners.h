// The winners of a chunk's columns, as neighbours for a fit or as labels, and the search from the other image.
#pragma once

#include "stereo/wholeRow_sums.h"

namespace kestrova {
namespace {

/** Lanes equal to the minimum, 64 to a word. The last word may hold fewer vectors. */
template<typename T>
struct WordCount
{
    static constexpr int sk_nVectors = sk_nMaskWord / T::sk_nLanes;

    explicit WordCount(int nVectors) : m_nFull((nVectors - 1) / sk_nVectors), m_nLast(nVectors - m_nFull * sk_nVectors)
    {}

    int m_nFull;
    int m_nLast; // vectors, 1 to sk_nVectors
};

template<typename T, int K>
unsigned firstEqual(const std::uint16_t* pWindow, typename T::V lowest, int nFullWords)
{
    const std::uint64_t uLast = T::template equalBits<K>(pWindow + nFullWords * sk_nMaskWord, lowest);
    auto uLane = static_cast<unsigned>(nFullWords * sk_nMaskWord + __builtin_ctzll(uLast | 1ULL << 63));
    for (int nWord = nFullWords - 1; nWord >= 0; --nWord) {
        const std::uint64_t uBits =
            T::template equalBits<WordCount<T>::sk_nVectors>(pWindow + nWord * sk_nMaskWord, lowest);
        const auto uFirst = static_cast<unsigned>(nWord * sk_nMaskWord + __builtin_ctzll(uBits | 1ULL << 63));
        // A move, not a jump: which word it is cannot be foretold.
        uLane = __builtin_expect_with_probability(uBits != 0, 1, 0.5) ? uFirst : uLane;
    }
    return uLane;
}

/** Calls rUse with the chunk's columns: number, window sums, minimum in all lanes, first lane equal to it. */
template<typename T, int K, typename Use>
void forEachWinner(const WholeRow& rRow, const Chunk& rChunk, int nFullWords, const Use& rUse)
{
    const std::uint16_t* pWindow = rRow.m_pWindows;
    const std::uint16_t* pMinimum = rRow.m_pMinima;
    for (int x = rChunk.m_nBegin; x < rChunk.m_nEnd; ++x) {
        const typename T::V lowest = T::spreadMinimum(T::load(pMinimum));
        rUse(x, pWindow, lowest, firstEqual<T, K>(pWindow, lowest, nFullWords));
        pWindow += static_cast<std::ptrdiff_t>(rRow.m_nVectors) * T::sk_nLanes;
        pMinimum += T::sk_nLanes;
    }
}

template<typename T, typename Use, int K = WordCount<T>::sk_nVectors>
void forEachWinner(const WholeRow& rRow, const Chunk& rChunk, const Use& rUse)
{
    const WordCount<T> words(rChunk.m_nVectors);
    if constexpr (K > 1) {
        if (words.m_nLast < K) {
            return forEachWinner<T, Use, K - 1>(rRow, rChunk, rUse);
        }
    }
    forEachWinner<T, K>(rRow, rChunk, words.m_nFull, rUse);
}

template<typename T>
void neighbours(const WholeRow& rRow, const Chunk& rChunk, const NeighbourRow& rOut)
{
    std::uint32_t* const pBeforeBest = rOut.m_pBeforeBest;
    std::uint32_t* const pAfterLane = rOut.m_pAfterLane;
    forEachWinner<T>(rRow, rChunk, [=](int x, const std::uint16_t* pWindow, typename T::V, unsigned uLane) {
        __builtin_memcpy(&pBeforeBest[x], pWindow + uLane - 1, sizeof pBeforeBest[x]);
        pAfterLane[x] = pWindow[uLane + 1] | uLane << 16;
    });
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
            const unsigned uOther = rLabels.m_pLabels[nLane + __builtin_ctz(uNew)];
            uLabel = uOther < uLabel ? uOther : uLabel;
        }
        uSeen |= uGroup;
    }
    return static_cast<std::uint8_t>(uLabel);
}

template<typename T>
std::uint8_t labelOfLowest(const Chunk& rChunk, const std::uint16_t* pWindow, typename T::V lowest,
                           const LabelRow& rLabels, bool bSeed)
{
    std::uint64_t auBits[4] = {};
    for (int nVector = 0; nVector < rChunk.m_nVectors; ++nVector) {
        const int nLane = nVector * T::sk_nLanes;
        auBits[nLane / 64] |= T::template equalBits<1>(pWindow + nLane, lowest) << nLane % 64;
    }
    if (T::firstLane(lowest) == sk_uWorst<T>) {
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
    const auto uLow = static_cast<unsigned>(uSeed & 0xFFFF);
    unsigned uLowest = uLow;
    for (int nLane = 0; nLane < rChunk.m_nVectors * T::sk_nLanes; ++nLane) {
        const unsigned uSum = pWindow[nLane] ^ T::sk_uBias;
        uLowest = uSum < uLowest ? uSum : uLowest;
    }
    const auto lowest = T::spread(static_cast<std::uint16_t>(uLowest ^ T::sk_uBias));
    const std::uint8_t ucLabel = labelOfLowest<T>(rChunk, pWindow, lowest, rLabels, uLow == uLowest);
    pWindow[0] = uKept;
    return ucLabel;
}

template<typename T>
std::uint8_t label(const Chunk& rChunk, int x, std::uint16_t* pWindow, typename T::V lowest, unsigned uLane,
                   const LabelRow& rLabels)
{
    if (rLabels.m_pSeeds != nullptr) {
        const std::uint32_t uSeed = rLabels.m_pSeeds[x];
        const unsigned uLowest = T::firstLane(lowest) ^ T::sk_uBias;
        if (uSeed < uLowest || uSeed == sk_uRejectedSeed) {
            return rLabels.m_pLabels[0];
        }
        if (uSeed > 0xFFFF) {
            return labelOfWideSeed<T>(rChunk, pWindow, uSeed, rLabels);
        }
        if (uSeed == uLowest) {
            return labelOfLowest<T>(rChunk, pWindow, lowest, rLabels, true);
        }
        ++uLane;
    }
    const std::uint8_t ucLabel = rLabels.m_pLabels[uLane];
    return ucLabel <= rLabels.m_pLowestBehind[uLane] ? ucLabel
                                                     : labelOfLowest<T>(rChunk, pWindow, lowest, rLabels, false);
}

template<typename T>
void labels(const WholeRow& rRow, const Chunk& rChunk, const LabelRow& rOut)
{
    forEachWinner<T>(rRow, rChunk, [&](int x, const std::uint16_t* pWindow, typename T::V lowest, unsigned uLane) {
        std::uint16_t* const pSums = rRow.m_pWindows + (pWindow - rRow.m_pWindows);
        rOut.m_pOut[x] = label<T>(rChunk, x, pSums, lowest, uLane, rOut);
    });
}

} // namespace
} // namespace kestrova
