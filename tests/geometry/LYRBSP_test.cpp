// Nearest-point search against looking at every point.
#include "geometry/LYRBSP.h"

#include "geometry/LYRPointCloud3d.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

using namespace kestrova;

namespace {

using Random = std::mt19937;

double any(Random& rRandom)
{
    return std::uniform_real_distribution<double>(-1, 1)(rRandom);
}

LYRPoint3d pointOfAnyScale(Random& r, int i)
{
    const double d = std::pow(10, 17 * any(r));
    const double dHuge = any(r) < 0 ? -1.7e308 : 1.7e308;
    const LYRPoint3d aPoints[] = {{d, HUGE_VAL, d}, {NAN, NAN, NAN}, {dHuge, d, -dHuge}, {dHuge, d, dHuge}};
    return i % 9 < 4 ? aPoints[i % 9] : LYRPoint3d(d * any(r), -d, d * any(r));
}

const struct
{
    const char* m_pszName;
    LYRPoint3d (*m_pPoint)(Random&, int i);
} sk_aShapes[] = {
    {"cube", [](Random& r, int) { return LYRPoint3d(any(r), any(r), any(r)); }},
    {"grid with copies",
     [](Random& r, int) { return LYRPoint3d(double(r() % 20), double(r() % 20), double(r() % 9)); }},
    {"steps of rounding, far out",
     [](Random& r, int) {
         const auto step = [&r] { return 1e9 + 1.2e-7 * double(r() % 10); };
         return LYRPoint3d(step(), step(), step());
     }},
    {"clusters of copies and of neighbours",
     [](Random& r, int i) {
         const double d = i % 50 / 7.0;
         return LYRPoint3d(d, i % 2 == 0 ? -d : std::nextafter(-d, 1), i % 4 == 3 ? d + 1e-9 * any(r) : d);
     }},
    {"all scales, and what is no number", pointOfAnyScale},
};

double squareOfNearest(const LYRPointCloud3d& rCloud, const LYRPoint3d& p)
{
    double dLeast = 1e35; // the reach of the search
    for (int i = 0; i < rCloud.size(); ++i) {
        const double d = rCloud.elementAt(i)->squareDistance(p);
        dLeast = d < dLeast ? d : dLeast;
    }
    return dLeast;
}

template<typename PointAt>
void fillAndIndex(LYRPointCloud3d& rCloud, int nPoints, const PointAt& pointAt, double dEpsilon = 0)
{
    rCloud.empty();
    for (int i = 0; i < nPoints; ++i) {
        rCloud.insertPoint(new LYRPoint3d(pointAt(i)));
    }
    LYRPoint3d::setEpsilon(dEpsilon);
    rCloud.indexPoints();
    LYRPoint3d::setEpsilon(0);
}

} // namespace

TEST(LYRBSP, IsExactForEveryShapeAndSize)
{
    LYRPointCloud3d cloud;
    for (const auto& rShape : sk_aShapes) {
        for (const int nPoints : {0, 1, 2, 5, 6, 7, 11, 40, 300, 3000, 100000}) {
            for (unsigned uSeed = 0; uSeed < (nPoints > 40 ? 1 : 200); ++uSeed) {
                Random random(uSeed);
                fillAndIndex(cloud, nPoints, [&](int i) { return rShape.m_pPoint(random, i); });
                for (int i = 0; i < (nPoints > 40 ? 60 : 20); ++i) {
                    LYRPoint3d p = rShape.m_pPoint(random, i);
                    if (i % 3 == 1) { // beside the shape
                        p.setXYZ(p.x() * (1 + 1e-15), p.y() + 1e-7 * any(random), p.z() + 0.5 * double(i % 2));
                    }
                    const int nFound = cloud.findNearestIndex(p);
                    ASSERT_EQ(nFound < 0 ? 1e35 : cloud.elementAt(nFound)->squareDistance(p), squareOfNearest(cloud, p))
                        << rShape.m_pszName << ", " << nPoints << " points, seed " << uSeed << ", query " << i;
                }
            }
        }
    }
}

// The winners and the counts come from a model outside this library that shares no code with it.
TEST(LYRBSP, SplitsAndVisitsInItsOwnOrder)
{
    unsigned uState = 77;
    const auto next = [&uState] {
        uState = (uState * 1103515245u + 12345u) % (1u << 31);
        return uState / 2147483648.0;
    };
    LYRPointCloud3d cloud;
    fillAndIndex(cloud, 500, [&](int) {
        const double x = next(), y = 2 * next(), z = next();
        return LYRPoint3d(x, y, z - next());
    });
    const int anBefore[] = {LYRBSPnode::num_leaf, LYRBSPnode::num_closest, LYRBSPnode::num_both};
    int nWinners = 0;
    for (int k = 1; k <= 100; ++k) {
        const double x = next(), y = 2 * next(), z = next();
        nWinners += k * cloud.findNearestIndex({x, y, z});
    }
    EXPECT_TRUE(nWinners == 1263697 && LYRBSPnode::num_leaf - anBefore[0] == 518 &&
                LYRBSPnode::num_closest - anBefore[1] == 1870 && LYRBSPnode::num_both - anBefore[2] == 418);
    fillAndIndex(cloud, 8, [](int i) { return LYRPoint3d(i < 4 ? -1 : 1, i % 4 < 2 ? -1 : 1, 0); });
    EXPECT_EQ(cloud.findNearestIndex({0, 0, 0}), 4)
        << "split along x, the first of equal spreads; the upper side first";
    cloud.deleteElementAt(7);
    EXPECT_EQ(cloud.findNearestIndex({0, 0, 0}), 0) << "without an index the lowest of equals";
}

/** Two clouds in planes, one of them with ties: a search from far off neither enters the whole tree nor loses a point.
 */
TEST(LYRBSP, FlatCloudsAreFoundFromAfar)
{
    LYRPointCloud3d cloud;
    for (const double dGrid : {0.0, 100.0}) {
        Random random(3);
        const auto place = [&] { return dGrid == 0 ? any(random) : std::round(dGrid * any(random)) / dGrid; };
        fillAndIndex(cloud, 30000, [&](int) { return LYRPoint3d(place(), place(), 0); });
        for (int i = 0; i < 30; ++i) {
            const LYRPoint3d p(any(random), any(random), 2 + any(random));
            const int nBefore = LYRBSPnode::num_closest;
            const int nFound = cloud.findNearestIndex(p);
            EXPECT_LT(LYRBSPnode::num_closest - nBefore, 3000);
            ASSERT_EQ(cloud.elementAt(nFound)->squareDistance(p), squareOfNearest(cloud, p));
        }
    }
}

TEST(LYRBSP, WhatIsCloseOrCoincidesFolds)
{
    LYRPointCloud3d cloud;
    const auto close = [](int i) { return LYRPoint3d(1, 2, 3 + 1e-4 * i); };
    fillAndIndex(cloud, 20, close, 1e-5);
    EXPECT_EQ(cloud.findNearestIndex({1, 2, 4}), 0) << "one point stands for all";
    fillAndIndex(cloud, 20, close, 1e-12);
    EXPECT_EQ(cloud.findNearestIndex({1, 2, 4}), 19) << "too small to count";
    cloud.elementAt(0)->setXYZ(1, 2, 4);
    EXPECT_EQ(cloud.findNearestIndex({1, 2, 4}), 19) << "moved points need a new index";
    EXPECT_EQ(cloud.findNearestIndex({1, 2, 1e6}), 19);
    cloud.insertPoint(new LYRPoint3d(0, 0, 3e6));
    EXPECT_EQ(cloud.findNearestIndex({1, 2, 4}), 0) << "insertion drops it";
    EXPECT_EQ(cloud.findNearestIndex({1, 2, 1e6}), -1) << "beyond the reach of the plain search";
    for (int i = 1; i < 10; ++i) { // means that rounding leaves below, at and above the points
        fillAndIndex(cloud, 3000, [i](int) { return LYRPoint3d(0.1 * i, 0.1 / i, i); });
        const int nBefore = LYRBSPnode::num_leaf;
        EXPECT_TRUE(cloud.findNearestIndex({1, 2, 4}) == 0 && LYRBSPnode::num_leaf == nBefore + 1) << i;
    }
}
