#include "rectify/WarpSpline.h"
#include "support/CalibrationText.h"

#include <cmath>
#include <gtest/gtest.h>
#include <random>

namespace kestrova::test {
namespace {

struct Surface
{
    int n;
    std::vector<double> knotsX, knotsY, coefs;
    [[nodiscard]] WarpSpline spline() const { return {knotsY.data(), knotsX.data(), coefs.data(), n}; }
};

/** One basis function from the definition, by integer indices; the last knot closes the last interval. */
double modelBasis(const std::vector<double>& k, int i, int nDegree, double t)
{
    if (nDegree == 0) {
        const bool bCloses = t == k.back() && k[i + 1] == t && k[i] < t;
        return (k[i] <= t && t < k[i + 1]) || bCloses ? 1 : 0;
    }
    double dSum = 0;
    if (k[i + nDegree] != k[i]) {
        dSum += (t - k[i]) / (k[i + nDegree] - k[i]) * modelBasis(k, i, nDegree - 1, t);
    }
    if (k[i + nDegree + 1] != k[i + 1]) {
        dSum += (k[i + nDegree + 1] - t) / (k[i + nDegree + 1] - k[i + 1]) * modelBasis(k, i + 1, nDegree - 1, t);
    }
    return dSum;
}

double model(const Surface& rSurface, double dY, double dX)
{
    double dSum = 0;
    for (int nCol = 0; nCol < rSurface.n; ++nCol) {
        for (int nRow = 0; nRow < rSurface.n; ++nRow) {
            dSum += modelBasis(rSurface.knotsY, nRow, 3, dY) * modelBasis(rSurface.knotsX, nCol, 3, dX) *
                    rSurface.coefs[nCol * rSurface.n + nRow];
        }
    }
    return dSum;
}

Surface randomSurface(std::mt19937& rRandom, int n, bool bClamped)
{
    std::uniform_real_distribution<double> value(0, 1);
    Surface surface{n, clampedKnots(n), clampedKnots(n), {}};
    for (auto* pKnots : {&surface.knotsX, &surface.knotsY}) {
        for (int i = bClamped ? 4 : 0; i < (bClamped ? n : n + 4); ++i) {
            (*pKnots)[i] = value(rRandom);
        }
        std::sort(pKnots->begin(), pKnots->end());
    }
    std::generate_n(std::back_inserter(surface.coefs), n * n, [&] { return value(rRandom); });
    return surface;
}

// Points come in an order that mixes fresh evaluations, cache hits and coordinates that evict each other.
TEST(WarpSpline, MatchesTheDefinitionWhateverIsCached)
{
    std::mt19937 random(1);
    for (const int n : {4, 5, 8, 13}) {
        const Surface surface = randomSurface(random, n, n != 8);
        const WarpSpline spline = surface.spline();
        const WarpSpline copy = spline;
        const std::vector<double> points = {
            0,      1e-9,           0.25,           1,   surface.knotsX[5], -1e-3, 1.001, 0.5,
            0.5004, 1279.5 / 1280., 1278.5 / 1280., 0.1, surface.knotsY[6], 1e300, 0,     1};
        for (const double dY : points) {
            for (const double dX : points) {
                const double dExpected = model(surface, dY, dX);
                const double dTolerance = 1e-12 * (1 + std::abs(dExpected));
                ASSERT_NEAR(spline(dY, dX), dExpected, dTolerance) << n << ": " << dY << ' ' << dX;
                ASSERT_EQ(copy(dY, dX), spline(dY, dX)) << n << ": " << dY << ' ' << dX;
            }
        }
    }
}

TEST(WarpSpline, LastKnotTakesTheLimitFromInside)
{
    std::mt19937 random(2);
    const Surface surface = randomSurface(random, 6, true);
    const WarpSpline spline = surface.spline();
    EXPECT_EQ(spline(1.0, 1.0), surface.coefs.back());
    EXPECT_EQ(spline(0.0, 0.0), surface.coefs.front());
    EXPECT_EQ(spline(0.0, 1.0), surface.coefs[6 * 5]) << "coefficients come column by column";
    EXPECT_NEAR(spline(1.0 - 1e-12, 1.0 - 1e-12), surface.coefs.back(), 1e-9);
}

TEST(WarpSpline, ReferenceBasisAgreesBelowTheLastKnot)
{
    std::mt19937 random(3);
    const Surface surface = randomSurface(random, 7, true);
    for (const double t : {0.0, 0.2, 0.77, surface.knotsX[5], 1.0}) {
        for (int i = 0; i < 7; ++i) {
            const double dExpected = t < 1 ? modelBasis(surface.knotsX, i, 3, t) : 0.0;
            ASSERT_NEAR(WarpSpline::spline(i, 4, t, surface.knotsX.data()), dExpected, 1e-13) << i << ' ' << t;
        }
    }
}

// What a file can hold must not do harm: the sanitizers watch, the results only must not be remembered wrongly.
TEST(WarpSpline, StrangeKnotsAndCoordinatesDoNoHarm)
{
    const double dNan = std::nan("");
    const double dInf = HUGE_VAL;
    const std::vector<double> aKnots[] = {{0, 0, 0, 0, 0}, {5, 4, 3, 2, 1}, {0, dNan, 1, dInf, -dInf}};
    const double dCoef = 0.5;
    for (const std::vector<double>& rKnots : aKnots) {
        const WarpSpline spline(rKnots.data(), rKnots.data(), &dCoef, 1);
        for (const double d : {0.0, 1.0, dNan, dInf, -dInf, -1e300, -123456789.0}) {
            const double dFirst = spline(d, d);
            const double dAgain = spline(d, d);
            ASSERT_TRUE(dFirst == dAgain || (std::isnan(dFirst) && std::isnan(dAgain))) << d;
        }
    }
}

} // namespace
} // namespace kestrova::test
