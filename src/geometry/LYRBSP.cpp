#include "geometry/LYRBSP.h"

#include "geometry/LYRPoint3d.h"
#include "geometry/LYRPointCloud3d.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace kestrova {

namespace {

constexpr int sk_nAxes = 3;
constexpr int sk_nDirections = 13;
constexpr double sk_dRoot2 = 1.4142135623730951;
constexpr double sk_dRoot3 = 1.7320508075688772;

using Projections = std::array<double, sk_nDirections>;

struct Cut
{
    int m_nDirection;
    double m_dThreshold;
};

/** The point along one of the directions: axes, face diagonals, space diagonals. All have unit length. */
inline double projectionOf(const LYRPoint3d& p, int nDirection)
{
    switch (nDirection) {
    case 0:
        return p.x();
    case 1:
        return p.y();
    case 2:
        return p.z();
    case 3:
        return (p.x() + p.y()) / sk_dRoot2;
    case 4:
        return (p.x() + p.z()) / sk_dRoot2;
    case 5:
        return (p.y() + p.z()) / sk_dRoot2;
    case 6:
        return (p.x() - p.y()) / sk_dRoot2;
    case 7:
        return (p.x() - p.z()) / sk_dRoot2;
    case 8:
        return (p.y() - p.z()) / sk_dRoot2;
    case 9:
        return (p.x() + p.y() + p.z()) / sk_dRoot3;
    case 10:
        return (p.x() + p.y() - p.z()) / sk_dRoot3;
    case 11:
        return (p.x() - p.y() + p.z()) / sk_dRoot3;
    default:
        return (p.x() - p.y() - p.z()) / sk_dRoot3;
    }
}

Projections projectionsOf(const LYRPoint3d& p)
{
    return [&p]<int... nDirection>(std::integer_sequence<int, nDirection...>)
    {
        return Projections{projectionOf(p, nDirection)...};
    }
    (std::make_integer_sequence<int, sk_nDirections>());
}

/**
 * The mean along the direction of the largest spread; the first of equals. The mean of finite points may overflow but
 * is a number: a direction whose sums are none has no spread that is greater.
 */
Cut cutOfLargestSpread(const LYRPointCloud3d& rCloud, const int* pIndices, int nCount)
{
    Projections sums{};
    Projections squares{};
    for (int i = 0; i < nCount; ++i) {
        const Projections projections = projectionsOf(*rCloud.elementAt(pIndices[i]));
        for (int k = 0; k < sk_nDirections; ++k) {
            sums[k] += projections[k];
            squares[k] += projections[k] * projections[k];
        }
    }
    const auto spread = [&](int k) { return squares[k] - sums[k] * sums[k] / nCount; };
    int nBest = 0;
    for (int k = 1; k < sk_nDirections; ++k) {
        nBest = spread(k) > spread(nBest) ? k : nBest;
    }
    return {nBest, sums[nBest] / nCount};
}

/** The middle of the longest axis, such that points lie below and at or above it; nothing when all points coincide. */
std::optional<Cut> cutOfLongestAxis(const LYRPointCloud3d& rCloud, const int* pIndices, int nCount)
{
    std::optional<Cut> cut;
    double dLongest = -1;
    for (int nAxis = 0; nAxis < sk_nAxes; ++nAxis) {
        const auto less = [&](int a, int b) { return (*rCloud.elementAt(a))[nAxis] < (*rCloud.elementAt(b))[nAxis]; };
        const auto [pLowest, pHighest] = std::minmax_element(pIndices, pIndices + nCount, less);
        const double dLow = (*rCloud.elementAt(*pLowest))[nAxis];
        const double dHigh = (*rCloud.elementAt(*pHighest))[nAxis];
        const double dHalf = dHigh / 2 - dLow / 2;
        if (dHigh > dLow && dHalf > dLongest) {
            const double dMiddle = dLow / 2 + dHigh / 2;
            cut = {nAxis, dMiddle > dLow ? dMiddle : dHigh};
            dLongest = dHalf;
        }
    }
    return cut;
}

/**
 * Brings the points below the cut to the front; returns how many they are. Nothing when the cut leaves one side empty
 * or lies beyond all points, as rounding of a mean may have it: then it would not bound distances.
 */
std::optional<int> partition(const LYRPointCloud3d& rCloud, int* pIndices, int nCount, const Cut& rCut)
{
    const auto isBelow = [&](int i) {
        return projectionOf(*rCloud.elementAt(pIndices[i]), rCut.m_nDirection) < rCut.m_dThreshold;
    };
    int i = 0;
    int j = nCount - 1;
    while (i != j) {
        if (isBelow(i)) {
            ++i;
        } else if (!isBelow(j)) {
            --j;
        } else {
            std::swap(pIndices[i], pIndices[j]);
        }
    }
    return i == 0 || isBelow(i) ? std::nullopt : std::optional(i);
}

bool allEqualTheFirst(const LYRPointCloud3d& rCloud, const int* pIndices, int nCount)
{
    const LYRPoint3d& rFirst = *rCloud.elementAt(pIndices[0]);
    return std::all_of(pIndices, pIndices + nCount, [&](int n) { return rCloud.elementAt(n)->equals(rFirst); });
}

bool isFinite(const LYRPoint3d& p)
{
    return std::isfinite(p.x()) && std::isfinite(p.y()) && std::isfinite(p.z());
}

/**
 * Whether no point on the far side of a cut at distance d can be nearer to p than the best one. Along an axis rounding
 * is monotonic and d needs no care. A diagonal projection may be off by its own rounding, which counts when
 * coordinates are large beside distances: it is granted to the far side.
 */
bool isOutOfReach(double d, int nDirection, const LYRPoint3d& p, double dBestSquare)
{
    constexpr double dUnit = std::numeric_limits<double>::epsilon();
    if (nDirection < sk_nAxes || !(d * d >= dBestSquare)) {
        return d * d >= dBestSquare;
    }
    const double dSure = std::fabs(d) - 4 * dUnit * (std::fabs(p.x()) + std::fabs(p.y()) + std::fabs(p.z()));
    return dSure > 0 && dSure * dSure * (1 - 16 * dUnit) >= dBestSquare;
}

/** Not one atomic step: parallel searches may lose counts, and searching alone stays cheap. */
void raise(std::atomic<std::int32_t>& rCounter)
{
    const auto uNext = static_cast<std::uint32_t>(rCounter.load(std::memory_order_relaxed)) + 1;
    rCounter.store(static_cast<std::int32_t>(uNext), std::memory_order_relaxed);
}

} // namespace

std::atomic<std::int32_t> LYRBSPnode::num_leaf = 0;
std::atomic<std::int32_t> LYRBSPnode::num_closest = 0;
std::atomic<std::int32_t> LYRBSPnode::num_both = 0;

LYRBSPnode::LYRBSPnode(const LYRPointCloud3d& rCloud)
{
    std::vector<int> indices;
    indices.reserve(static_cast<std::size_t>(rCloud.size()));
    for (int i = 0; i < rCloud.size(); ++i) {
        if (isFinite(*rCloud.elementAt(i))) { // any other is never the nearest, and has no place on either side
            indices.push_back(i);
        }
    }
    make(rCloud, indices.data(), static_cast<int>(indices.size()));
}

LYRBSPnode::~LYRBSPnode()
{
    if (!isLeaf()) {
        delete m_split.m_pBelow;
        delete m_split.m_pAbove;
    }
}

void LYRBSPnode::make(const LYRPointCloud3d& rCloud, int* pIndices, int nCount)
{
    if (nCount <= sk_nMaxLeaf) {
        makeLeaf(pIndices, nCount);
    } else {
        split(rCloud, pIndices, nCount);
    }
    fitBox(rCloud);
}

void LYRBSPnode::makeLeaf(const int* pIndices, int nCount)
{
    std::copy_n(pIndices, nCount, m_anIndices);
    m_nCount = nCount;
}

void LYRBSPnode::split(const LYRPointCloud3d& rCloud, int* pIndices, int nCount)
{
    if (allEqualTheFirst(rCloud, pIndices, nCount)) {
        makeLeaf(pIndices, 1);
        return;
    }
    Cut cut = cutOfLargestSpread(rCloud, pIndices, nCount);
    std::optional<int> below = partition(rCloud, pIndices, nCount, cut);
    if (!below) {
        const std::optional<Cut> otherCut = cutOfLongestAxis(rCloud, pIndices, nCount);
        if (!otherCut) {
            makeLeaf(pIndices, 1);
            return;
        }
        cut = *otherCut;
        below = partition(rCloud, pIndices, nCount, cut);
    }
    const int nBelow = *below;
    auto pBelow = std::make_unique<LYRBSPnode>(rCloud, pIndices, nBelow);
    auto pAbove = std::make_unique<LYRBSPnode>(rCloud, pIndices + nBelow, nCount - nBelow);
    m_split = {cut.m_nDirection, cut.m_dThreshold, pBelow.release(), pAbove.release()};
    m_nCount = nCount;
}

void LYRBSPnode::fitBox(const LYRPointCloud3d& rCloud)
{
    constexpr double dNone = std::numeric_limits<double>::infinity();
    for (int nAxis = 0; nAxis < sk_nAxes; ++nAxis) {
        double dLow = dNone;
        double dHigh = -dNone;
        if (!isLeaf()) {
            dLow = std::min(m_split.m_pBelow->m_box.m_adLow[nAxis], m_split.m_pAbove->m_box.m_adLow[nAxis]);
            dHigh = std::max(m_split.m_pBelow->m_box.m_adHigh[nAxis], m_split.m_pAbove->m_box.m_adHigh[nAxis]);
        }
        for (int i = 0; isLeaf() && i < m_nCount; ++i) {
            const double d = (*rCloud.elementAt(m_anIndices[i]))[nAxis];
            dLow = std::min(dLow, d);
            dHigh = std::max(dHigh, d);
        }
        m_box.m_adLow[nAxis] = dLow;
        m_box.m_adHigh[nAxis] = dHigh;
    }
}

/** Never above the squared distance that any point of the node has as computed: each step rounds monotonically. */
double LYRBSPnode::squareDistanceToBox(const LYRPoint3d& p) const
{
    const auto gap = [&](int nAxis) {
        const double d = p[nAxis];
        return d < m_box.m_adLow[nAxis]    ? m_box.m_adLow[nAxis] - d
               : d > m_box.m_adHigh[nAxis] ? d - m_box.m_adHigh[nAxis]
                                           : 0.0;
    };
    const double dX = gap(0);
    const double dY = gap(1);
    const double dZ = gap(2);
    return dX * dX + dY * dY + dZ * dZ;
}

/** One search on its way through the tree. */
struct LYRBSPnode::Search
{
    const LYRPointCloud3d& m_rCloud;
    const LYRPoint3d& m_rPoint;
    const double* m_pProjections;
    int m_nBest;
    double m_dBestSquare;
    int m_nEntered = 0; // nodes
};

int LYRBSPnode::findNearestIndex(const LYRPointCloud3d& rCloud, const LYRPoint3d& p) const
{
    if (!isFinite(p)) {
        return -1; // no distance to it is a number, nor within reach
    }
    const Projections projections = projectionsOf(p);
    double dBestSquare = 1e35;
    return findNearestIndex(rCloud, p, projections.data(), -1, dBestSquare);
}

int LYRBSPnode::findNearestIndex(const LYRPointCloud3d& rCloud, const LYRPoint3d& p, const double* pProjections,
                                 int nBest, double& rBestSquare) const
{
    Search state{rCloud, p, pProjections, nBest, rBestSquare};
    search(state);
    rBestSquare = state.m_dBestSquare;
    return state.m_nBest;
}

void LYRBSPnode::search(Search& rSearch) const
{
    // Most searches are over before, and a box costs more than a split.
    constexpr int sk_nSplitsAlone = 128;
    raise(num_closest);
    ++rSearch.m_nEntered;
    const LYRBSPnode* pNode = this;
    while (!pNode->isLeaf()) {
        const Split& rSplit = pNode->m_split;
        const double d = rSearch.m_pProjections[rSplit.m_nDirection] - rSplit.m_dThreshold;
        const bool bBelow = d < 0.0;
        (bBelow ? rSplit.m_pBelow : rSplit.m_pAbove)->search(rSearch);
        if (isOutOfReach(d, rSplit.m_nDirection, rSearch.m_rPoint, rSearch.m_dBestSquare)) {
            return;
        }
        pNode = bBelow ? rSplit.m_pAbove : rSplit.m_pBelow;
        if (rSearch.m_nEntered > sk_nSplitsAlone &&
            pNode->squareDistanceToBox(rSearch.m_rPoint) >= rSearch.m_dBestSquare) {
            return;
        }
        raise(num_closest);
        raise(num_both);
        ++rSearch.m_nEntered;
    }
    pNode->searchLeaf(rSearch);
}

void LYRBSPnode::searchLeaf(Search& rSearch) const
{
    raise(num_leaf);
    for (int i = 0; i < m_nCount; ++i) {
        const double dSquare = rSearch.m_rCloud.elementAt(m_anIndices[i])->squareDistance(rSearch.m_rPoint);
        if (dSquare < rSearch.m_dBestSquare) {
            rSearch.m_dBestSquare = dSquare;
            rSearch.m_nBest = m_anIndices[i];
        }
    }
}

} // namespace kestrova
