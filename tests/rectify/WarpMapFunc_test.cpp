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

TEST(WarpMapFunc, AdjustsInputAndOutputAndClampsBoth)
{
    const WarpMapFunc func(surface(sk_row), surface(sk_col), 1, 2, 0.02, -0.03, 0.25, 0.125);
    for (const float fRow : {-2.0f, 0.0f, 0.125f, 0.4f, 1.0f, 7.0f}) {
        for (const float fCol : {-1.0f, 0.25f, 0.6f, 1.0f, 1.3f}) {
            float fOutRow = 0;
            float fOutCol = 0;
            func.map(fOutRow, fOutCol, fRow, fCol);
            const double dA = std::clamp(fRow - 0.125, 0.0, 1.0);
            const double dB = std::clamp(fCol - 0.25, 0.0, 1.0);
            ASSERT_NEAR(fOutRow, sk_row(dA, dB) - 0.03, 1e-6) << fRow << ' ' << fCol;
            ASSERT_NEAR(fOutCol, sk_col(dA, dB) + 0.02, 1e-6) << fRow << ' ' << fCol;
        }
    }
}

TEST(WarpMapFunc, PixelFormScalesEachSideByItsOwnSize)
{
    const WarpMapFunc func(surface(sk_row), surface(sk_col), 1, 1, 0, 0, 0, 0);
    for (const float fRow : {-0.5f, 0.0f, 100.0f, 239.5f}) {
        for (const float fCol : {-0.5f, 17.25f, 319.5f}) {
            float fOutRow = 0;
            float fOutCol = 0;
            func.map(fOutRow, fOutCol, 480, 1000, fRow, fCol, 240, 320);
            const double dU = (fRow + 0.5) / 240;
            const double dV = (fCol + 0.5) / 320;
            ASSERT_NEAR(fOutRow, 480 * sk_row(dU, dV) - 0.5, 1e-3) << fRow << ' ' << fCol;
            ASSERT_NEAR(fOutCol, 1000 * sk_col(dU, dV) - 0.5, 1e-3) << fRow << ' ' << fCol;
        }
    }
}

TEST(WarpMapFunc, CloneKeepsTheSplinesAndDropsTheAdjustments)
{
    WarpMapFunc func(surface(sk_row), surface(sk_col), 1, 1, 0.1, 0.2, 0.3, 0.4);
    const std::unique_ptr<WarpMapFunc> pClone = func.clone();
    double adGot[4] = {9, 9, 9, 9};
    pClone->getSourceAdjustment(&adGot[0], &adGot[1]);
    pClone->getDestinationAdjustment(&adGot[2], &adGot[3]);
    EXPECT_EQ(std::vector<double>(adGot, adGot + 4), std::vector<double>(4, 0.0));
    func.init(surface(sk_row), surface(sk_col), 1, 1, 0, 0, 0, 0);
    float afRow[2] = {};
    float afCol[2] = {};
    func.map(afRow[0], afCol[0], 0.3f, 0.8f);
    pClone->map(afRow[1], afCol[1], 0.3f, 0.8f);
    EXPECT_EQ(afRow[0], afRow[1]);
    EXPECT_EQ(afCol[0], afCol[1]);
}

} // namespace
} // namespace kestrova::test
