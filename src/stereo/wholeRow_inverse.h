// The best match as seen from the search image, found while the window sums of a chunk stand.
//
// Column x holds the sum of search column r in lane r - x, so the sums of neighbouring search columns are neighbours
// in every column. Columns come in ascending order and with them disparities in descending order: letting the later
// win a tie leaves the lowest.
#pragma once

#include "stereo/wholeRow_sums.h"

namespace kestrova {
namespace {

template<typename T>
void beginInverse(const WholeRow& rRow)
{
    for (int r = 0; r < rRow.m_nWidth + sk_nLaneSlack; ++r) {
        rRow.m_inverse.m_pBest[r] = sk_uWorst<T>;
    }
}

/** What a vector of neighbouring search columns has found. */
template<typename T>
struct Found
{
    typename T::V m_best;
    typename T::V m_column;

    void meet(typename T::V sums, int x)
    {
        m_best = T::min(m_best, sums);
        m_column = T::whereEqual(m_best, sums, T::spread(static_cast<std::uint16_t>(x)), m_column);
    }
};

template<typename T>
void inverseVector(const WholeRow& rRow, const Chunk& rChunk, int r, int nCandidates)
{
    constexpr int L = T::sk_nLanes;
    const std::ptrdiff_t nStride = static_cast<std::ptrdiff_t>(rRow.m_nVectors) * L;
    const InverseSearch& rSearch = rRow.m_inverse;
    Found<T> found{T::loadUnaligned(rSearch.m_pBest + r), T::loadUnaligned(rSearch.m_pColumn + r)};
    int x = r - nCandidates + 1 > rChunk.m_nBegin ? r - nCandidates + 1 : rChunk.m_nBegin;
    const int nEnd = r + L < rChunk.m_nEnd ? r + L : rChunk.m_nEnd;
    // Lanes at and above the candidates' number, then whole vectors of candidates, then lanes below 0.
    const std::uint16_t* pSums = rRow.m_pWindows + (x - rChunk.m_nBegin) * nStride + (r - x);
    const auto meet = [&](int nWholeEnd, bool bCut) {
        for (; x < nWholeEnd; ++x, pSums += nStride - 1) {
            typename T::V sums = T::loadUnaligned(pSums);
            if (bCut) {
                const int nTop = nCandidates - (r - x);
                sums = T::max(sums, sk_limits<T>.upTo(nTop < L ? nTop : L));
                sums = T::max(sums, sk_limits<T>.from(x > r ? x - r : 0));
            }
            found.meet(sums, x);
        }
    };
    const auto least = [](int a, int b) { return a < b ? a : b; };
    meet(least(nEnd, r + L - nCandidates), true);
    meet(least(nEnd, r + 1), false);
    meet(nEnd, true);
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
void invertRow(std::uint8_t* pOut, const WholeRow& rRow, int nCount, int nFirst)
{
    const InverseSearch& rSearch = rRow.m_inverse;
    for (int r = 0; r < nCount; ++r) {
        const int nDisparity = rSearch.m_pBest[r] == sk_uWorst<T> ? 0 : r - rSearch.m_pColumn[r];
        pOut[r] = static_cast<std::uint8_t>(nDisparity + nFirst);
    }
}

} // namespace
} // namespace kestrova
