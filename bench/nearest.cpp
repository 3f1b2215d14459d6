// The nearest-point index beside nanoflann's, as milliseconds and ratios, on 100000 points of several shapes.
//
// Both search the same points for the same queries, and their answers are compared before anything is timed. Ours reads
// points through the cloud's pointers, as it must; theirs from an array of their own.
#include "SideBySide.h"

#include "geometry/LYRBSP.h"
#include "geometry/LYRPointCloud3d.h"

#include <nanoflann.hpp>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>

namespace {

using kestrova::LYRBSPnode;
using kestrova::LYRPoint3d;
using kestrova::LYRPointCloud3d;

constexpr int sk_nPoints = 100000;
constexpr int sk_nQueries = 20000;

using Point = std::array<double, 3>;
using Random = std::mt19937;

double uniform(Random& rRandom)
{
    return std::uniform_real_distribution<double>(-1, 1)(rRandom);
}

double noise(Random& rRandom)
{
    return std::normal_distribution<double>(0, 0.002)(rRandom);
}

/** Beside the points, as when one cloud is held against another. */
Point near(Random& r, const Point& rPoint)
{
    return {rPoint[0] + noise(r), rPoint[1] + noise(r), rPoint[2] + noise(r)};
}

Point farAbove(Random& r, const Point& rPoint)
{
    return {rPoint[0], rPoint[1], rPoint[2] + 2 + uniform(r)};
}

struct Shape
{
    const char* m_pszName;
    Point (*m_pPoint)(Random&);
    Point (*m_pQuery)(Random&, const Point& rPoint) = near;
};

const Shape sk_aShapes[] = {
    {"cube",
     [](Random& r) {
         return Point{uniform(r), uniform(r), uniform(r)};
     }},
    {"floor and wall",
     [](Random& r) {
         const double x = 3 * uniform(r);
         return r() % 2 == 0 ? Point{x, 1 + noise(r), 4 + 2 * uniform(r)} : Point{x, uniform(r), 6 + noise(r)};
     }},
    {"sphere",
     [](Random& r) {
         const Point p = {uniform(r), uniform(r), uniform(r)};
         const double dScale = (1 + noise(r)) / std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
         return Point{p[0] * dScale, p[1] * dScale, p[2] * dScale};
     }},
    {"clusters",
     [](Random& r) {
         const double d = static_cast<double>(r() % 50);
         return Point{d + noise(r), std::sin(d) + noise(r), std::cos(3 * d) + noise(r)};
     }},
    {"space diagonal",
     [](Random& r) {
         const double d = uniform(r);
         return Point{d + noise(r), d + noise(r), d + noise(r)};
     }},
    {"flat, from above",
     [](Random& r) {
         return Point{uniform(r), uniform(r), 0};
     },
     farAbove},
};

/** What nanoflann asks of its points. */
struct Dataset
{
    [[nodiscard]] std::size_t kdtree_get_point_count() const { return m_points.size(); }
    [[nodiscard]] double kdtree_get_pt(std::size_t uPoint, std::size_t uAxis) const { return m_points[uPoint][uAxis]; }
    template<typename Box>
    bool kdtree_get_bbox(Box&) const
    {
        return false;
    }

    std::vector<Point> m_points;
};

using TheirIndex =
    nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<double, Dataset>, Dataset, 3, std::size_t>;

std::size_t theirNearest(const TheirIndex& rIndex, const Point& rQuery)
{
    std::size_t uNearest = 0;
    double dSquare = 0;
    rIndex.knnSearch(rQuery.data(), 1, &uNearest, &dSquare);
    return uNearest;
}

int ourNearest(const LYRPointCloud3d& rCloud, const Point& rQuery)
{
    return rCloud.findNearestIndex({rQuery[0], rQuery[1], rQuery[2]});
}

void printRow(const char* pszShape, const char* pszWork, const bench::Comparison& rTimes)
{
    std::printf("  %-16s %-24s %9.3f %9.3f %8.2f", pszShape, pszWork, rTimes.m_dOurMs, rTimes.m_dTheirMs,
                1 / rTimes.m_dRatio);
}

/** Ends the program unless both find points at the same distance for every query. */
void expectSameAnswers(const LYRPointCloud3d& rCloud, const TheirIndex& rIndex, const Dataset& rQueries)
{
    for (const Point& q : rQueries.m_points) {
        const LYRPoint3d query(q[0], q[1], q[2]);
        const double dOurs = rCloud.elementAt(ourNearest(rCloud, q))->squareDistance(query);
        const double dTheirs = rCloud.elementAt(static_cast<int>(theirNearest(rIndex, q)))->squareDistance(query);
        if (dOurs > dTheirs) {
            std::fprintf(stderr, "a nearer point was missed; nothing was timed\n");
            std::exit(1);
        }
    }
}

void compareShape(const Shape& rShape)
{
    Random random(1);
    Dataset points;
    Dataset queries;
    LYRPointCloud3d cloud(sk_nPoints);
    for (int i = 0; i < sk_nPoints; ++i) {
        const Point p = rShape.m_pPoint(random);
        points.m_points.push_back(p);
        cloud.insertPoint(new LYRPoint3d(p[0], p[1], p[2]));
    }
    for (int i = 0; i < sk_nQueries; ++i) {
        queries.m_points.push_back(rShape.m_pQuery(random, rShape.m_pPoint(random)));
    }
    std::unique_ptr<TheirIndex> pTheirs;
    const auto build = [&] { pTheirs = std::make_unique<TheirIndex>(3, points); };
    printRow(rShape.m_pszName, "build", bench::compare([&] { cloud.indexPoints(); }, build, 9));
    std::printf("\n");
    expectSameAnswers(cloud, *pTheirs, queries);

    const int anBefore[] = {LYRBSPnode::num_closest, LYRBSPnode::num_leaf, LYRBSPnode::num_both};
    std::size_t uSum = 0; // keeps the answers alive
    const auto askOurs = [&] {
        for (const Point& q : queries.m_points) {
            uSum += static_cast<std::size_t>(ourNearest(cloud, q));
        }
    };
    askOurs();
    const double dVisits[] = {double(LYRBSPnode::num_closest - anBefore[0]) / sk_nQueries,
                              double(LYRBSPnode::num_leaf - anBefore[1]) / sk_nQueries,
                              double(LYRBSPnode::num_both - anBefore[2]) / sk_nQueries};
    const auto askTheirs = [&] {
        for (const Point& q : queries.m_points) {
            uSum += theirNearest(*pTheirs, q);
        }
    };
    printRow(rShape.m_pszName, "20000 queries", bench::compare(askOurs, askTheirs));
    std::printf("   %5.1f nodes, %4.1f leaves, %4.1f both sides a query%s\n", dVisits[0], dVisits[1], dVisits[2],
                uSum == 0 ? " (no answers)" : "");
}

} // namespace

int main()
{
    std::printf("%d points, one thread\n  %-16s %-24s %9s %9s %8s\n", sk_nPoints, "shape", "work", "ours ms",
                "theirs ms", "ours/theirs");
    for (const Shape& rShape : sk_aShapes) {
        compareShape(rShape);
    }
    std::printf("\nBelow 1, ours is faster.\n");
    return 0;
}
