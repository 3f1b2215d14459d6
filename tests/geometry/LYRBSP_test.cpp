// Nearest-point search against looking at every point.
#include "geometry/LYRBSP.h"

#include "geometry/LYRPointCloud3d.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

using namespace kestrova;

namespace {

using Random = std::mt19937;

double uniform(Random& rRandom)
{
    return std::uniform_real_distribution<double>(-1, 1)(rRandom);
}

double below(Random& rRandom, unsigned uEnd)
{
    return static_cast<double>(rRandom() % uEnd);
}

struct Shape
{
    const char* m_pszName;
    LYRPoint3d (*m_pPoint)(Random&, int i);
};

const Shape sk_aShapes[] = {
    {"cube", [](Random& r, int) { return LYRPoint3d(uniform(r), uniform(r), uniform(r)); }},
    {"grid with copies", [](Random& r, int) { return LYRPoint3d(below(r, 20), below(r, 20), below(r, 20)); }},
    {"steps of rounding, far out",
     [](Random& r, int) {
         const auto step = [&r] { return 1e9 + 1.2e-7 * below(r, 10); };
         return LYRPoint3d(step(), step(), step());
     }},
    {"clusters of copies and of neighbours",
     [](Random& r, int i) {
         const double d = i % 50 / 7.0;
         return i % 2 == 0 ? LYRPoint3d(d, -d, d * d)
                           : LYRPoint3d(d, std::nextafter(-d, below(r, 2)), d * d + 1e-9 * uniform(r));
     }},
    {"all scales, and what is no number",
     [](Random& r, int i) {
         const double d = std::pow(10, 17 * uniform(r));
         const auto huge = [&r] { return uniform(r) < 0 ? -1.7e308 : 1.7e308; };
         switch (i % 9) {
         case 5:
             return LYRPoint3d(d, HUGE_VAL, d);
         case 6:
             return LYRPoint3d(NAN, NAN, NAN);
         case 7:
             return LYRPoint3d(huge(), d, huge());
         default:
             return LYRPoint3d(d * uniform(r), -d, d * uniform(r));
         }
     }},
};

/** The least squared distance to p below the limit of the search; the limit when there is none. */
double leastSquare(const LYRPointCloud3d& rCloud, const LYRPoint3d& p)
{
    double dLeast = 1e35;
    for (int i = 0; i < rCloud.size(); ++i) {
        const double d = rCloud.elementAt(i)->squareDistance(p);
        dLeast = d < dLeast ? d : dLeast;
    }
    return dLeast;
}

/** Points of the cloud, points beside them, and points anywhere. */
LYRPoint3d queryAt(const Shape& rShape, Random& rRandom, int i)
{
    LYRPoint3d p = rShape.m_pPoint(rRandom, i);
    if (i % 3 == 1) {
        p.setXYZ(p.x() * (1 + 1e-15 * (i % 5)), p.y() + 1e-7 * uniform(rRandom), p.z() + 0.5 * below(rRandom, 2));
    }
    return p;
}

void checkCloud(const Shape& rShape, Random& rRandom, int nPoints, int nQueries)
{
    LYRPointCloud3d cloud;
    for (int i = 0; i < nPoints; ++i) {
        cloud.insertPoint(new LYRPoint3d(rShape.m_pPoint(rRandom, i)));
    }
    cloud.indexPoints();
    for (int i = 0; i < nQueries; ++i) {
        const LYRPoint3d p = queryAt(rShape, rRandom, i);
        const int nFound = cloud.findNearestIndex(p);
        ASSERT_EQ(nFound < 0 ? 1e35 : cloud.elementAt(nFound)->squareDistance(p), leastSquare(cloud, p)) << i;
    }
}

void setEpsilonFor(double dEpsilon, const auto& rAction)
{
    LYRPoint3d::setEpsilon(dEpsilon);
    rAction();
    LYRPoint3d::setEpsilon(0.0);
}

} // namespace

TEST(LYRBSP, IsExactForEveryShapeAndSize)
{
    for (const Shape& rShape : sk_aShapes) {
        for (const int nPoints : {0, 1, 2, 5, 6, 7, 11, 40, 300, 3000, 100000}) {
            SCOPED_TRACE(testing::Message() << rShape.m_pszName << ", " << nPoints);
            for (unsigned uSeed = 0; uSeed < (nPoints > 40 ? 1 : 200); ++uSeed) {
                Random random(uSeed);
                ASSERT_NO_FATAL_FAILURE(checkCloud(rShape, random, nPoints, nPoints > 40 ? 60 : 20)) << uSeed;
            }
        }
    }
}

// The winners and the counts come from a model outside this library that shares no code with it. It grants nothing for
// rounding, so on the lattice, where queries lie halfway between points, only the winners of ties are compared.
TEST(LYRBSP, SplitsAndVisitsInItsOwnOrder)
{
    const struct
    {
        bool m_bLattice;
        int m_nWinners;
    } aCases[] = {{false, 1263697}, {true, 666859}};
    for (const auto& c : aCases) {
        unsigned uState = 77;
        const auto next = [&uState] {
            uState = (uState * 1103515245u + 12345u) % (1u << 31);
            return uState / 2147483648.0;
        };
        LYRPointCloud3d cloud;
        for (int i = 0; i < (c.m_bLattice ? 252 : 500); ++i) {
            const double x = c.m_bLattice ? i % 7 : next();
            const double y = c.m_bLattice ? i / 7 % 6 : 2 * next();
            const double z = c.m_bLattice ? i / 42 : next();
            cloud.insertPoint(new LYRPoint3d(x, y, c.m_bLattice ? z : z - next()));
        }
        cloud.indexPoints();
        const int anBefore[] = {LYRBSPnode::num_leaf, LYRBSPnode::num_closest, LYRBSPnode::num_both};
        int nWinners = 0;
        for (int k = 1; k <= 100; ++k) {
            const double x = c.m_bLattice ? std::floor(14 * next()) / 2 : next();
            const double y = c.m_bLattice ? std::floor(12 * next()) / 2 : 2 * next();
            const double z = c.m_bLattice ? std::floor(12 * next()) / 2 : next();
            nWinners += k * cloud.findNearestIndex({x, y, z});
        }
        EXPECT_EQ(nWinners, c.m_nWinners) << c.m_bLattice;
        EXPECT_TRUE(c.m_bLattice ||
                    (LYRBSPnode::num_leaf - anBefore[0] == 518 && LYRBSPnode::num_closest - anBefore[1] == 1870 &&
                     LYRBSPnode::num_both - anBefore[2] == 418));
    }
}

TEST(LYRBSP, TheEpsilonFoldsWhatIsClose)
{
    LYRPointCloud3d cloud;
    for (int i = 0; i < 20; ++i) {
        cloud.insertPoint(new LYRPoint3d(1, 2, 3 + 1e-4 * i));
    }
    EXPECT_EQ(cloud.findNearestIndex({1, 2, 4}), 19);
    setEpsilonFor(1e-5, [&] { cloud.indexPoints(); });
    EXPECT_EQ(cloud.findNearestIndex({1, 2, 4}), 0) << "one point stands for all";
    setEpsilonFor(1e-12, [&] { cloud.indexPoints(); });
    EXPECT_EQ(cloud.findNearestIndex({1, 2, 4}), 19) << "too small to count";
    cloud.elementAt(0)->setXYZ(1, 2, 4);
    EXPECT_EQ(cloud.findNearestIndex({1, 2, 4}), 19) << "moved points need a new index";
    cloud.insertPoint(new LYRPoint3d(0, 0, 3e6));
    EXPECT_EQ(cloud.findNearestIndex({1, 2, 4}), 0) << "insertion drops it";
    EXPECT_EQ(cloud.findNearestIndex({1, 2, 1e6}), -1) << "beyond the reach of the plain search";
    cloud.indexPoints();
    EXPECT_EQ(cloud.findNearestIndex({1, 2, 1e6}), 0);
    cloud.deleteElementAt(20);
    EXPECT_EQ(cloud.findNearestIndex({1, 2, 1e6}), -1) << "deletion drops it";
    LYRPointCloud3d tie;
    for (int i = 0; i < 8; ++i) {
        tie.insertPoint(new LYRPoint3d(i < 4 ? -1 : 1, i % 4 < 2 ? -1 : 1, 0));
    }
    EXPECT_EQ(tie.findNearestIndex({0, 0, 0}), 0) << "the lowest index of equals";
    tie.indexPoints();
    EXPECT_EQ(tie.findNearestIndex({0, 0, 0}), 4) << "split along x, the first of equal spreads; the upper side first";
}

TEST(LYRBSP, CoincidentPointsAreOneLeafWithoutAnEpsilonToo)
{
    for (int i = 1; i < 10; ++i) { // means that rounding leaves below, at and above the points
        LYRPointCloud3d cloud;
        for (int k = 0; k < 3000; ++k) {
            cloud.insertPoint(new LYRPoint3d(0.1 * i, 0.1 / i, i));
        }
        cloud.indexPoints();
        const int nBefore = LYRBSPnode::num_leaf;
        EXPECT_EQ(cloud.findNearestIndex({1, 2, 4}), 0);
        EXPECT_EQ(LYRBSPnode::num_leaf, nBefore + 1);
    }
}
