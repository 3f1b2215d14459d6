// The tables of surface validation while labels are given out, and the rule by which one pixel gets its label.
//
// Labels of neighbours that are not close are told as the next free one: it is above all others, so the lesser of two
// offers is the one that counts. Room is made row by row, so that single pixels need not ask.
#pragma once

#include "surfaces/KesUIntVector.h"

#include <algorithm>
#include <cstdint>

namespace kestrova {

class SurfaceTables
{
public:
    /** Both tables begin anew with the background, label 0. */
    SurfaceTables(KesUIntVector& rTable, KesUIntVector& rSizes) : m_pTable(&rTable), m_pSizes(&rSizes)
    {
        m_pTable->clear();
        m_pSizes->clear();
        makeRoom(1);
        m_pnTable[0] = m_pnSizes[0] = 0;
        m_nNext = 1;
    }

    /** So many labels more can be opened from here on, and one beyond them written. */
    void makeRoom(int nLabels)
    {
        const unsigned nNeeded = m_nNext + static_cast<unsigned>(nLabels) + 1;
        // Both are asked: where memory was refused in between, the first may have grown without the second.
        const unsigned nCapacity = std::min(m_pTable->capacity(), m_pSizes->capacity());
        if (nNeeded > nCapacity) {
            // By a share, so that copying stays linear in the labels; a small one, as the memory is kept.
            const unsigned nRoom = std::max(nNeeded, nCapacity + nCapacity / 8);
            close();
            m_pTable->resize(nRoom);
            m_pSizes->resize(nRoom);
        }
        m_pnTable = m_pTable->data();
        m_pnSizes = m_pSizes->data();
    }

    /** Tells the tables how much of them is in use. */
    void close()
    {
        m_pTable->use(m_nNext);
        m_pSizes->use(m_nNext);
    }

    /** What a pixel that is not close to its neighbour takes from it. */
    [[nodiscard]] unsigned none() const { return m_nNext; }

    /** The label of a pixel with these offers of its neighbours. The pixel is not counted yet. */
    unsigned label(unsigned nLeft, unsigned nUp)
    {
        // One jump, for two labels that differ: what the offers are is guessed wrong too often for more.
        const auto nApart = static_cast<std::int64_t>(nLeft) - static_cast<std::int64_t>(nUp);
        const auto nBelow = static_cast<unsigned>(nApart & (nApart >> 63)); // left less up where that is negative
        unsigned nLabel = nUp + nBelow;
        const unsigned nGreater = nLeft - nBelow;
        if (std::uint64_t{nGreater - nLabel} * (m_nNext - nGreater) != 0) {
            nLabel = merged(nLabel, nGreater);
        }
        m_pnTable[m_nNext] = m_nNext; // written in any case: whether it is taken cannot be foreseen
        m_pnSizes[m_nNext] = 0;
        m_nNext += nLabel == m_nNext ? 1 : 0;
        return nLabel;
    }

    /** Counts pixels of a label; below 0 in unsigned arithmetic, takes them back. */
    void count(unsigned nLabel, unsigned nPixels) { m_pnSizes[nLabel] += nPixels; }

private:
    [[nodiscard]] unsigned root(unsigned n) const
    {
        while (m_pnTable[n] != n) {
            n = m_pnTable[n];
        }
        return n;
    }

    // Roots point downward only, so one pass from label 1 up resolves them all.
    unsigned merged(unsigned a, unsigned b)
    {
        const unsigned nRootA = root(a), nRootB = root(b);
        m_pnTable[std::max(nRootA, nRootB)] = std::min(nRootA, nRootB);
        return std::min(nRootA, nRootB);
    }

    KesUIntVector* m_pTable;
    KesUIntVector* m_pSizes;
    unsigned* m_pnTable = nullptr; // borrowed from the tables until room is made again
    unsigned* m_pnSizes = nullptr;
    unsigned m_nNext = 0;
};

} // namespace kestrova
