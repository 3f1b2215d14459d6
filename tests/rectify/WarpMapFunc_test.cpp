#include "rectify/WarpMapFunc.h"
#include "support/CalibrationText.h"

#include <gtest/gtest.h>

namespace kestrova::test {
namespace {

WarpSpline surface(const Coordinate& rMap)
{
    const std::vector<double> knots = clampedKnots(5);
    return {knots.data(), knots.data(), surfaceCoefs(rMap, 5).data(), 5};
}

// Rows and columns differ in shape and in adjustment, so that any mixed-up axis shows.
const Coordinate sk_row = [](double dRow, double dCol) { return 0.1 + 0.7 * dRow + 0.1 * dCol; };
const Coordinate sk_col = [](double dRow, double dCol) { return 0.2 + 0.6 * dCol - 0.05 * dRow; };

TEST(WarpMapFunc, AdjustsScalesAndClampsEachSideByItself)
{
    const WarpMapFunc func(surface(sk_row), surface(sk_col), 1, 2, 0.02, -0.03, 0.25, 0.125);
    for (const float fRow : {-300.0f, -0.5f, 0.0f, 100.0f, 239.5f, 1000.0f}) {
        for (const float fCol : {-0.5f, 17.25f, 200.0f, 319.5f, 900.0f}) {
            float fOutRow = 0;
            float fOutCol = 0;
            func.map(fOutRow, fOutCol, 480, 1000, fRow, fCol, 240, 320);
            const double dU = std::clamp((fRow + 0.5) / 240 - 0.125, 0.0, 1.0);
            const double dV = std::clamp((fCol + 0.5) / 320 - 0.25, 0.0, 1.0);
            ASSERT_NEAR(fOutRow, 480 * (sk_row(dU, dV) - 0.03) - 0.5, 1e-3) << fRow << ' ' << fCol;
            ASSERT_NEAR(fOutCol, 1000 * (sk_col(dU, dV) + 0.02) - 0.5, 1e-3) << fRow << ' ' << fCol;
        }
    }
    float afRow[2] = {};
    float afCol[2] = {};
    func.clone()->map(afRow[0], afCol[0], 0.3f, 0.8f);
    WarpMapFunc(surface(sk_row), surface(sk_col), 1, 2, 0, 0, 0, 0).map(afRow[1], afCol[1], 0.3f, 0.8f);
    EXPECT_TRUE(afRow[0] == afRow[1] && afCol[0] == afCol[1]) << "a clone drops the adjustments";
}

} // namespace
} // namespace kestrova::test
