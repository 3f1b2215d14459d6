// The demo's cameras and room: plan and spline fit, scene and truth, and the whole road through the library.
#include "basics/AppError.h"
#include "demo/TruthReport.h"
#include "outputs/TruthComparison.h"

#include "app/fixtures.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

namespace kestrova::app {

TEST(SplineSurface, HoldsPolynomialsOnAnyKnots)
{
    // The polar form gives the coefficients of x^3 and of y, whatever the knots: their product, and their mean.
    SplineSurface surface{7, {0, 0, 0, 0, .2, .5, .55, 1, 1, 1, 1}, {0, 0, 0, 0, .1, .1, .9, 1, 1, 1, 1}, {}};
    for (auto pX = surface.m_adKnotsX.data(); surface.m_adCoefs.size() < 49; ++pX) {
        for (auto pY = surface.m_adKnotsY.data(); pY < surface.m_adKnotsY.data() + 7; ++pY) {
            surface.m_adCoefs.push_back(pX[1] * pX[2] * pX[3] * (pY[1] + pY[2] + pY[3]) / 3);
        }
    }
    for (double dX : {0.0, 0.1, 0.2, 0.37, 0.5, 0.9, 1.0}) {
        for (double dY : {0.0, 0.05, 0.1, 0.6, 0.9, 0.95, 1.0}) {
            ASSERT_NEAR(surface(dX, dY), dX * dX * dX * dY, 1e-12) << dX << ' ' << dY;
        }
    }
    for (const cv::Point2d& rAt : Points{{0, 0}, {63.5, 47.5}, {-0.5, -0.5}, {31.3, 7.9}}) {
        EXPECT_LT(cv::norm(identitySplineMap()(rAt, {64, 48}, {64, 48}) - rAt), 1e-12) << rAt;
    }
}

TEST(SplineFit, FollowsLensesBothWaysAndTellsWhenItDoesNot)
{
    const std::tuple<cv::Size, cv::Size, std::vector<double>, double> aLenses[] = {
        {{640, 480}, {640, 480}, {-.27, .105, .0008, -.0006, -.018}, 0.3},
        {{640, 480}, {640, 480}, {.12, -.05, .001, .0004, .01, .42, -.1, .02}, 0.0},
        {{800, 450}, {320, 240}, {-.2, .06, 0, 0}, 0.0},
        {{320, 240}, {640, 480}, {}, 1.0}};
    for (const auto& [raw, canvas, adDistortion, dAlpha] : aLenses) {
        CameraSet pair = exampleCameraSet(raw);
        CameraModel& rRight = pair.at(KestrovaCamRight).m_model;
        rRight.m_adDistortion = adDistortion;
        const RectificationPlan plan = planRectification(pair, canvas, dAlpha);
        const cv::Matx33d& rRotation = plan.m_rotations.at(KestrovaCamRight);
        const CameraMaps maps = fitCameraMaps(rRight, rRotation, plan);
        EXPECT_LT(maps.largestError(), 0.05) << raw;
        const auto expected = mapsByOpenCv(rRight, rRotation, plan);
        for (int nRow = 40; nRow < 200; nRow += 37) {
            for (int nCol = 40; nCol < 280; nCol += 37) {
                const cv::Point2d at(nCol, nRow);
                const cv::Point2d inRaw(expected[0](nRow, nCol), expected[1](nRow, nCol));
                ASSERT_LT(cv::norm(maps.m_rawFromRectified(at, canvas, raw) - inRaw), 0.05) << raw << at;
                ASSERT_LT(cv::norm(maps.m_rectifiedFromRaw(inRaw, raw, canvas) - at), 0.05) << raw << at;
            }
        }
    }
    const Room room; // one cubic cannot follow its lens
    const CameraMaps bad = fitCameraMaps(room.m_set.at(KestrovaCamLeft).m_model,
                                         room.m_plan.m_rotations.at(KestrovaCamLeft), room.m_plan, 4);
    for (double dError : {bad.m_dForwardError, bad.m_dInverseError, bad.m_dRoundTripError}) {
        EXPECT_GT(dError, 0.05);
    }
}

namespace {

const auto sk_sets = testing::Values(KestrovaCfg2CameraHorizontal, KestrovaCfg2CameraVertical, KestrovaCfg3CameraL);

struct Sets : testing::TestWithParam<KestrovaCameraConfiguration>
{
};

} // namespace
INSTANTIATE_TEST_SUITE_P(AllCameras, Sets, sk_sets);

namespace {

// Where a point at a depth moves from the right image to another one.
cv::Point2d shiftTo(KestrovaCamera eCamera, double dDisparity)
{
    return eCamera == KestrovaCamRight ? cv::Point2d()
           : eCamera == KestrovaCamTop ? cv::Point2d(0, dDisparity)
                                       : cv::Point2d(dDisparity, 0);
}

} // namespace

TEST_P(Sets, PlanPutsAPointAtItsDisparityToTheRightInTheLeftImageAndBelowInTheTopOne)
{
    const Room room(GetParam());
    const RectificationPlan& rPlan = room.m_plan;
    EXPECT_NEAR(rPlan.m_dBaseline, cv::norm(room.m_set.rbegin()->second.m_translation), 1e-9);
    for (const cv::Vec3d& rPoint : {cv::Vec3d(0.1, -0.2, 1.5), cv::Vec3d(-0.8, 0.5, 2.5), cv::Vec3d(1.0, 0.3, 6.0)}) {
        PerCamera<cv::Point2d> places;
        for (const auto& [eCamera, rCamera] : room.m_set) {
            const cv::Vec3d seen = rCamera.m_rotation.t() * (rPoint - rCamera.m_translation);
            const Points raw = projectRays(rCamera.m_model, {{seen[0] / seen[2], seen[1] / seen[2]}});
            places[eCamera] =
                rectifiedFromRays(rPlan.m_rotations.at(eCamera), rPlan, raysOfPixels(rCamera.m_model, raw)).front();
        }
        const double dDepth = (rPlan.m_rotations.at(KestrovaCamRight) * rPoint)[2];
        for (const auto& [eCamera, rAt] : places) {
            EXPECT_LT(cv::norm(rAt - places[KestrovaCamRight] -
                               shiftTo(eCamera, rPlan.m_dFocal * rPlan.m_dBaseline / dDepth)),
                      1e-4) // the top camera of an L by its mounting, within the tolerance of its angle
                << rPoint << cameraName(eCamera);
        }
    }
}

TEST(RectificationPlan, RefusesCamerasThatDoNotStandWhereTheirNamesSay)
{
    const std::tuple<KestrovaCameraConfiguration, KestrovaCamera, cv::Vec3d> aBad[] = {
        {KestrovaCfg2CameraHorizontal, KestrovaCamLeft, {0.12, 0, 0}},
        {KestrovaCfg2CameraHorizontal, KestrovaCamLeft, {0, -0.12, 0}},
        {KestrovaCfg2CameraVertical, KestrovaCamTop, {0, 0.12, 0}},
        {KestrovaCfg3CameraL, KestrovaCamTop, {0, 0.12, 0}},
        {KestrovaCfg3CameraL, KestrovaCamTop, {0.01, -0.12, 0}},
        {KestrovaCfg3CameraL, KestrovaCamTop, {0, -0.13, 0}}};
    for (const auto& [eConfiguration, eCamera, T] : aBad) {
        Room room(eConfiguration);
        room.m_set.at(eCamera).m_translation = T;
        EXPECT_THROW(planRectification(room.m_set, room.m_size, 0.0), AppError) << eConfiguration << T;
    }
}

TEST(Scene, NearestSurfaceWinsAtItsDistance)
{
    Scene scene;
    scene.add(Rectangle{{-5, -5, 4}, {1, 0, 0}, {0, 1, 0}, 10, 10, {Material::Plain, 100.0, 0.0, 0}});
    scene.add(Rectangle{{-0.5, -0.5, 2}, {1, 0, 0}, {0, 1, 0}, 1, 1, {Material::Repeated, 100.0, 0.1, 0}});
    scene.add(Sphere{{0, 0, 3}, 0.75, {Material::Textured, 100.0, 0.01, 9}});
    const std::tuple<cv::Vec3d, cv::Vec3d, double, Material> aRays[] = {
        {{0, 0, 0}, {0, 0, 2}, 1.0, Material::Repeated},    {{0.6, 0, 0}, {0, 0, 1}, 2.55, Material::Textured},
        {{0, 0, 0}, {1, 0, 1}, 4.0, Material::Plain},       {{0, 0, 0}, {2, 0, 1}, HUGE_VAL, Material::Plain},
        {{0, 0, 0}, {0, 0, -1}, HUGE_VAL, Material::Plain}, {{0, 0, 0}, {0, 1, 0}, HUGE_VAL, Material::Plain},
        {{0, 0, 2.1}, {0, 0, 1}, 0.15, Material::Textured}};
    for (const auto& [origin, direction, dDistance, eMaterial] : aRays) {
        const Hit hit = scene.trace(origin, direction);
        EXPECT_DOUBLE_EQ(hit.m_dDistance, dDistance) << origin << direction;
        EXPECT_EQ(hit.m_eMaterial, eMaterial) << origin << direction;
    }
}

TEST(RowAgreement, MeasuresAKnownShiftAndShunsRepeatedPatterns)
{
    cv::Mat1b image(200, 300);
    cv::theRNG().state = 11;
    cv::randu(image, 0, 255);
    cv::GaussianBlur(image, image, {0, 0}, 1.5);
    cv::Mat moved;
    cv::warpAffine(image, moved, cv::Matx23f(1, 0, 7, 0, 1, 2.4f), image.size());
    const RowAgreement rows = measureRows(image, moved, {0, 20, 5}, {});
    EXPECT_GT(rows.m_nPoints, 50);
    EXPECT_NEAR(rows.m_dMeanRows, 2.4, 0.1);
    const cv::Mat1b repeated = cv::repeat(image(cv::Rect(0, 0, 12, 12)), 16, 25);
    EXPECT_EQ(measureRows(repeated, repeated, {0, 30, 14}, {}).m_nPoints, 0);
}

TEST_P(Sets, DefaultsReachTheirFiguresOnTheRoom)
{
    const Room room(GetParam());
    const RectificationPlan& rPlan = room.m_plan;
    const TempFolder folder;
    const Scene scene = demoRoom(2, rPlan.m_dFocal);
    const SceneTruth truth = truthOf(scene, room.m_set, rPlan);
    Frames frames;
    std::uint32_t uSeed = 4;
    for (const auto& [eCamera, rCamera] : room.m_set) {
        const RawFrame raw = renderRaw(scene, rCamera.m_model, {rCamera.m_translation, rCamera.m_rotation},
                                       {Room::gainOf(eCamera), 1.2, uSeed++});
        frames.m_grey[eCamera] = raw.m_grey;
        if (eCamera == KestrovaCamRight) {
            frames.m_colour = raw.m_colour;
        }
    }
    writeText(folder / "c.txt", calibrationText(room.description()));
    StereoSession session(folder / "c.txt");
    const StereoResult result = runStereo(session, frames, {});
    const cv::Mat1b& rRight = result.m_rectified.at(KestrovaCamRight);

    // The library rectifies as OpenCV does, gain aside, and the region ends where the raw frame does.
    for (const auto& [eCamera, rCamera] : room.m_set) {
        const auto maps = mapsByOpenCv(rCamera.m_model, rPlan.m_rotations.at(eCamera), rPlan);
        cv::Mat theirs;
        cv::remap(frames.m_grey.at(eCamera), theirs, maps[0], maps[1], cv::INTER_LINEAR);
        const cv::Mat1b inside = session.region(eCamera, room.m_size);
        const cv::Mat expected = (maps[0] >= 0) & (maps[0] <= 319) & (maps[1] >= 0) & (maps[1] <= 239);
        EXPECT_LT(cv::countNonZero(inside != expected), 20);
        EXPECT_LT(cv::norm(result.m_rectified.at(eCamera), theirs / Room::gainOf(eCamera), cv::NORM_L1, inside) /
                      cv::countNonZero(inside),
                  1.0);
    }

    // Colours of the right camera lie on its grey image, and stay with the surfaces that have them.
    cv::Mat grey;
    cv::cvtColor(result.m_colour, grey, cv::COLOR_BGR2GRAY);
    EXPECT_LT(cv::norm(grey, rRight, cv::NORM_L1) / static_cast<double>(grey.total()), 2.0);
    const cv::Scalar floor = cv::mean(result.m_colour, truth.m_floor);
    const cv::Scalar rest = cv::mean(result.m_colour, truth.m_floor == 0);
    EXPECT_TRUE(floor[1] > 1.2 * floor[0] && floor[1] > 1.2 * floor[2] && rest[2] > rest[0]) << floor << rest;

    // The truth joins the same greys of both images, and nothing that a nearer surface hides from another camera.
    std::array<cv::Mat1f, 2> here{cv::Mat1f(room.m_size), cv::Mat1f(room.m_size)}; // column and row
    for (std::size_t n : {0, 1}) {
        here[n].forEach([n](float& rfAt, const int* pnAt) { rfAt = static_cast<float>(pnAt[1 - n]); });
    }
    const cv::Mat seen = truth.m_sight == static_cast<int>(Sight::Textured);
    for (const auto& [eCamera, rImage] : result.m_rectified) {
        if (eCamera == KestrovaCamRight) {
            continue;
        }
        const bool bTop = eCamera == KestrovaCamTop;
        std::array<cv::Mat1f, 2> to{here[0].clone(), here[1].clone()};
        to[bTop] += truth.m_disparity;
        const auto meanDifference = [&, image = rImage](const cv::Point2d& rShift) {
            cv::Mat matches;
            cv::remap(image, matches, to[0] + rShift.x, to[1] + rShift.y, cv::INTER_CUBIC);
            return cv::norm(matches, rRight, cv::NORM_L1, seen) / cv::countNonZero(seen);
        };
        for (const cv::Point2d& rShift : Points{{0.5, 0}, {-0.5, 0}, {0, 0.5}, {0, -0.5}}) {
            EXPECT_GT(meanDifference(rShift), 1.4 * meanDifference({0, 0})) << rShift << cameraName(eCamera);
        }
        const cv::Mat1f turned = bTop ? cv::Mat1f(truth.m_disparity.t()) : truth.m_disparity;
        const cv::Mat1f nearest = toLeftView(turned);
        cv::Mat covering;
        cv::remap(bTop ? cv::Mat1f(nearest.t()) : nearest, covering, to[0], to[1], cv::INTER_NEAREST);
        const cv::Mat hidden = (covering > truth.m_disparity + 4) | (to[0] > 319.1) | (to[1] > 239.1);
        EXPECT_GT(cv::countNonZero(hidden), 1000);
        EXPECT_LT(cv::countNonZero(hidden & (truth.m_sight != 0)), 60);
    }

    const double dScale = rPlan.m_dFocal * rPlan.m_dBaseline;
    const Accuracy accuracy = measureAccuracy(result.m_map16, truth, {Sight::Textured}, dScale);
    EXPECT_GT(accuracy.m_nPixels, 50000);
    EXPECT_GE(accuracy.validShare(), 70.0);
    EXPECT_GE(accuracy.within1Share(), 95.0);
    EXPECT_LT(accuracy.meanPixels(), 0.2);
    const Accuracy coarse = measureAccuracy(result.m_map8, truth, {Sight::Textured}, dScale);
    EXPECT_GE(coarse.within1Share(), 95.0);
    EXPECT_GT(coarse.meanPixels(), accuracy.meanPixels()) << "the fraction is worth something";
    for (const auto& [eCamera, rRows] : result.m_rectifiedRows) {
        EXPECT_LT(rRows.m_rows.m_dRms, 0.2) << cameraName(eCamera);
        EXPECT_GT(rRows.m_rows.m_nCount, 50) << cameraName(eCamera);
        EXPECT_GT(result.m_rawRows.at(eCamera).m_dMeanRows, 2.0) << "raw frames do not agree";
    }

    // Repeated pixels outside the raw frame are not taken for surfaces, in either form of the result.
    const cv::Mat outside = session.region(KestrovaCamRight, room.m_size) == 0;
    EXPECT_EQ(cv::countNonZero(outside & (result.m_map16.m_reject != static_cast<int>(Reject::Outside))), 0);
    EXPECT_EQ(cv::countNonZero(outside & (result.m_disparity16 < 0xFF00)), 0);

    // Points stand where the truth has them: x right, y down, z forward, in the right camera's rectified frame.
    ASSERT_GT(result.m_cloud.size(), 30000u);
    std::size_t nNear = 0;
    for (const CloudPoint& rPoint : result.m_cloud) {
        const cv::Point3d at = rPoint.m_position;
        const cv::Point pixel = cv::Point2d(at.x, at.y) / at.z * rPlan.m_dFocal + rPlan.m_centre;
        ASSERT_TRUE(pixel.inside(cv::Rect({0, 0}, room.m_size))) << at;
        const double dTrue = dScale / truth.m_disparity(pixel);
        nNear += std::abs(at.z - dTrue) < 0.05 * dTrue;
    }
    EXPECT_GT(nNear, result.m_cloud.size() * 9 / 10);
}

} // namespace kestrova::app
