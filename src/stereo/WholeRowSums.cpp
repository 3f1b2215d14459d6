#include "stereo/WholeRowSums.h"

#include "kernels/InstructionSet.h"
#include "stereo/Scratch.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>

namespace kestrova {

namespace {

constexpr int sk_nWidestColumn = 256;
constexpr int sk_nWidestInverse = 0x7FFF; // its columns are kept in 16 bits

} // namespace

const WholeRowForm* WholeRowSums::formFor(const ColumnLayout& rLayout, unsigned n, bool bBackForth)
{
    const unsigned uReserved = rLayout.use().m_bTextureLane ? 1 : 0;
    const bool bSearches =
        n + uReserved <= static_cast<unsigned>(rLayout.nLanes()) && rLayout.width() <= sk_nWidestInverse;
    return bSearches || !bBackForth ? instructionSet().m_pWholeRows : nullptr;
}

WholeRowSums::WholeRowSums(const WholeRowForm& rForm, const ColumnLayout& rLayout,
                           const Image<unsigned char>& rReference, const Image<unsigned char>& rSearch, unsigned n,
                           bool bBackForth)
    : m_pForm(&rForm), m_layout(rLayout), m_reference(rReference), m_search(rSearch)
{
    const int nReserved = rLayout.use().m_bTextureLane ? 1 : 0;
    m_row.m_nMask = rLayout.mask();
    m_row.m_nWidth = rLayout.width();
    m_row.m_nLanes = rLayout.nLanes() - nReserved;
    m_row.m_nVectors = (m_row.m_nLanes + rForm.m_nVectorLanes - 1) / rForm.m_nVectorLanes;
    m_row.m_uStart = rLayout.use().m_uStart;
    m_row.m_inverse.m_nCandidates = bBackForth ? std::max(static_cast<int>(n) - nReserved, 0) : -1;
    m_row.m_nWindowStride = (m_row.m_nVectors + (bBackForth ? 1 : 0)) * rForm.m_nVectorLanes;
    findRanges();
    takeScratch();
}

// From the last step, which runs out of the search row first, to the first.
void WholeRowSums::findRanges()
{
    const int nReserved = m_layout.use().m_bTextureLane ? 1 : 0;
    std::array<LaneStep, sk_uMostRanges> steps{};
    std::size_t uSteps = 0;
    for (int nLane = 0; nLane < m_layout.nLanes(); nLane += steps[uSteps++].m_nLanes) {
        steps[uSteps] = m_layout.step(nLane);
        m_uLanesOfRow += static_cast<unsigned>(steps[uSteps].m_nColumns * steps[uSteps].m_nLanes);
    }
    m_nTextureColumns = steps[0].m_nColumns;
    m_row.m_pRanges = m_ranges.data();
    for (std::size_t u = uSteps; u > 0; --u) {
        const LaneStep& rStep = steps[u - 1];
        m_ranges[static_cast<std::size_t>(m_row.m_nRanges++)] = {rStep.m_nColumns,
                                                                 rStep.m_nFirst + rStep.m_nLanes - nReserved};
    }
    m_ranges[static_cast<std::size_t>(m_row.m_nRanges++)] = {m_layout.nCount(), 0};
}

void WholeRowSums::takeScratch()
{
    const auto uWidth = static_cast<std::size_t>(m_layout.width());
    const auto uLanes = static_cast<std::size_t>(m_row.m_nVectors * m_pForm->m_nVectorLanes);
    const std::size_t uBeyond = uWidth + sk_nWidestColumn + sk_nLaneSlack;
    const auto hand = [&](auto& rScratch) {
        m_row.m_pColumnSums = rScratch.template take<std::uint16_t>(uWidth * uLanes);
        m_pTextureColumns = rScratch.template take<std::uint16_t>(uBeyond);
        m_row.m_pSearchPairs = rScratch.template take<std::uint16_t>(uBeyond);
        m_pInverse = rScratch.template take<std::uint8_t>(uBeyond);
        m_row.m_pReferencePairs = rScratch.template take<std::uint32_t>(uWidth);
        m_row.m_pRunning = rScratch.template take<std::uint16_t>(uLanes);
        m_row.m_pWindows = rScratch.template take<std::uint16_t>(
            static_cast<std::size_t>(sk_nChunk * m_row.m_nWindowStride + 2 * sk_nLaneSlack));
        m_row.m_pMinima =
            rScratch.template take<std::uint16_t>(static_cast<std::size_t>(sk_nChunk * m_pForm->m_nVectorLanes));
        for (std::uint16_t** ppRow : {&m_row.m_inverse.m_pBest, &m_row.m_inverse.m_pColumn, &m_pTexture}) {
            *ppRow = rScratch.template take<std::uint16_t>(uBeyond);
        }
        m_neighbours.m_pLanes = rScratch.template take<std::uint16_t>(uBeyond);
        m_neighbours.m_pSums = rScratch.template take<std::uint64_t>(uBeyond);
        m_pInverseOfMatches = rScratch.template take<std::uint8_t>(uBeyond);
        m_pSeeds = rScratch.template take<std::uint32_t>(uWidth);
    };
    ScratchCount count;
    hand(count);
    m_uScratchBytes = count.m_uBytes;
    threadScratch().reset(m_uScratchBytes);
    hand(threadScratch());
    m_row.m_pWindows += sk_nLaneSlack;
    // What begins at zero: sums, and what lies behind the ends of rows.
    std::fill_n(m_row.m_pColumnSums, uWidth * uLanes, std::uint16_t{0});
    std::fill_n(m_pTextureColumns, uBeyond, std::uint16_t{0});
    std::fill_n(m_row.m_pSearchPairs, uBeyond, std::uint16_t{0});
    std::fill_n(m_pInverse, uBeyond, std::uint8_t{0});
}

void WholeRowSums::pairRow(int nRow)
{
    const int nLeaving = nRow - m_layout.mask();
    const int nSearch = std::min(m_layout.searchWidth(), m_layout.width() + m_row.m_nLanes);
    const PixelRows pixels{&m_reference[nRow][0], &m_search[nRow][0],
                           nLeaving < 0 ? nullptr : &m_reference[nLeaving][0],
                           nLeaving < 0 ? nullptr : &m_search[nLeaving][0]};
    m_pForm->pair(m_row, pixels, nSearch);
    if (m_layout.use().m_bTextureLane) {
        addTexture(nRow);
        if (nRow >= m_layout.mask() - 1) {
            sumTexture();
        }
    }
}

void WholeRowSums::addTexture(int nRow)
{
    const bool bLeaves = nRow >= m_layout.mask();
    const std::uint8_t* const pEntering = &m_reference[nRow][0];
    const std::uint8_t* const pLeaving = bLeaves ? &m_reference[nRow - m_layout.mask()][0] : nullptr;
    std::uint16_t* __restrict const pColumns = m_pTextureColumns;
    const int nWidth = m_layout.width();
    for (int x = 0; x < nWidth; ++x) {
        const int nLeaving = bLeaves ? std::abs(pLeaving[x] - sk_ucEdgeZero) : 0;
        pColumns[x] = static_cast<std::uint16_t>(pColumns[x] + std::abs(pEntering[x] - sk_ucEdgeZero) - nLeaving);
    }
}

void WholeRowSums::sumTexture()
{
    m_pForm->sumWindows(m_pTexture, m_pTextureColumns, m_layout.mask(), m_row.m_uStart, m_nTextureColumns);
    std::fill(m_pTexture + m_nTextureColumns, m_pTexture + m_layout.nCount(), std::uint16_t{0xFFFF});
}

const std::uint8_t* WholeRowSums::inverse(int nFirst)
{
    m_pForm->invert(m_pInverse, m_row, m_layout.nInverse(), nFirst);
    return m_pInverse;
}

const std::uint8_t* WholeRowSums::inverseOfMatches(int nFirst)
{
    const std::uint8_t* const pInverse = inverse(nFirst);
    const std::uint16_t* const pLanes = m_neighbours.m_pLanes;
    std::uint8_t* __restrict const pOut = m_pInverseOfMatches;
    for (std::uint32_t x = 0, uCount = static_cast<std::uint32_t>(m_layout.nCount()); x < uCount; ++x) {
        pOut[x] = pInverse[x + pLanes[x]];
    }
    return pOut;
}

} // namespace kestrova
