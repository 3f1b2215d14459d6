// The column sums of the fast correlator, over the lanes of a set: Four and Eight disparities a step, and Texture,
// whose lane 0 is compared with the zero level and lane k with search pixel k - 1.
//
// Lanes are bytes (differences, as they are kept) and words (sums) of as many disparities. They give load, store,
// widen, difference, add, subtract and addTo.
#pragma once

#include "kernels/mongo.h"

namespace kestrova {
namespace {

/** What one group of lanes works on: rows that begin at the group's first pixel. */
struct Group
{
    std::uint16_t* m_pSums;
    std::uint8_t* m_pNew;
    const std::uint8_t* m_pOld;
    const std::uint8_t* m_pReference;
    const std::uint8_t* m_pSearch;
};

// Adds to the sums of nColumns (at least 1) the difference between the window row that enters and the one that leaves.
template<typename Lanes>
void mongo(const Group& rGroup, int m, int nColumns, std::ptrdiff_t nStride)
{
    constexpr int L = Lanes::sk_nLanes;
    std::uint16_t* pSums = rGroup.m_pSums;
    std::uint8_t* pNew = rGroup.m_pNew;
    const std::uint8_t* pOld = rGroup.m_pOld;

    auto delta = Lanes::none();
    for (int i = 0; i < m; ++i) {
        const auto a = Lanes::difference(rGroup.m_pReference[i], rGroup.m_pSearch + i);
        Lanes::store(pNew + i * L, a);
        delta = Lanes::add(delta, Lanes::subtract(Lanes::widen(a), Lanes::widen(Lanes::load(pOld + i * L))));
    }

    const std::uint8_t* const pReference = rGroup.m_pReference + m;
    const std::uint8_t* const pSearch = rGroup.m_pSearch + m;
    const std::ptrdiff_t nAhead = static_cast<std::ptrdiff_t>(m) * L;
    for (int p = 0; p < nColumns - 1; ++p) {
        Lanes::addTo(pSums, delta);
        const auto a = Lanes::difference(pReference[p], pSearch + p);
        const auto enters = Lanes::add(Lanes::widen(a), Lanes::widen(Lanes::load(pOld)));
        const auto leaves = Lanes::add(Lanes::widen(Lanes::load(pNew)), Lanes::widen(Lanes::load(pOld + nAhead)));
        delta = Lanes::add(delta, Lanes::subtract(enters, leaves));
        Lanes::store(pNew + nAhead, a);
        pSums += nStride;
        pNew += L;
        pOld += L;
    }
    // The last column has no next one: looking for it would leave the rows.
    Lanes::addTo(pSums, delta);
}

// Columns that this group never sums: all ones, so they lose every comparison.
void fillUnreached(std::uint16_t* pSums, int nFirst, int nEnd, int nLanes, std::ptrdiff_t nStride)
{
    for (int x = nFirst; x < nEnd; ++x) {
        for (int i = 0; i < nLanes; ++i) {
            pSums[x * nStride + i] = 0xFFFF;
        }
    }
}

// One group of Lanes at group number nGroup, whose first lane compares column x with search column x + nShift.
// Negative when the search row is too short for a single window.
template<typename Lanes>
int mongo_group(const MongoRow& rRow, int nGroup, int nShift, int nReach, bool bFirstRow)
{
    const int nReached = rRow.m_nSearchWidth - nShift - nReach;
    const int nColumns = (nReached < rRow.m_nWidth ? nReached : rRow.m_nWidth) + 1 - rRow.m_nMask;
    if (nColumns < 0) {
        return -1;
    }
    const std::ptrdiff_t nStride = static_cast<std::ptrdiff_t>(rRow.m_nGroups) * 4;
    const std::ptrdiff_t nRing = static_cast<std::ptrdiff_t>(nGroup) * (rRow.m_nWidth + rRow.m_nMask) * 4;
    std::uint16_t* const pSums = rRow.m_pTable + nGroup * 4;
    if (nColumns > 0) {
        mongo<Lanes>(
            {pSums, rRow.m_pNewRing + nRing, rRow.m_pOldRing + nRing, rRow.m_pReference, rRow.m_pSearch + nShift},
            rRow.m_nMask, nColumns, nStride);
    }
    if (bFirstRow) {
        fillUnreached(pSums, nColumns, rRow.m_nWidth, Lanes::sk_nLanes, nStride);
    }
    return nColumns * Lanes::sk_nLanes;
}

// All groups from nGroup on. The first lane of group g stands for disparity index 4 * g - nReserved.
template<typename Set>
unsigned mongo_groups(const MongoRow& rRow, int nGroup, int nReserved, bool bFirstRow)
{
    unsigned uLanes = 0;
    while (nGroup < rRow.m_nGroups) {
        const int nShift = nGroup * 4 - nReserved;
        const bool bEight = nGroup + 1 < rRow.m_nGroups;
        const int nDone = bEight ? mongo_group<typename Set::Eight>(rRow, nGroup, nShift, 7, bFirstRow)
                                 : mongo_group<typename Set::Four>(rRow, nGroup, nShift, 3, bFirstRow);
        if (nDone < 0) {
            break;
        }
        uLanes += static_cast<unsigned>(nDone);
        nGroup += bEight ? 2 : 1;
    }
    return uLanes;
}

template<typename Set>
unsigned mongo_row_lanes(const MongoRow& rRow, bool bFirstRow)
{
    return mongo_groups<Set>(rRow, 0, 0, bFirstRow);
}

template<typename Set>
unsigned mongo_val_row_lanes(const MongoRow& rRow, bool bFirstRow)
{
    const int nDone = mongo_group<typename Set::Texture>(rRow, 0, 0, 2, bFirstRow);
    return nDone < 0 ? 0 : static_cast<unsigned>(nDone) + mongo_groups<Set>(rRow, 1, 1, bFirstRow);
}

} // namespace
} // namespace kestrova
