// Column sums and window sums of a row, for the forms. Everything is local to the file that includes it.
//
// T is a form's vector type and its operations. Sums are biased by T::sk_uBias, so that T's minimum orders them.
#pragma once

#include "kernels/WholeRow.h"

namespace kestrova {
namespace {

/** Vectors that turn some lanes into the worst of all sums, by a maximum. */
template<typename T>
struct Limits
{
    static constexpr int n = T::sk_nLanes;
    constexpr Limits()
    {
        for (int i = 0; i < 2 * n; ++i) {
            m_auLanes[i] = static_cast<std::uint16_t>((i < n ? 0 : 0xFFFF) ^ T::sk_uBias);
        }
    }
    /** Leaves the first nEnd lanes alone. One element further down it is one lane more. */
    [[nodiscard]] const std::uint16_t* lanes(int nEnd) const { return m_auLanes + n - nEnd; }
    [[nodiscard]] typename T::V upTo(int nEnd) const { return T::loadUnaligned(lanes(nEnd)); }

    alignas(64) std::uint16_t m_auLanes[2 * n] = {};
};

template<typename T>
constexpr Limits<T> sk_limits;

template<typename T>
constexpr std::uint16_t sk_uWorst = 0xFFFF ^ T::sk_uBias;

/** Vectors of a column that are worked on together: their sums fit the registers. */
struct Block
{
    int m_nBegin;
    int m_nEnd;
};

template<typename T>
int nBlocks(const WholeRow& rRow)
{
    return (rRow.m_nVectors + T::sk_nMost - 1) / T::sk_nMost;
}

template<typename T>
Block block(const WholeRow& rRow, int nBlock)
{
    const int n = nBlocks<T>(rRow);
    return {rRow.m_nVectors * nBlock / n, rRow.m_nVectors * (nBlock + 1) / n};
}

/** Where a run of columns begins, in each of the rows. */
struct Run
{
    const std::uint32_t* m_pReference;
    const std::uint16_t* m_pSearch;
    std::uint16_t* m_pEntering; // column sums
    const std::uint16_t* m_pLeaving;
    std::ptrdiff_t m_nSumsStride;
    std::uint16_t* m_pRunning;
    std::uint16_t* m_pWindows;
    std::ptrdiff_t m_nWindowsStride;
    int m_nColumns;
    int m_nLimit; // lanes of the last vector that hold sums
};

template<typename T>
Run runOf(const WholeRow& rRow, const Block& rBlock, int nColumn)
{
    const std::ptrdiff_t nLane = static_cast<std::ptrdiff_t>(rBlock.m_nBegin) * T::sk_nLanes;
    const std::ptrdiff_t nStride = static_cast<std::ptrdiff_t>(rBlock.m_nEnd - rBlock.m_nBegin) * T::sk_nLanes;
    std::uint16_t* const pSums = rRow.m_pColumnSums + nLane * rRow.m_nWidth + nStride * nColumn;
    return {rRow.m_pReferencePairs + nColumn,
            rRow.m_pSearchPairs + nColumn + nLane,
            pSums,
            nColumn < rRow.m_nMask - 1 ? pSums : pSums - nStride * (rRow.m_nMask - 1),
            nStride,
            rRow.m_pRunning + nLane,
            rRow.m_pWindows + nLane,
            rRow.m_nWindowStride,
            0,
            T::sk_nLanes};
}

/** What runs along the columns without looking at them: that is how a row begins. */
struct Grow
{
    static constexpr bool sk_bSlides = false;
};

/** Leaves the minima of all lane positions for a later look, together with those of other blocks. */
template<typename T>
struct KeepMinima
{
    static constexpr bool sk_bSlides = true;

    template<int N>
    void column(const typename T::V (&)[N], typename T::V lowest, const std::uint16_t*, int nColumn) const
    {
        std::uint16_t* const p = m_pMinima + nColumn * T::sk_nLanes;
        T::store(p, m_bFirst ? lowest : T::min(lowest, T::load(p)));
    }

    std::uint16_t* m_pMinima;
    bool m_bFirst; // block of the columns
};

// The heart of it. For each column and vector: difference of the pixels that enter and of those that leave, column
// sum, window sum, minimum; then what rUse makes of a column's windows and their lane-wise minimum.
template<typename T, int N, typename Use>
void runColumns(const Run& rRun, const Use& rUse)
{
    using V = typename T::V;
    constexpr int L = T::sk_nLanes;
    const std::uint32_t* const pReference = rRun.m_pReference;
    const std::uint16_t* pSearch = rRun.m_pSearch;
    std::uint16_t* pEntering = rRun.m_pEntering;
    const std::uint16_t* pLeaving = rRun.m_pLeaving;
    std::uint16_t* pWindows = rRun.m_pWindows;
    const V limit = sk_limits<T>.upTo(rRun.m_nLimit);
    V aRunning[N];
    for (int i = 0; i < N; ++i) {
        aRunning[i] = T::load(rRun.m_pRunning + i * L);
    }
    for (int nColumn = 0; nColumn < rRun.m_nColumns; ++nColumn) {
        const V reference = T::broadcast(pReference[nColumn]);
        V aWindows[N];
        V lowest;
#pragma GCC unroll 16
        for (int i = 0; i < N; ++i) {
            const V sum = T::addDifference(T::load(pEntering + i * L), reference, pSearch + i * L);
            T::store(pEntering + i * L, sum);
            aRunning[i] = T::add(aRunning[i], sum);
            if constexpr (Use::sk_bSlides) {
                aWindows[i] = i == N - 1 ? T::max(aRunning[i], limit) : aRunning[i];
                T::store(pWindows + i * L, aWindows[i]);
                lowest = i == 0 ? aWindows[i] : T::min(lowest, aWindows[i]);
            }
        }
        if constexpr (Use::sk_bSlides) {
            rUse.template column<N>(aWindows, lowest, pWindows, nColumn);
#pragma GCC unroll 16
            for (int i = 0; i < N; ++i) {
                aRunning[i] = T::subtract(aRunning[i], T::load(pLeaving + i * L));
            }
            pLeaving += rRun.m_nSumsStride;
            pWindows += rRun.m_nWindowsStride;
        }
        ++pSearch;
        pEntering += rRun.m_nSumsStride;
    }
    for (int i = 0; i < N; ++i) {
        T::store(rRun.m_pRunning + i * L, aRunning[i]);
    }
}

/** By the number of vectors, 1 to N. */
template<typename T, typename Use, int N = T::sk_nMost>
void runVectors(const Run& rRun, int nVectors, const Use& rUse)
{
    if constexpr (N > 1) {
        if (nVectors < N) {
            return runVectors<T, Use, N - 1>(rRun, nVectors, rUse);
        }
    }
    runColumns<T, N>(rRun, rUse);
}

/** Updates the first nColumns columns, and leaves the sums over them running. */
template<typename T>
void begin(const WholeRow& rRow, int nColumns)
{
    for (int i = 0; i < rRow.m_nVectors * T::sk_nLanes; ++i) {
        rRow.m_pRunning[i] = static_cast<std::uint16_t>(rRow.m_uStart ^ T::sk_uBias);
    }
    for (int nBlock = 0; nBlock < nBlocks<T>(rRow); ++nBlock) {
        const Block vectors = block<T>(rRow, nBlock);
        Run run = runOf<T>(rRow, vectors, 0);
        run.m_nColumns = nColumns;
        runVectors<T>(run, vectors.m_nEnd - vectors.m_nBegin, Grow{});
    }
}

/** The part of a row whose window sums are kept at a time. */
struct Chunk
{
    int m_nBegin;
    int m_nEnd;
    int m_nLanes;   // that hold sums
    int m_nVectors; // with these, and with one lane more that counts as 0xFFFF, if there is any
};

/** One block's part of a chunk; nothing is left to do when it lies beyond the chunk's vectors. */
template<typename T, typename Use>
void slideBlock(const WholeRow& rRow, const Chunk& rChunk, const Block& rVectors, const Use& rUse)
{
    const int nEnd = rVectors.m_nEnd < rChunk.m_nVectors ? rVectors.m_nEnd : rChunk.m_nVectors;
    if (nEnd > rVectors.m_nBegin) {
        Run run = runOf<T>(rRow, rVectors, rChunk.m_nBegin + rRow.m_nMask - 1);
        run.m_nColumns = rChunk.m_nEnd - rChunk.m_nBegin;
        run.m_nLimit = nEnd < rChunk.m_nVectors ? T::sk_nLanes : rChunk.m_nLanes - (nEnd - 1) * T::sk_nLanes;
        runVectors<T>(run, nEnd - rVectors.m_nBegin, rUse);
    }
}

/** Calls rUse with every chunk of the row, whose windows it has to run along. */
template<typename T, typename Use>
void forEachChunk(const WholeRow& rRow, const Use& rUse)
{
    begin<T>(rRow, rRow.m_nMask - 1);
    int nColumn = 0;
    for (int nRange = 0; nRange < rRow.m_nRanges; ++nRange) {
        const ColumnRange range = rRow.m_pRanges[nRange];
        const int nNeeded = range.m_nLanes / T::sk_nLanes + 1;
        while (nColumn < range.m_nEnd) {
            const int nEnd = nColumn + sk_nChunk < range.m_nEnd ? nColumn + sk_nChunk : range.m_nEnd;
            rUse(Chunk{nColumn, nEnd, range.m_nLanes, nNeeded < rRow.m_nVectors ? nNeeded : rRow.m_nVectors});
            nColumn = nEnd;
        }
    }
}

// Little endian: the pixel that enters comes first. The difference of the pair is that of its absolute differences.
template<typename Pair>
void pairPixels(Pair* __restrict pOut, const std::uint8_t* pEntering, const std::uint8_t* pLeaving, int n)
{
    constexpr unsigned uCopies = sizeof(Pair) == 4 ? 0x10001 : 1;
    if (pLeaving == nullptr) {
        for (int i = 0; i < n; ++i) {
            pOut[i] = static_cast<Pair>(pEntering[i] * uCopies);
        }
    } else {
        for (int i = 0; i < n; ++i) {
            pOut[i] = static_cast<Pair>((pEntering[i] | static_cast<unsigned>(pLeaving[i]) << 8) * uCopies);
        }
    }
}

inline void pairRows(const WholeRow& rRow, const PixelRows& rPixels, int nSearch)
{
    pairPixels(rRow.m_pSearchPairs, rPixels.m_pSearch, rPixels.m_pSearchLeaving, nSearch);
    pairPixels(rRow.m_pReferencePairs, rPixels.m_pReference, rPixels.m_pReferenceLeaving, rRow.m_nWidth);
}

} // namespace
} // namespace kestrova
