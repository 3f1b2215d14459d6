// Camera model, rectification plan and spline fit: what a calibration text stands on.
#include "AppError.h"
#include "SplineFit.h"

#include <gtest/gtest.h>
#include <opencv2/calib3d.hpp>

#include <cmath>
#include <random>

namespace kestrova::app {

// The textbook recursion, closed at the right end.
static double naiveBasis(int i, int nOrder, double t, const std::vector<double>& rKnots)
{
    const auto knot = [&](int n) { return rKnots[static_cast<std::size_t>(n)]; };
    if (nOrder == 1)
        return (knot(i) <= t && t < knot(i + 1)) || (t == rKnots.back() && knot(i) < t && knot(i + 1) == t);
    const double dLeft = knot(i + nOrder - 1) - knot(i);
    const double dRight = knot(i + nOrder) - knot(i + 1);
    return (dLeft > 0 ? (t - knot(i)) / dLeft * naiveBasis(i, nOrder - 1, t, rKnots) : 0) +
           (dRight > 0 ? (knot(i + nOrder) - t) / dRight * naiveBasis(i + 1, nOrder - 1, t, rKnots) : 0);
}

TEST(SplineSurface, EqualsTheTextbookSumOnAnyKnots)
{
    std::mt19937 random(5);
    std::uniform_real_distribution<double> value(-2, 2);
    SplineSurface surface{7, {0, 0, 0, 0, .2, .5, .55, 1, 1, 1, 1}, {0, 0, 0, 0, .1, .1, .9, 1, 1, 1, 1}, {}};
    for (int i = 0; i < 49; ++i)
        surface.m_adCoefs.push_back(value(random));
    for (double dX : {0.0, 0.1, 0.2, 0.37, 0.5, 0.9, 1.0})
        for (double dY : {0.0, 0.05, 0.1, 0.6, 0.9, 0.95, 1.0}) {
            double dSum = 0;
            for (int x = 0; x < 7; ++x)
                for (int y = 0; y < 7; ++y)
                    dSum += surface.m_adCoefs[static_cast<std::size_t>(x * 7 + y)] *
                            naiveBasis(x, 4, dX, surface.m_adKnotsX) * naiveBasis(y, 4, dY, surface.m_adKnotsY);
            ASSERT_NEAR(surface(dX, dY), dSum, 1e-12) << dX << ' ' << dY;
        }
}

TEST(SplineFit, KeepsColumnsAndRowsApartAndHoldsCubics)
{
    const cv::Size from(64, 48);
    const cv::Size to(200, 90);
    const auto bent = [](const cv::Point2d& rAt) {
        return cv::Point2d(3 + 2.5 * rAt.x + 1e-4 * rAt.x * rAt.x * rAt.y, 5 + 1.5 * rAt.y - 2e-4 * std::pow(rAt.y, 3));
    };
    const SplineMap map = fitSplineMap(
        [&](const Points& rPixels) {
            Points out;
            for (const cv::Point2d& rPixel : rPixels)
                out.push_back(bent(rPixel));
            return out;
        },
        from, to, 6);
    for (const cv::Point2d& rAt : Points{{0, 0}, {63, 0}, {0, 47}, {63.5, 47.5}, {-0.5, -0.5}, {31.3, 7.9}}) {
        EXPECT_LT(cv::norm(map(rAt, from, to) - bent(rAt)), 1e-9) << rAt;
        EXPECT_LT(cv::norm(identitySplineMap()(rAt, from, from) - rAt), 1e-12) << rAt;
    }
}

struct Lens
{
    const char* m_pszName;
    cv::Size m_raw;
    cv::Size m_canvas;
    std::vector<double> m_adDistortion;
    double m_dAlpha;
};

TEST(SplineFit, RoundTripStaysBelowATwentiethOfAPixel)
{
    const Lens aLenses[] = {
        {"five coefficients", {640, 480}, {640, 480}, {-.27, .105, .0008, -.0006, -.018}, 0.3},
        {"eight coefficients", {640, 480}, {640, 480}, {.12, -.05, .001, .0004, .01, .42, -.1, .02}, 0.0},
        {"wide frame, small canvas", {800, 450}, {320, 240}, {-.2, .06, 0, 0}, 0.0},
        {"no distortion", {320, 240}, {640, 480}, {}, 1.0}};
    for (const Lens& rLens : aLenses) {
        CameraPair pair = exampleCameraPair(rLens.m_raw);
        pair.m_right.m_adDistortion = rLens.m_adDistortion;
        const RectificationPlan plan = planRectification(pair, rLens.m_canvas, rLens.m_dAlpha);
        const CameraMaps maps = fitCameraMaps(pair.m_right, plan.m_rightRotation, plan);
        EXPECT_LT(maps.largestError(), 0.05) << rLens.m_pszName;

        // The same by hand at a few pixels, against OpenCV's own rectification.
        cv::Mat mapX;
        cv::Mat mapY;
        const cv::Matx33d P(plan.m_dFocal, 0, plan.m_centre.x, 0, plan.m_dFocal, plan.m_centre.y, 0, 0, 1);
        cv::initUndistortRectifyMap(pair.m_right.m_K, rLens.m_adDistortion, plan.m_rightRotation, P, rLens.m_canvas,
                                    CV_32F, mapX, mapY);
        for (int nRow = 40; nRow < 200; nRow += 37)
            for (int nCol = 40; nCol < 280; nCol += 37) {
                const cv::Point2d raw = maps.m_rawFromRectified(cv::Point2d(nCol, nRow), rLens.m_canvas, rLens.m_raw);
                ASSERT_NEAR(raw.x, mapX.at<float>(nRow, nCol), 0.05) << rLens.m_pszName;
                ASSERT_NEAR(raw.y, mapY.at<float>(nRow, nCol), 0.05) << rLens.m_pszName;
                const cv::Point2d back = maps.m_rectifiedFromRaw(raw, rLens.m_raw, rLens.m_canvas);
                ASSERT_LT(cv::norm(back - cv::Point2d(nCol, nRow)), 0.05) << rLens.m_pszName;
            }
    }
}

TEST(SplineFit, MeasuresABadFit)
{
    const CameraPair pair = exampleCameraPair({640, 480});
    const RectificationPlan plan = planRectification(pair, {640, 480}, 0.3);
    const CameraMaps maps =
        fitCameraMaps(pair.m_left, plan.m_leftRotation, plan, 4); // one cubic cannot follow the lens
    EXPECT_GT(maps.m_dForwardError, 0.05);
    EXPECT_GT(maps.m_dInverseError, 0.05);
    EXPECT_GT(maps.m_dRoundTripError, 0.05);
}

TEST(RectificationPlan, PutsAPointIntoOneRowWithItsDisparityToTheRightInTheLeftImage)
{
    const CameraPair pair = exampleCameraPair({640, 480});
    const RectificationPlan plan = planRectification(pair, {640, 480}, 0.0);
    EXPECT_NEAR(plan.m_dBaseline, cv::norm(pair.m_T), 1e-9);
    for (const cv::Vec3d& rPoint : {cv::Vec3d(0.1, -0.2, 1.5), cv::Vec3d(-0.8, 0.5, 2.5), cv::Vec3d(1.0, 0.3, 6.0)}) {
        const cv::Vec3d inLeft = pair.m_R.t() * (rPoint - pair.m_T);
        const auto rectified = [&](const CameraModel& rCamera, const cv::Matx33d& rRotation, const cv::Vec3d& rSeen) {
            const Points raw = projectRays(rCamera, {{rSeen[0] / rSeen[2], rSeen[1] / rSeen[2]}});
            return rectifiedFromRaw(rCamera, rRotation, plan, raw).front();
        };
        const cv::Point2d right = rectified(pair.m_right, plan.m_rightRotation, rPoint);
        const cv::Point2d left = rectified(pair.m_left, plan.m_leftRotation, inLeft);
        const double dDepth = (plan.m_rightRotation * rPoint)[2];
        EXPECT_NEAR(right.y, left.y, 1e-6);
        EXPECT_NEAR(left.x - right.x, plan.m_dFocal * plan.m_dBaseline / dDepth, 1e-6);
    }
}

TEST(RectificationPlan, RefusesExchangedAndUprightPairs)
{
    CameraPair pair = exampleCameraPair({640, 480});
    for (const cv::Vec3d& rT : {cv::Vec3d(0.12, 0, 0), cv::Vec3d(0, -0.12, 0)}) {
        pair.m_T = rT;
        EXPECT_THROW(planRectification(pair, {640, 480}, 0.0), AppError) << rT;
    }
}

} // namespace kestrova::app
