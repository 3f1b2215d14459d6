// The best match as seen from the search image, found while the window sums of a chunk stand.
//
// Column x holds the sum of search column r in lane r - x, so the sums of neighbouring search columns are neighbours
// in every column. Columns come in ascending order and with them disparities in descending order: letting the later
// win a tie leaves the lowest.
#pragma once

#include "kernels/wide/wholeRow_sums.h"

namespace kestrova {
namespace {

/** Nothing found yet; and nothing in front of the first lane of any column. */
template<typename T>
void beginInverse(const WholeRow& rRow)
{
    for (int r = 0; r < rRow.m_nWidth + sk_nLaneSlack; ++r) {
        rRow.m_inverse.m_pBest[r] = sk_uWorst<T>;
        rRow.m_inverse.m_pColumn[r] = 0;
    }
    for (int i = 0; i < sk_nChunk; ++i) {
        T::store(rRow.m_pWindows + i * rRow.m_nWindowStride - T::sk_nLanes, T::spread(sk_uWorst<T>));
    }
}

/** What a vector of neighbouring search columns has found, and the column that it meets next. */
template<typename T>
struct Found
{
    typename T::V m_best;
    typename T::V m_column;
    typename T::V m_next;

    void meet(typename T::V sums)
    {
        m_best = T::min(m_best, sums);
        m_column = T::whereEqual(m_best, sums, m_next, m_column);
        m_next = T::subtract(m_next, T::spread(0xFFFF));
    }
};

template<typename T>
void inverseVector(const WholeRow& rRow, const Chunk& rChunk, int r, int nCandidates)
{
    constexpr int L = T::sk_nLanes;
    const InverseSearch& rSearch = rRow.m_inverse;
    int x = r - nCandidates + 1 > rChunk.m_nBegin ? r - nCandidates + 1 : rChunk.m_nBegin;
    const int nEnd = r + L < rChunk.m_nEnd ? r + L : rChunk.m_nEnd;
    Found<T> found{T::loadUnaligned(rSearch.m_pBest + r), T::loadUnaligned(rSearch.m_pColumn + r),
                   T::spread(static_cast<std::uint16_t>(x))};
    const std::ptrdiff_t nStep = rRow.m_nWindowStride - 1;
    const std::uint16_t* pSums = rRow.m_pWindows + (x - rChunk.m_nBegin) * (nStep + 1) + (r - x);
    // Lanes at and above the candidates' number are kept out as long as they are met.
    const int nCutEnd = r + L - nCandidates < nEnd ? r + L - nCandidates : nEnd;
    const std::uint16_t* pLimit = sk_limits<T>.lanes(x < nCutEnd ? nCandidates - (r - x) : 0);
#pragma GCC unroll 4
    for (; x < nCutEnd; ++x, pSums += nStep) {
        found.meet(T::max(T::loadUnaligned(pSums), T::loadUnaligned(pLimit--)));
    }
#pragma GCC unroll 4
    for (; x < nEnd; ++x, pSums += nStep) {
        found.meet(T::loadUnaligned(pSums));
    }
    T::storeUnaligned(rSearch.m_pBest + r, found.m_best);
    T::storeUnaligned(rSearch.m_pColumn + r, found.m_column);
}

template<typename T>
void inverseChunk(const WholeRow& rRow, const Chunk& rChunk)
{
    const int nCandidates =
        rRow.m_inverse.m_nCandidates < rChunk.m_nLanes ? rRow.m_inverse.m_nCandidates : rChunk.m_nLanes;
    for (int r = rChunk.m_nBegin; nCandidates > 0 && r < rChunk.m_nEnd + nCandidates - 1; r += T::sk_nLanes) {
        inverseVector<T>(rRow, rChunk, r, nCandidates);
    }
}

// A search column in which nothing is below 0xFFFF has disparity 0 as its lowest equal.
template<typename T>
void invertRow(std::uint8_t* __restrict pOut, const WholeRow& rRow, int nCount, int nFirst)
{
    const std::uint16_t* const pBest = rRow.m_inverse.m_pBest;
    const std::uint16_t* const pColumn = rRow.m_inverse.m_pColumn;
    for (int r = 0; r < nCount; ++r) {
        const auto uFound = static_cast<std::uint16_t>(pBest[r] == sk_uWorst<T> ? 0 : 0xFFFF);
        const auto uDisparity = static_cast<std::uint16_t>(static_cast<std::uint16_t>(r - pColumn[r]) & uFound);
        pOut[r] = static_cast<std::uint8_t>(uDisparity + nFirst);
    }
}

} // namespace
} // namespace kestrova
