// Puts a form together out of its vector operations.
#pragma once

#include "kernels/wide/wholeRow_fit.h"
#include "kernels/wide/wholeRow_inverse.h"
#include "kernels/wide/wholeRow_winners.h"

namespace kestrova {
namespace {

template<typename T>
void addRow(const WholeRow& rRow)
{
    begin<T>(rRow, rRow.m_nWidth);
}

template<typename T, typename Use>
void findWinners(const WholeRow& rRow, const Use& rUse)
{
    if (rRow.m_inverse.m_nCandidates >= 0) { // what is found begins at nothing, even if nobody searches
        beginInverse<T>(rRow);
    }
    forEachChunk<T>(rRow, [&](const Chunk& rChunk) {
        rUse(rChunk);
        inverseChunk<T>(rRow, rChunk);
    });
}

template<typename T>
void findLabels(const WholeRow& rRow, const LabelRow& rLabels)
{
    if (rLabels.m_pSeeds != nullptr) {
        findWinners<T>(rRow, [&](const Chunk& rChunk) { labels<T, true>(rRow, rChunk, rLabels); });
    } else {
        findWinners<T>(rRow, [&](const Chunk& rChunk) { labels<T, false>(rRow, rChunk, rLabels); });
    }
}

template<typename T>
void findNeighbours(const WholeRow& rRow, const NeighbourRow& rNeighbours)
{
    findWinners<T>(rRow, [&](const Chunk& rChunk) { neighbours<T>(rRow, rChunk, rNeighbours); });
}

template<typename T>
constexpr WholeRowForm wholeRowFormOf(decltype(WholeRowForm::sumWindows) sumWindows)
{
    return {T::sk_nLanes, pairRows, addRow<T>, findLabels<T>, findNeighbours<T>, invertRow<T>, fitRow<T>, sumWindows};
}

} // namespace
} // namespace kestrova
