// The rendered room and its truth, and the whole road through the library on it.
#include "Report.h"
#include "TruthComparison.h"

#include "app/Room.h"
#include "app/TempFolder.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <cmath>

namespace kestrova::app {

TEST(Scene, NearestSurfaceWinsAtItsDistance)
{
    Scene scene;
    scene.add(Rectangle{{-5, -5, 4}, {1, 0, 0}, {0, 1, 0}, 10, 10, {Material::Plain, 100.0, 0.0, 0}});
    scene.add(Rectangle{{-0.5, -0.5, 2}, {1, 0, 0}, {0, 1, 0}, 1, 1, {Material::Repeated, 100.0, 0.1, 0}});
    scene.add(Sphere{{0, 0, 3}, 0.75, {Material::Textured, 100.0, 0.01, 9}});
    const double dFar = std::numeric_limits<double>::infinity();
    const std::tuple<cv::Vec3d, cv::Vec3d, double, Material> aRays[] = {
        {{0, 0, 0}, {0, 0, 2}, 1.0, Material::Repeated},   {{0.6, 0, 0}, {0, 0, 1}, 2.55, Material::Textured},
        {{0, 0, 0}, {1, 0, 1}, 4.0, Material::Plain},      {{0, 0, 0}, {2, 0, 1}, dFar, Material::Plain},
        {{0, 0, 0}, {0, 0, -1}, dFar, Material::Plain},    {{0, 0, 0}, {0, 1, 0}, dFar, Material::Plain},
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
    cv::warpAffine(image, moved, cv::Matx23f(1, 0, 7, 0, 1, 2.5f), image.size(), cv::INTER_LINEAR, cv::BORDER_REFLECT);
    const RowAgreement rows = measureRows(image, moved, {0, 20, 5}, {});
    EXPECT_GT(rows.m_nPoints, 50);
    EXPECT_NEAR(rows.m_dMeanRows, 2.5, 0.1);
    for (int nRow = 0; nRow < image.rows; ++nRow)
        for (int nCol = 0; nCol < image.cols; ++nCol)
            image(nRow, nCol) = (nRow / 6 + nCol / 6) % 2 ? 200 : 50;
    EXPECT_EQ(measureRows(image, image, {0, 30, 14}, {}).m_nPoints, 0);
}

TEST(WholeRoad, DefaultsReachTheirFiguresOnTheRoom)
{
    const Room room;
    const RectificationPlan& rPlan = room.m_plan;
    const TempFolder folder;
    const Scene scene = demoRoom(2, rPlan.m_dFocal);
    const SceneTruth truth = truthOf(scene, room.m_pair, rPlan);
    const cv::Mat1b rawRight = renderRaw(scene, room.m_pair.m_right, {}, {1.0, 1.2, 4});
    const Pose leftPose{room.m_pair.m_T, room.m_pair.m_R};
    const cv::Mat1b rawLeft = renderRaw(scene, room.m_pair.m_left, leftPose, {Room::sk_dLeftGain, 1.2, 5});
    writeText(folder / "c.txt", calibrationText(room.description()));
    StereoSession session(folder / "c.txt");
    const StereoResult result = runStereo(session, rawRight, rawLeft, {});

    // The library rectifies as OpenCV does, gain aside, and the region ends where the raw frame does.
    const auto compare = [&](KestrovaCamera eCamera, const cv::Mat& rRaw, const cv::Mat& rOurs, double dGain,
                             const std::array<cv::Mat1f, 2>& rMaps) {
        cv::Mat theirs;
        cv::remap(rRaw, theirs, rMaps[0], rMaps[1], cv::INTER_LINEAR);
        const cv::Mat1b inside = session.region(eCamera, room.m_size);
        const cv::Mat expected = (rMaps[0] >= 0) & (rMaps[0] <= 319) & (rMaps[1] >= 0) & (rMaps[1] <= 239);
        EXPECT_LT(cv::countNonZero(inside != expected), 20);
        EXPECT_GT(cv::countNonZero(inside == 0), 500);
        EXPECT_LT(cv::norm(rOurs, theirs * dGain, cv::NORM_L1, inside) / cv::countNonZero(inside), 1.0);
    };
    compare(KestrovaCamRight, rawRight, result.m_rectifiedRight, 1.0,
            mapsByOpenCv(room.m_pair.m_right, rPlan.m_rightRotation, rPlan));
    compare(KestrovaCamLeft, rawLeft, result.m_rectifiedLeft, 1 / Room::sk_dLeftGain,
            mapsByOpenCv(room.m_pair.m_left, rPlan.m_leftRotation, rPlan));

    // The truth joins the same greys of both images, and nothing that a nearer surface hides from the left camera.
    cv::Mat1f columns = truth.m_disparity.clone();
    cv::Mat1f rows(room.m_size);
    for (int nRow = 0; nRow < 240; ++nRow)
        for (int nCol = 0; nCol < 320; ++nCol) {
            columns(nRow, nCol) += static_cast<float>(nCol);
            rows(nRow, nCol) = static_cast<float>(nRow);
        }
    const cv::Mat seen = truth.m_sight == static_cast<int>(Sight::Textured);
    const auto meanDifference = [&](const cv::Point2d& rShift) {
        cv::Mat matches;
        cv::remap(result.m_rectifiedLeft, matches, columns + rShift.x, rows + rShift.y, cv::INTER_CUBIC);
        return cv::norm(matches, result.m_rectifiedRight, cv::NORM_L1, seen) / cv::countNonZero(seen);
    };
    for (const cv::Point2d& rShift : Points{{0.5, 0}, {-0.5, 0}, {0, 0.5}, {0, -0.5}})
        EXPECT_GT(meanDifference(rShift), 1.4 * meanDifference({0, 0})) << rShift;
    cv::Mat covering;
    cv::remap(toLeftView(truth.m_disparity), covering, columns, rows, cv::INTER_NEAREST);
    const cv::Mat hidden = (covering > truth.m_disparity + 4) | (columns > 335);
    EXPECT_GT(cv::countNonZero(hidden), 1000);
    EXPECT_LT(cv::countNonZero(hidden & (truth.m_sight != 0)), 30);

    const double dScale = rPlan.m_dFocal * rPlan.m_dBaseline;
    const Accuracy accuracy = measureAccuracy(result.m_map16, truth, {Sight::Textured}, dScale);
    EXPECT_GT(accuracy.m_nPixels, 50000);
    EXPECT_GE(accuracy.validShare(), 70.0);
    EXPECT_GE(accuracy.within1Share(), 95.0);
    EXPECT_LT(accuracy.meanPixels(), 0.2);
    const Accuracy coarse = measureAccuracy(result.m_map8, truth, {Sight::Textured}, dScale);
    EXPECT_GE(coarse.within1Share(), 95.0);
    EXPECT_GT(coarse.meanPixels(), accuracy.meanPixels()) << "the fraction is worth something";
    EXPECT_LT(result.m_rectifiedRows.m_dMeanRows, 0.2);
    EXPECT_GT(result.m_rectifiedRows.m_nPoints, 50);
    EXPECT_GT(result.m_rawRows.m_dMeanRows, 2.0) << "raw frames do not agree";

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
