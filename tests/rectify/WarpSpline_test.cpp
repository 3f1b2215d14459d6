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

/** One basis function from the definition; the last knot closes the last interval unless it is left open. */
double modelBasis(const std::vector<double>& k, int i, int nDegree, double t, bool bOpen = false)
{
    if (nDegree == 0) {
        return (k[i] <= t && t < k[i + 1]) || (!bOpen && t == k.back() && k[i + 1] == t && k[i] < t) ? 1 : 0;
    }
    const auto term = [&](int nFunction, double dFrom, double dTo) {
        return dFrom != dTo ? (t - dFrom) / (dTo - dFrom) * modelBasis(k, nFunction, nDegree - 1, t, bOpen) : 0.0;
    };
    return term(i, k[i], k[i + nDegree]) + term(i + 1, k[i + nDegree + 1], k[i + 1]);
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
        ASSERT_TRUE(n == 8 || spline(1.0, 1.0) == surface.coefs.back()) << "the limit from inside";
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
            const double dOpen = modelBasis(surface.knotsX, n / 2, 3, dY, true);
            ASSERT_NEAR(WarpSpline::spline(n / 2, 4, dY, surface.knotsX.data()), dOpen, 1e-12) << n << ": " << dY;
        }
    }
}

} // namespace
} // namespace kestrova::test
