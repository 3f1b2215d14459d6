#include "surfaces/SurfaceRuns.h"

#include <bit>
#include <utility>

namespace kestrova {

namespace {

constexpr unsigned sk_nFill = 16; // pixels written at once

/** One step to the right within the row; the bit that leaves goes into the next word. */
std::uint64_t stepped(std::uint64_t uBits, std::uint64_t& ruCarry)
{
    const std::uint64_t uStepped = uBits << 1 | ruCarry;
    ruCarry = uBits >> 63;
    return uStepped;
}

/** The first where bit n is set, else the second. A jump would be guessed wrong at every other speck. */
unsigned select(std::uint64_t uBits, unsigned n, unsigned nSet, unsigned nClear)
{
    const auto uMask = static_cast<unsigned>(0 - (uBits >> n & 1));
    return nClear ^ ((nSet ^ nClear) & uMask);
}

/** May write up to sk_nFill - 1 pixels behind the end. */
void fill(unsigned* pLabels, unsigned nBegin, unsigned nEnd, unsigned nLabel)
{
    for (unsigned n = nBegin; n < nEnd; n += sk_nFill) {
        for (unsigned i = 0; i < sk_nFill; ++i) {
            pLabels[n + i] = nLabel;
        }
    }
}

} // namespace

void SurfaceRuns::begin(int nPixels, const unsigned* pUpperLabels)
{
    m_nPixels = static_cast<unsigned>(nPixels);
    const auto nWords = static_cast<std::size_t>(surfaceWords(nPixels));
    m_rows.assign(1, 0);
    m_bits.resize(nWords);
    m_changes.assign(nWords, ~std::uint64_t{0});
    m_labels.resize(m_nPixels + sk_nFill);
    m_upperLabels.resize(m_labels.size());
    std::copy_n(pUpperLabels, nPixels, m_upperLabels.data());
    m_marked.resize(m_nPixels + 1);
}

const unsigned* SurfaceRuns::labelRow(SurfaceTables& rTables)
{
    rTables.makeRoom(static_cast<int>(m_nPixels));
    const std::size_t nFirst = m_rows.back(),
                      nNeeded = nFirst + m_nPixels + 3; // the first, a gap at the end, and the end
    if (nNeeded > m_runs.size()) {                      // by a share, as the tables
        const std::size_t nRoom = std::max(nNeeded, m_runs.size() + m_runs.size() / 8);
        m_runs.reserve(nRoom);
        m_runs.resize(nRoom);
    }
    m_runs[nFirst] = {0, 0};
    RowState row{&m_runs[nFirst], 0, 0, 0};
    for (unsigned n = 0; n < m_bits.size(); ++n) {
        labelWord(row, rTables, n);
    }
    *++row.m_pRun = {m_nPixels, 0};
    fillRow(rTables, row.m_pRun);
    rTables.count(0, row.m_nValid - m_nPixels); // the background is pixels in range, and not those between runs
    m_rows.push_back(static_cast<std::size_t>(row.m_pRun - m_runs.data()) + 1);
    std::swap(m_labels, m_upperLabels);
    return m_upperLabels.data();
}

void SurfaceRuns::labelWord(RowState& rRow, SurfaceTables& rTables, unsigned nWord)
{
    const SurfaceBits bits = m_bits[nWord];
    const unsigned* const pUpper = m_upperLabels.data() + 64 * nWord;
    const std::uint64_t uLeftValid = stepped(bits.m_uValid, rRow.m_uValidCarry);
    const std::uint64_t uStarts = bits.m_uValid & ~(bits.m_uLeft & uLeftValid);
    const std::uint64_t uGaps = ~bits.m_uValid & uLeftValid;
    // A pixel above that has the label of the one before it has nothing new to say to the same run.
    const std::uint64_t uHeard = bits.m_uUp & ~(stepped(bits.m_uUp, rRow.m_uUpCarry) & ~uStarts & ~m_changes[nWord]);
    const std::uint64_t uBackground = (uStarts & bits.m_uLeft) | uGaps;
    std::uint64_t uChanges = 0;
    Run* pRun = rRow.m_pRun;
    unsigned nLabel = pRun->m_nLabel;
    SurfaceTables tables = rTables; // in registers: stores into the tables could change it elsewhere
    for (std::uint64_t uPlaces = uStarts | uGaps | uHeard; uPlaces != 0; uPlaces &= uPlaces - 1) {
        const auto n = static_cast<unsigned>(std::countr_zero(uPlaces));
        const unsigned nLeft = select(uBackground, n, 0, select(uStarts, n, tables.none(), nLabel));
        const unsigned nUp = select(bits.m_uUp, n, pUpper[n], tables.none());
        const unsigned nBefore = std::exchange(nLabel, tables.label(nLeft, nUp));
        pRun[1] = {64 * nWord + n, nLabel};
        const unsigned nChanges = nLabel != nBefore ? 1 : 0;
        pRun += nChanges;
        uChanges |= std::uint64_t{nChanges} << n;
    }
    rRow.m_pRun = pRun;
    rTables = tables;
    m_changes[nWord] = uChanges;
    rRow.m_nValid += static_cast<unsigned>(std::popcount(bits.m_uValid));
}

void SurfaceRuns::fillRow(SurfaceTables& rTables, const Run* pEnd)
{
    unsigned* const pLabels = m_labels.data();
    for (const Run* p = m_runs.data() + m_rows.back(); p != pEnd; ++p) {
        rTables.count(p->m_nLabel, p[1].m_nBegin - p->m_nBegin);
        fill(pLabels, p->m_nBegin, p[1].m_nBegin, p->m_nLabel);
    }
}

void SurfaceRuns::markRow(std::size_t nRow, const unsigned* pnTable)
{
    Marked* pMarked = m_marked.data(); // written in any case, as there is no telling which
    for (std::size_t n = m_rows[nRow]; n + 1 < m_rows[nRow + 1]; ++n) {
        *pMarked = {m_runs[n].m_nBegin, m_runs[n + 1].m_nBegin};
        pMarked += pnTable[m_runs[n].m_nLabel] != 0 ? 1 : 0;
    }
    *pMarked = {0, 0};
}

std::size_t SurfaceRuns::bytes() const
{
    return m_runs.capacity() * sizeof(Run) + m_rows.capacity() * sizeof(std::size_t) +
           m_bits.capacity() * sizeof(SurfaceBits) + m_changes.capacity() * sizeof(std::uint64_t) +
           (m_labels.capacity() + m_upperLabels.capacity()) * sizeof(unsigned) + m_marked.capacity() * sizeof(Marked);
}

} // namespace kestrova
