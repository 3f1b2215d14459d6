// Planes, and their fits to clouds with known truth.
#include "geometry/LYRPlane.h"
#include "geometry/LYRPointCloud3d.h"
#include "geometry/LYRTransform3d.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <random>

using namespace kestrova;
using testing::DoubleEq;
using testing::ElementsAre;

namespace {

constexpr double sk_dMax = std::numeric_limits<double>::max();

std::vector<double> coefficients(const LYRPlane& rPlane)
{
    std::vector<double> v(4);
    rPlane.getControlValues(v[0], v[1], v[2], v[3]);
    EXPECT_TRUE(std::abs(rPlane.getNormal().x() - v[0]) < 1e-15 || std::isnan(v[0]));
    return v;
}

void fill(LYRPointCloud3d& rCloud, const std::vector<LYRPoint3d>& rPoints)
{
    for (const LYRPoint3d& p : rPoints) {
        rCloud.insertPoint(std::make_unique<LYRPoint3d>(p).release());
    }
}

struct Fit
{
    bool (LYRPlane::*m_pFit)(const LYRPointCloud3d&, int, double, double&, int&, int&);
    const char* m_pszName;
    double m_dMaxTurn; // radians; by least squares the plane must keep away from the origin
};
const Fit sk_aFits[] = {{&LYRPlane::eigenFitToPoints, "eigen", 3.1},
                        {&LYRPlane::leastSquaresFitToPoints, "least squares", 0.5}};

struct FitResult
{
    LYRPlane m_plane;
    bool m_bFitted = false;
    double m_dStdDev = -1;
    int m_nIterations = -1;
    int m_nRemoved = -1;
};

FitResult fitted(const Fit& rFit, const LYRPointCloud3d& rCloud, int nMaxIterations, double dMultiple)
{
    FitResult r;
    r.m_bFitted =
        (r.m_plane.*rFit.m_pFit)(rCloud, nMaxIterations, dMultiple, r.m_dStdDev, r.m_nIterations, r.m_nRemoved);
    return r;
}

} // namespace

TEST(LYRPlane, SettersNormalise)
{
    EXPECT_THAT(coefficients(LYRPlane()), ElementsAre(1, 0, 0, 0));
    LYRPlane plane({1, 2, 3}, {2, 2, 3}, LYRPoint3d(1, 4, 3));
    EXPECT_THAT(coefficients(plane), ElementsAre(0, 0, 1, -3));
    EXPECT_THAT(coefficients(LYRPlane({1, 2, 3}, {2, 2, 3}, LYRVector(0.0, -2.0, 0.0))), ElementsAre(0, 0, -1, 3));
    EXPECT_THAT(coefficients(LYRPlane({1, 1, 1}, {2, 2, 2}, LYRPoint3d(3, 3, 3))), ElementsAre(1, 0, 0, -1))
        << "on a line";
    plane.setCoefficients(0, -3, 4, 10);
    EXPECT_THAT(coefficients(plane), ElementsAre(0, DoubleEq(-0.6), 0.8, 2));
    plane.set({0, 5, 0}, LYRVector(0.0, 2.0, 0.0));
    EXPECT_THAT(coefficients(plane), ElementsAre(0, 1, 0, -5));
    EXPECT_EQ(plane.distance({7, 8, 9}), 3);
    EXPECT_EQ(plane.project({7, 8, 9}).y(), 5);
    EXPECT_EQ(plane.project({7, 5, 9}).x(), 7);
    plane.set({0, 0, 0}, LYRVector(0.0, 0.0, 1.0));
    EXPECT_EQ(plane.project({0, 0, 3}).x(), 1) << "the origin becomes (1, 0, 0)";
    plane.setCoefficients(0, 0, 0, 1);
    EXPECT_TRUE(std::isnan(coefficients(plane)[0]));
}

TEST(LYRPlane, AMotionHasOnePlaneUnderThreeNames)
{
    LYRTransform3d transform(1, 2, 3, 0.4, -0.3, 0.9);
    const LYRVector up = transform.vectorZ();
    for (const auto& [plane, nSign] :
         {std::pair(transform.planeXY(), 1), {transform.planeYZ(), 1}, {transform.planeXZ(), -1}}) {
        EXPECT_NEAR(plane.getNormal().dot(up), nSign, 1e-12);
        EXPECT_NEAR(plane.distance({1, 2, 3}), 0, 1e-12);
    }
    LYRPointCloud3d cloud;
    fill(cloud, {{0, 0, 0}, {1, 2, 3}});
    transform.apply(cloud);
    LYRPoint3d moved(1, 2, 3);
    transform.apply(moved);
    EXPECT_TRUE(cloud.elementAt(0)->z() == 3 && cloud.elementAt(1)->x() == moved.x());
}

// 2 mm of noise, and one point in eight anywhere up to half a metre away, on one side twice as often.
TEST(LYRPlaneFit, FindsThePlaneAmongOutliers)
{
    for (const Fit& rFit : sk_aFits) {
        double dWorstDegrees = 0;
        double dWorstDistance = 0;
        for (unsigned uSeed = 0; uSeed < 1000; ++uSeed) {
            std::mt19937 random(uSeed);
            std::normal_distribution<double> normal;
            std::uniform_real_distribution<double> uniform(-1, 1);
            const double dTurn = rFit.m_dMaxTurn;
            LYRTransform3d pose(uniform(random), uniform(random), 3 + uniform(random), dTurn * uniform(random),
                                dTurn * uniform(random), 0);
            std::vector<LYRPoint3d> points;
            for (int i = 0; i < 400; ++i) {
                const double dAway =
                    i % 8 == 0 ? (i % 3 == 0 ? -0.5 : 0.5) * std::abs(uniform(random)) : 0.002 * normal(random);
                points.emplace_back(uniform(random), uniform(random), dAway);
                pose.apply(points.back());
            }
            LYRPointCloud3d cloud;
            fill(cloud, points);
            const FitResult r = fitted(rFit, cloud, 30, 2.5);
            ASSERT_TRUE(r.m_bFitted && r.m_nRemoved >= 40 && r.m_nIterations < 30)
                << rFit.m_pszName << " " << uSeed << " " << r.m_nRemoved << " " << r.m_nIterations;
            const double dCosine = std::min(1.0, std::abs(r.m_plane.getNormal().dot(pose.vectorZ())));
            dWorstDegrees = std::max(dWorstDegrees, std::acos(dCosine) * 180 / std::numbers::pi);
            dWorstDistance = std::max(dWorstDistance, std::abs(r.m_plane.distance(pose.location())));
            ASSERT_NEAR(r.m_dStdDev, 0.0018, 0.0004) << "the tails of the noise go too";
        }
        EXPECT_LT(dWorstDegrees, 0.05) << rFit.m_pszName;
        EXPECT_LT(dWorstDistance, 0.0005) << rFit.m_pszName;
    }
}

TEST(LYRPlaneFit, RoundsEndAsTheyShould)
{
    const std::vector<LYRPoint3d> flat = {{0, 0, 2}, {1, 0, 2}, {0, 1, 2}, {1, 1, 2}};
    std::vector<LYRPoint3d> rough; // 13 points 0.01 above, 12 as far below
    for (int i = 0; i < 25; ++i) {
        rough.emplace_back(i % 5 - 2, i / 5 - 2, i % 2 == 0 ? 2.01 : 1.99);
    }
    std::vector<LYRPoint3d> outlier = rough;
    outlier.emplace_back(0, 0, 3);
    const double dOneDeviation = std::sqrt((25e-4 - 25 * 0.0004 * 0.0004) / 24);
    const double dWithOutlier = std::sqrt((13 * 2.01 * 2.01 + 12 * 1.99 * 1.99 + 9 - 53.01 * 53.01 / 26) / 25);
    struct Case
    {
        const char* m_pszWhat;
        std::vector<LYRPoint3d> m_points;
        int m_nMaxIterations;
        double m_dMultiple;
        int m_anIterations[2]; // by either fit
        int m_nRemoved;
        double m_adStdDev[2];
    };
    const Case aCases[] = {
        {"exact", flat, 9, 2, {1, 1}, 0, {0, 0}},
        {"no round", rough, 0, 2, {0, 1}, 0, {sk_dMax, 0}},
        {"one round", outlier, 1, 2, {1, 1}, 0, {dWithOutlier, 0}},
        {"nothing to remove", rough, 9, 4, {1, 1}, 0, {dOneDeviation, dOneDeviation}},
        {"one outlier", outlier, 9, 3, {2, 2}, 1, {dOneDeviation, dOneDeviation}},
        {"one outlier, no more rounds", outlier, 2, 3, {2, 2}, 1, {dOneDeviation, dWithOutlier}},
    };
    for (const Case& c : aCases) {
        LYRPointCloud3d cloud;
        fill(cloud, c.m_points);
        for (int i = 0; i < 2; ++i) {
            SCOPED_TRACE(std::string(c.m_pszWhat) + ", " + sk_aFits[i].m_pszName);
            const FitResult r = fitted(sk_aFits[i], cloud, c.m_nMaxIterations, c.m_dMultiple);
            EXPECT_TRUE(r.m_bFitted);
            EXPECT_EQ(r.m_nIterations, c.m_anIterations[i]);
            EXPECT_EQ(r.m_nRemoved, c.m_nRemoved);
            EXPECT_TRUE(r.m_dStdDev == c.m_adStdDev[i] || std::abs(r.m_dStdDev - c.m_adStdDev[i]) < 1e-5);
            EXPECT_EQ(cloud.size(), static_cast<int>(c.m_points.size()));
        }
    }
}

TEST(LYRPlaneFit, CloudsWithoutAPlane)
{
    LYRPointCloud3d cloud;
    fill(cloud, {{1, 2, 3}, {2, 3, 4}});
    LYRPlane plane;
    EXPECT_FALSE(plane.fitToPoints(cloud, 5, 2.0)) << "two points";
    fill(cloud, {{3, 4, 5}, {4, 5, 6}});
    EXPECT_FALSE(plane.fitToPoints(cloud, 0, 2.0) || plane.fitToPoints(cloud, 5, 0.0));
    EXPECT_THAT(coefficients(plane), ElementsAre(1, 0, 0, 0)) << "stays";
    LYRPointCloud3d line;
    fill(line, {{1, 0, 7}, {2, 0, 7}, {3, 0, 7}});
    ASSERT_TRUE(plane.fitToPoints(line, 5, 2.0));
    EXPECT_THAT(coefficients(plane), ElementsAre(0, 0, -1, 7)) << "no direction of least spread";
    for (const Fit& rFit : sk_aFits) { // what is left after everything was removed
        const FitResult none = fitted(rFit, LYRPointCloud3d(), 5, 2.0);
        EXPECT_EQ(none.m_bFitted, &rFit == &sk_aFits[0]);
    }
    LYRPointCloud3d flat;
    fill(flat, {{1, 0, 0}, {2, 3, 0}, {3, 1, 0}});
    EXPECT_FALSE(fitted(sk_aFits[1], flat, 1, 2.0).m_bFitted) << "through the origin";
    LYRPointCloud3d three;
    fill(three, {{1, 0, 2}, {0, 1, 2}, {1, 1, 3}});
    const FitResult r = fitted(sk_aFits[1], three, 1, 2.0);
    EXPECT_NEAR(std::abs(r.m_plane.getNormal().dot(LYRPlane({1, 0, 2}, {0, 1, 2}, LYRPoint3d(1, 1, 3)).getNormal())), 1,
                1e-12);
}
