// Columns of the sum table in straight code: what every lane of every column becomes.
#include "kernels/ColumnForm.h"
#include "kernels/wide/column_sums.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace kestrova {

namespace {

// ---- mongo_row, mongo_val_row ----

template<int L>
struct PlainLanes
{
    using V = std::array<std::uint16_t, L>;
    static constexpr int sk_nLanes = L;

    template<typename Lane>
    static V each(Lane lane)
    {
        V lanes;
        for (std::size_t u = 0; u < L; ++u) {
            lanes[u] = static_cast<std::uint16_t>(lane(u));
        }
        return lanes;
    }

    static V none() { return {}; }
    static V widen(const V& rBytes) { return rBytes; }
    static V load(const std::uint8_t* p)
    {
        return each([p](std::size_t u) { return p[u]; });
    }
    static V add(const V& a, const V& b)
    {
        return each([&](std::size_t u) { return a[u] + b[u]; });
    }
    static V subtract(const V& a, const V& b)
    {
        return each([&](std::size_t u) { return a[u] - b[u]; });
    }
    static V difference(std::uint8_t ucReference, const std::uint8_t* pSearch)
    {
        return each([&](std::size_t u) { return std::abs(ucReference - pSearch[u]); });
    }
    static void store(std::uint8_t* p, const V& rBytes)
    {
        for (std::size_t u = 0; u < L; ++u) {
            p[u] = static_cast<std::uint8_t>(rBytes[u]);
        }
    }
    static void addTo(std::uint16_t* pSums, const V& rDelta)
    {
        for (std::size_t u = 0; u < L; ++u) {
            pSums[u] = static_cast<std::uint16_t>(pSums[u] + rDelta[u]);
        }
    }
};

struct TextureLanes : PlainLanes<4>
{
    static V difference(std::uint8_t ucReference, const std::uint8_t* pSearch)
    {
        return each([&](std::size_t u) { return std::abs(ucReference - (u == 0 ? sk_ucEdgeZero : pSearch[u - 1])); });
    }
};

struct Lanes
{
    using Four = PlainLanes<4>;
    using Eight = PlainLanes<8>;
    using Texture = TextureLanes;
};

// ---- mincorr_row, mincorr_val_row ----

/** A column of the table, of groups of as many lanes as there are lane positions. */
struct Column
{
    const std::uint16_t* m_pSums;
    const std::uint8_t* m_pLabels;
    int m_nGroups;
};

// Lane 0 competes as uFirst. Bits above its 16 are not cut off: they fall into lane 1, which is where a uniqueness
// threshold above 1 puts strong texture. Disparity maps depend on it.
template<int L>
std::uint8_t winner(const Column& rColumn, std::uint32_t uFirst)
{
    std::uint32_t uBestKey = 0xFFFFFFFFU;
    for (int nLane = 0; nLane < L; ++nLane) {
        std::uint32_t uSum = rColumn.m_pSums[nLane];
        uSum = nLane == 0 ? uFirst & 0xFFFF : nLane == 1 ? uSum | uFirst >> 16 : uSum;
        std::uint8_t ucLabel = rColumn.m_pLabels[nLane];
        for (int i = L + nLane; i < rColumn.m_nGroups * L; i += L) {
            if (rColumn.m_pSums[i] < uSum) {
                uSum = rColumn.m_pSums[i];
                ucLabel = rColumn.m_pLabels[i];
            }
        }
        uBestKey = std::min(uBestKey, uSum << 16 | ucLabel);
    }
    return static_cast<std::uint8_t>(uBestKey);
}

std::uint8_t winner(const Column& rColumn, std::uint32_t uFirst, bool bSSE2)
{
    return (bSSE2 ? winner<8> : winner<4>)(rColumn, uFirst);
}

void mincorr_row_plain(std::uint8_t* pOut, const std::uint16_t* pTable, const std::uint8_t* pLabels, int nCount,
                       int nGroups, bool bSSE2)
{
    for (int x = 0; x < nCount; ++x, pTable += nGroups * (bSSE2 ? 8 : 4)) {
        pOut[x] = winner({pTable, pLabels, nGroups}, pTable[0], bSSE2);
    }
}

void mincorr_val_row_plain(std::uint8_t* pOut, const std::uint16_t* pTable, const std::uint8_t* pLabels, int nCount,
                           int nGroups, unsigned uTexture, unsigned uUniqueness, bool bSSE2)
{
    const std::uint32_t uLeast = (uUniqueness * uTexture + 4095) >> 12;
    for (int x = 0; x < nCount; ++x, pTable += nGroups * (bSSE2 ? 8 : 4)) {
        const std::uint32_t uBound = (pTable[0] * uUniqueness) >> 12;
        const auto uKeep = static_cast<std::uint32_t>(static_cast<std::int32_t>(uLeast - uBound) >> 16);
        // 0xFFFF for a measure above the threshold, 0 for one at or below it. A threshold that is 65536 or more above
        // the measure, of masks from 23 on, gives 1.
        const std::uint32_t uExcess = (uTexture - pTable[0]) >> 16;
        const bool bRejected = uUniqueness == 0 && uExcess == 0;
        pOut[x] = bRejected ? pLabels[0]
                            : winner({pTable, pLabels, nGroups}, uUniqueness == 0 ? uExcess : uBound & uKeep, bSSE2);
    }
}

// ---- findInverse ----

void findInverse_plain(const InverseColumns& r)
{
    for (int x = 0; x < r.m_nColumns + sk_nMostInverse + 2 * sk_nInverseSlack; ++x) {
        r.m_pWinner[x] = 0;
    }
    for (int x = 0; x < r.m_nColumns; ++x) {
        std::uint16_t uBest = r.m_pTable[x * r.m_nLanes];
        for (int d = 1; d <= std::min(x, r.m_nDisparities - 1); ++d) {
            const std::uint16_t uSum = r.m_pTable[(x - d) * r.m_nLanes + d];
            if (uSum < uBest) {
                uBest = uSum;
                r.m_pWinner[x] = static_cast<std::uint16_t>(d);
            }
        }
    }
}

} // namespace

constinit const ColumnForm g_columnsPlain = {mongo_row_lanes<Lanes>, mongo_val_row_lanes<Lanes>, mincorr_row_plain,
                                             mincorr_val_row_plain, findInverse_plain};

} // namespace kestrova
