// Rectification plan and spline fit: what a calibration text stands on.
#include "AppError.h"

#include "app/Room.h"

#include <gtest/gtest.h>

namespace kestrova::app {

TEST(SplineSurface, HoldsPolynomialsOnAnyKnots)
{
    // The polar form gives the coefficients of x^3 and of y, whatever the knots: their product, and their mean.
    SplineSurface surface{7, {0, 0, 0, 0, .2, .5, .55, 1, 1, 1, 1}, {0, 0, 0, 0, .1, .1, .9, 1, 1, 1, 1}, {}};
    for (auto pX = surface.m_adKnotsX.data(); surface.m_adCoefs.size() < 49; ++pX)
        for (auto pY = surface.m_adKnotsY.data(); pY < surface.m_adKnotsY.data() + 7; ++pY)
            surface.m_adCoefs.push_back(pX[1] * pX[2] * pX[3] * (pY[1] + pY[2] + pY[3]) / 3);
    for (double dX : {0.0, 0.1, 0.2, 0.37, 0.5, 0.9, 1.0})
        for (double dY : {0.0, 0.05, 0.1, 0.6, 0.9, 0.95, 1.0})
            ASSERT_NEAR(surface(dX, dY), dX * dX * dX * dY, 1e-12) << dX << ' ' << dY;
    for (const cv::Point2d& rAt : Points{{0, 0}, {63.5, 47.5}, {-0.5, -0.5}, {31.3, 7.9}})
        EXPECT_LT(cv::norm(identitySplineMap()(rAt, {64, 48}, {64, 48}) - rAt), 1e-12) << rAt;
}

TEST(SplineFit, FollowsLensesBothWaysAndTellsWhenItDoesNot)
{
    struct Lens
    {
        cv::Size m_raw;
        cv::Size m_canvas;
        std::vector<double> m_adDistortion;
        double m_dAlpha;
    };
    const Lens aLenses[] = {{{640, 480}, {640, 480}, {-.27, .105, .0008, -.0006, -.018}, 0.3},
                            {{640, 480}, {640, 480}, {.12, -.05, .001, .0004, .01, .42, -.1, .02}, 0.0},
                            {{800, 450}, {320, 240}, {-.2, .06, 0, 0}, 0.0},
                            {{320, 240}, {640, 480}, {}, 1.0}};
    for (const auto& [raw, canvas, adDistortion, dAlpha] : aLenses) {
        CameraPair pair = exampleCameraPair(raw);
        pair.m_right.m_adDistortion = adDistortion;
        const RectificationPlan plan = planRectification(pair, canvas, dAlpha);
        const CameraMaps maps = fitCameraMaps(pair.m_right, plan.m_rightRotation, plan);
        EXPECT_LT(maps.largestError(), 0.05) << raw;
        const auto expected = mapsByOpenCv(pair.m_right, plan.m_rightRotation, plan);
        for (int nRow = 40; nRow < 200; nRow += 37)
            for (int nCol = 40; nCol < 280; nCol += 37) {
                const cv::Point2d at(nCol, nRow);
                const cv::Point2d inRaw(expected[0](nRow, nCol), expected[1](nRow, nCol));
                ASSERT_LT(cv::norm(maps.m_rawFromRectified(at, canvas, raw) - inRaw), 0.05) << raw << at;
                ASSERT_LT(cv::norm(maps.m_rectifiedFromRaw(inRaw, raw, canvas) - at), 0.05) << raw << at;
            }
    }
    const Room room; // one cubic cannot follow its lens
    const CameraMaps bad = fitCameraMaps(room.m_pair.m_left, room.m_plan.m_leftRotation, room.m_plan, 4);
    for (double dError : {bad.m_dForwardError, bad.m_dInverseError, bad.m_dRoundTripError})
        EXPECT_GT(dError, 0.05);
}

TEST(RectificationPlan, PutsAPointIntoOneRowWithItsDisparityToTheRightInTheLeftImage)
{
    Room room;
    CameraPair& rPair = room.m_pair;
    const RectificationPlan& rPlan = room.m_plan;
    EXPECT_NEAR(rPlan.m_dBaseline, cv::norm(rPair.m_T), 1e-9);
    for (const cv::Vec3d& rPoint : {cv::Vec3d(0.1, -0.2, 1.5), cv::Vec3d(-0.8, 0.5, 2.5), cv::Vec3d(1.0, 0.3, 6.0)}) {
        const auto rectified = [&](const CameraModel& rCamera, const cv::Matx33d& rRotation, const cv::Vec3d& rSeen) {
            const Points raw = projectRays(rCamera, {{rSeen[0] / rSeen[2], rSeen[1] / rSeen[2]}});
            return rectifiedFromRaw(rCamera, rRotation, rPlan, raw).front();
        };
        const cv::Point2d right = rectified(rPair.m_right, rPlan.m_rightRotation, rPoint);
        const cv::Point2d left = rectified(rPair.m_left, rPlan.m_leftRotation, rPair.m_R.t() * (rPoint - rPair.m_T));
        const double dDepth = (rPlan.m_rightRotation * rPoint)[2];
        EXPECT_LT(cv::norm(left - right - cv::Point2d(rPlan.m_dFocal * rPlan.m_dBaseline / dDepth, 0)), 1e-6) << rPoint;
    }
    for (const cv::Vec3d& rT : {cv::Vec3d(0.12, 0, 0), cv::Vec3d(0, -0.12, 0)}) { // exchanged, one above the other
        rPair.m_T = rT;
        EXPECT_THROW(planRectification(rPair, room.m_size, 0.0), AppError) << rT;
    }
}

} // namespace kestrova::app
