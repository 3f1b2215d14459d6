// Planes, and their fits to clouds with known truth.
#include "geometry/LYRPlane.h"
#include "geometry/LYRPointCloud3d.h"
#include "geometry/LYRTransform3d.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <random>

using namespace kestrova;
using testing::DoubleEq;
using testing::ElementsAre;

namespace {

std::vector<double> coefficients(const LYRPlane& rPlane)
{
    std::vector<double> v(4);
    rPlane.getControlValues(v[0], v[1], v[2], v[3]);
    EXPECT_TRUE(std::abs(rPlane.getNormal().x() - v[0]) < 1e-15 || std::isnan(v[0]));
    return v;
}

struct Cloud : LYRPointCloud3d
{
    explicit Cloud(const std::vector<LYRPoint3d>& rPoints)
    {
        for (const LYRPoint3d& p : rPoints) {
            insertPoint(new LYRPoint3d(p));
        }
    }
};

struct Fit
{
    explicit Fit(bool bEigen, const LYRPointCloud3d& rCloud, int nMaxIterations, double dMultiple)
    {
        const auto fit = bEigen ? &LYRPlane::eigenFitToPoints : &LYRPlane::leastSquaresFitToPoints;
        m_bFitted = (m_plane.*fit)(rCloud, nMaxIterations, dMultiple, m_dStdDev, m_nIterations, m_nRemoved);
    }
    LYRPlane m_plane;
    bool m_bFitted;
    double m_dStdDev = -1;
    int m_nIterations = -1;
    int m_nRemoved = -1;
};

} // namespace

TEST(LYRPlane, SettersNormalise)
{
    EXPECT_THAT(coefficients(LYRPlane()), ElementsAre(1, 0, 0, 0));
    LYRPlane plane({1, 2, 3}, {2, 2, 3}, LYRPoint3d(1, 4, 3));
    EXPECT_THAT(coefficients(plane), ElementsAre(0, 0, 1, -3));
    EXPECT_THAT(coefficients(LYRPlane({1, 2, 3}, {2, 2, 3}, LYRVector(0.0, -2.0, 0.0))), ElementsAre(0, 0, -1, 3));
    plane.setPoints({1, 1, 1}, {2, 2, 2}, {3, 3, 3});
    EXPECT_THAT(coefficients(plane), ElementsAre(1, 0, 0, -1)) << "on a line";
    plane.setCoefficients(0, -3, 4, 10);
    EXPECT_THAT(coefficients(plane), ElementsAre(0, DoubleEq(-0.6), 0.8, 2));
    plane.set({0, 5, 0}, LYRVector(0.0, 2.0, 0.0));
    EXPECT_EQ(plane.distance({7, 8, 9}), 3);
    EXPECT_TRUE(plane.project({7, 8, 9}).y() == 5 && plane.project({7, 5, 9}).x() == 7);
    plane.set({0, 0, 0}, LYRVector(0.0, 0.0, 1.0));
    EXPECT_EQ(plane.project({0, 0, 3}).x(), 1) << "the origin becomes (1, 0, 0)";
}

TEST(LYRPlane, AMotionHasOnePlaneUnderThreeNames)
{
    LYRTransform3d transform(1, 2, 3, 0.4, -0.3, 0.9);
    const LYRPlane aPlanes[] = {transform.planeXY(), transform.planeYZ(), transform.planeXZ()};
    for (const LYRPlane& rPlane : aPlanes) {
        EXPECT_NEAR(rPlane.getNormal().dot(transform.vectorZ()), &rPlane == &aPlanes[2] ? -1 : 1, 1e-12);
        EXPECT_NEAR(rPlane.distance({1, 2, 3}), 0, 1e-12);
    }
    Cloud cloud({{0, 0, 0}, {1, 2, 3}});
    transform.apply(cloud);
    LYRPoint3d moved(1, 2, 3);
    transform.apply(moved);
    EXPECT_TRUE(cloud.elementAt(0)->z() == 3 && cloud.elementAt(1)->x() == moved.x());
}

// 2 mm of noise, and one point in eight anywhere up to half a metre away, on one side twice as often.
TEST(LYRPlaneFit, FindsThePlaneAmongOutliersOf1000Seeds)
{
    for (const bool bEigen : {true, false}) {
        const double dTurn = bEigen ? 3.1 : 0.5; // by least squares the plane must keep away from the origin
        for (unsigned uSeed = 0; uSeed < 1000; ++uSeed) {
            std::mt19937 random(uSeed);
            std::normal_distribution<double> noise(0, 0.002);
            const auto any = [&] { return std::uniform_real_distribution<double>(-1, 1)(random); };
            LYRTransform3d pose(any(), any(), 3 + any(), dTurn * any(), dTurn * any(), 0);
            std::vector<LYRPoint3d> points(400);
            for (int i = 0; i < 400; ++i) {
                const double dAway = i % 8 == 0 ? (i % 3 == 0 ? -0.5 : 0.5) * std::abs(any()) : noise(random);
                points[i] = LYRPoint3d(any(), any(), dAway);
                pose.apply(points[i]);
            }
            const Fit fit(bEigen, Cloud(points), 30, 2.5);
            ASSERT_TRUE(fit.m_bFitted && fit.m_nRemoved >= 40 && fit.m_nIterations < 30) << bEigen << " " << uSeed;
            ASSERT_GT(std::abs(fit.m_plane.getNormal().dot(pose.vectorZ())), std::cos(0.05 / 57.29578)) << uSeed;
            ASSERT_LT(std::abs(fit.m_plane.distance(pose.location())), 0.0005) << uSeed;
            ASSERT_NEAR(fit.m_dStdDev, 0.0018, 0.0004) << "the tails of the noise go too";
        }
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
    const double dRough = std::sqrt((25e-4 - 25 * 0.0004 * 0.0004) / 24);
    const double dOutlier = std::sqrt((13 * 2.01 * 2.01 + 12 * 1.99 * 1.99 + 9 - 53.01 * 53.01 / 26) / 25);
    const struct
    {
        const char* m_pszWhat;
        const std::vector<LYRPoint3d>& m_rPoints;
        int m_nMaxIterations;
        double m_dMultiple;
        int m_anIterations[2]; // by least squares, and the other fit
        int m_nRemoved;
        double m_adStdDev[2];
    } aCases[] = {
        {"exact", flat, 9, 2, {1, 1}, 0, {0, 0}},
        {"no round", rough, 0, 2, {1, 0}, 0, {0, std::numeric_limits<double>::max()}},
        {"one round", outlier, 1, 2, {1, 1}, 0, {0, dOutlier}},
        {"nothing to remove", rough, 9, 4, {1, 1}, 0, {dRough, dRough}},
        {"one outlier", outlier, 9, 3, {2, 2}, 1, {dRough, dRough}},
        {"one outlier, no more rounds", outlier, 2, 3, {2, 2}, 1, {dOutlier, dRough}},
    };
    for (const auto& c : aCases) {
        for (const bool bEigen : {true, false}) {
            const Cloud cloud(c.m_rPoints);
            const Fit fit(bEigen, cloud, c.m_nMaxIterations, c.m_dMultiple);
            EXPECT_TRUE(fit.m_bFitted && fit.m_nIterations == c.m_anIterations[bEigen] &&
                        fit.m_nRemoved == c.m_nRemoved && cloud.size() == static_cast<int>(c.m_rPoints.size()) &&
                        std::abs(fit.m_dStdDev - c.m_adStdDev[bEigen]) < 1e-5)
                << c.m_pszWhat << " " << bEigen << " " << fit.m_nIterations << " " << fit.m_dStdDev;
        }
    }
}

TEST(LYRPlaneFit, CloudsWithoutAPlane)
{
    const Cloud line({{1, 0, 7}, {2, 0, 7}, {3, 0, 7}});
    LYRPlane plane;
    EXPECT_FALSE(plane.fitToPoints(Cloud({{1, 2, 3}, {2, 3, 4}}), 5, 2.0) || plane.fitToPoints(line, 0, 2.0) ||
                 plane.fitToPoints(line, 5, 0.0));
    EXPECT_THAT(coefficients(plane), ElementsAre(1, 0, 0, 0)) << "stays";
    ASSERT_TRUE(plane.fitToPoints(line, 5, 2.0));
    EXPECT_THAT(coefficients(plane), ElementsAre(0, 0, -1, 7)) << "no direction of least spread";
    EXPECT_TRUE(Fit(true, Cloud({}), 5, 2.0).m_bFitted);
    for (const double d : {1e-3, 1e-4, 1e-5}) { // a slope of 45 degrees
        std::vector<LYRPoint3d> patch;
        for (int i = 0; i < 100; ++i) {
            patch.emplace_back(d * (i % 10) / 10, d * (i / 10) / 10, d * (i % 10) / 10);
        }
        const double dSlope = std::abs(Fit(true, Cloud(patch), 5, 2.0).m_plane.getNormal().x());
        EXPECT_EQ(std::abs(dSlope - std::sqrt(0.5)) < 0.01, d > 5e-4) << d << ' ' << dSlope;
    }
    const Fit broken(true, Cloud({{0, 0, 1}, {1, 0, 1}, {0, NAN, 1}}), 5, 2.0);
    EXPECT_TRUE(broken.m_bFitted && broken.m_nIterations == 1 && std::isnan(broken.m_dStdDev));
    EXPECT_TRUE(broken.m_plane.getNormal().z() == -1 && std::isnan(broken.m_plane.distance({0, 0, 0})));
    EXPECT_FALSE(Fit(false, Cloud({}), 5, 2.0).m_bFitted);
    EXPECT_FALSE(Fit(false, Cloud({{1, 0, 0}, {2, 3, 0}, {3, 1, 0}}), 1, 2.0).m_bFitted) << "through the origin";
}
