// The rendered room and its truth, and the whole road through the library on it.
#include "CalibrationText.h"
#include "Report.h"

#include "app/TempFolder.h"

#include <gtest/gtest.h>
#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>

namespace kestrova::app {

TEST(Scene, NearestSurfaceWinsAtItsDistance)
{
    Scene scene;
    const Paint plain{Material::Plain, 100.0, 0.0, 0};
    scene.add(Rectangle{{-5, -5, 4}, {1, 0, 0}, {0, 1, 0}, 10, 10, plain});
    scene.add(Rectangle{{-0.5, -0.5, 2}, {1, 0, 0}, {0, 1, 0}, 1, 1, Paint{Material::Repeated, 100.0, 0.1, 0}});
    scene.add(Sphere{{0, 0, 3}, 0.75, Paint{Material::Textured, 100.0, 0.01, 9}});
    struct Case
    {
        cv::Vec3d m_origin;
        cv::Vec3d m_direction;
        double m_dDistance;
        Material m_eMaterial;
    };
    const double dFar = std::numeric_limits<double>::infinity();
    const Case aCases[] = {{{}, {0, 0, 1}, 2.0, Material::Repeated},
                           {{}, {0, 0, 2}, 1.0, Material::Repeated},
                           {{0.6, 0, 0}, {0, 0, 1}, 3 - 0.45, Material::Textured},
                           {{1, 0, 0}, {0, 0, 1}, 4.0, Material::Plain},
                           {{}, {1, 0, 1}, 4.0, Material::Plain},
                           {{}, {2, 0, 1}, dFar, Material::Plain},
                           {{}, {0, 0, -1}, dFar, Material::Plain},
                           {{}, {0, 1, 0}, dFar, Material::Plain},
                           {{0, 0, 2.1}, {0, 0, 1}, 0.15, Material::Textured}};
    for (const Case& rCase : aCases) {
        const Hit hit = scene.trace(rCase.m_origin, rCase.m_direction);
        EXPECT_DOUBLE_EQ(hit.m_dDistance, rCase.m_dDistance) << rCase.m_origin << rCase.m_direction;
        EXPECT_EQ(hit.m_eMaterial, rCase.m_eMaterial) << rCase.m_origin << rCase.m_direction;
    }
}

// A pair of frames of the demo room at a quarter of the usual size, by the same units as the demo.
struct Room
{
    static constexpr double sk_dLeftGain = 0.8;
    cv::Size m_size{320, 240};
    CameraPair m_pair = exampleCameraPair(m_size);
    RectificationPlan m_plan = planRectification(m_pair, m_size, 0.3);
    Scene m_scene = demoRoom(2, m_plan.m_dFocal);
    SceneTruth m_truth = truthOf(m_scene, m_pair, m_plan);

    cv::Mat1b right(double dNoise = 1.2) const { return renderRaw(m_scene, m_pair.m_right, {}, {1.0, dNoise, 4}); }
    cv::Mat1b left(double dNoise = 1.2) const
    {
        return renderRaw(m_scene, m_pair.m_left, {m_pair.m_T, m_pair.m_R}, {sk_dLeftGain, dNoise, 5});
    }
    std::string calibration() const
    {
        const CameraMaps right = fitCameraMaps(m_pair.m_right, m_plan.m_rightRotation, m_plan);
        const CameraMaps left = fitCameraMaps(m_pair.m_left, m_plan.m_leftRotation, m_plan);
        CalibrationDescription description = identityCalibration(m_size, m_plan.m_dFocal, m_plan.m_dBaseline);
        description.m_centre = m_plan.m_centre;
        description.m_bRectify = true;
        description.m_nMaxDisparity = 32;
        description.m_right = {right.m_rawFromRectified, right.m_rectifiedFromRaw, 1.0};
        description.m_left = {left.m_rawFromRectified, left.m_rectifiedFromRaw, 1.0 / sk_dLeftGain};
        return calibrationText(description);
    }
};

// OpenCV's rectification of noiseless frames stands in for the library's.
static cv::Mat1f rectifyByOpenCv(const cv::Mat1b& rRaw, const CameraModel& rCamera, const cv::Matx33d& rRotation,
                                 const RectificationPlan& rPlan)
{
    const cv::Matx33d P(rPlan.m_dFocal, 0, rPlan.m_centre.x, 0, rPlan.m_dFocal, rPlan.m_centre.y, 0, 0, 1);
    cv::Mat mapX;
    cv::Mat mapY;
    cv::initUndistortRectifyMap(rCamera.m_K, rCamera.m_adDistortion, rRotation, P, rPlan.m_canvas, CV_32F, mapX, mapY);
    cv::Mat1f raw;
    rRaw.convertTo(raw, CV_32F);
    cv::Mat1f rectified;
    cv::remap(raw, rectified, mapX, mapY, cv::INTER_CUBIC);
    return rectified;
}

TEST(SceneRenderer, TrueDisparityJoinsTheSameGreysInBothImages)
{
    const Room room;
    const cv::Mat1f right =
        rectifyByOpenCv(room.right(0), room.m_pair.m_right, room.m_plan.m_rightRotation, room.m_plan);
    const cv::Mat1f left = rectifyByOpenCv(room.left(0), room.m_pair.m_left, room.m_plan.m_leftRotation, room.m_plan);
    const auto meanDifference = [&](double dShiftX, double dShiftY) {
        double dSum = 0.0;
        int nCount = 0;
        for (int nRow = 8; nRow < 232; ++nRow)
            for (int nCol = 8; nCol < 300; ++nCol)
                if (room.m_truth.m_sight(nRow, nCol) == static_cast<int>(Sight::Textured)) {
                    const double dX = nCol + dShiftX + static_cast<double>(room.m_truth.m_disparity(nRow, nCol));
                    cv::Mat1f match;
                    cv::getRectSubPix(left, {1, 1}, cv::Point2f(cv::Point2d(dX, nRow + dShiftY)), match);
                    dSum += std::abs(match(0, 0) / Room::sk_dLeftGain - right(nRow, nCol));
                    ++nCount;
                }
        EXPECT_GT(nCount, 50000);
        return dSum / nCount;
    };
    const double dThere = meanDifference(0, 0);
    EXPECT_LT(dThere, 4.0) << "what interpolation of fine texture leaves";
    for (const cv::Point2d& rShift :
         {cv::Point2d(0.5, 0), cv::Point2d(-0.5, 0), cv::Point2d(0, 0.5), cv::Point2d(0, -0.5)})
        EXPECT_GT(meanDifference(rShift.x, rShift.y), 1.5 * dThere) << rShift;
}

TEST(SceneRenderer, WhatOneCameraAloneSeesIsLeftOut)
{
    const Room room;
    const cv::Mat1f& rTrue = room.m_truth.m_disparity;
    int nHidden = 0;
    for (int nRow = 0; nRow < 240; ++nRow) {
        // Seen from the left, a nearer surface that lands on the same column hides this one.
        for (int nCol = 0; nCol < 320; ++nCol) {
            const float fAt = static_cast<float>(nCol) + rTrue(nRow, nCol);
            if (fAt > 335.0f) {
                EXPECT_EQ(room.m_truth.m_sight(nRow, nCol), 0) << "beyond the end of the left frame";
            }
            for (int nOther = std::max(0, nCol - 40); nOther < nCol; ++nOther)
                if (rTrue(nRow, nOther) > rTrue(nRow, nCol) + 4 &&
                    std::abs(static_cast<float>(nOther) + rTrue(nRow, nOther) - fAt) < 0.3f &&
                    rTrue(nRow, std::max(0, nOther - 2)) > rTrue(nRow, nCol) + 4 &&
                    rTrue(nRow, nOther + 2) > rTrue(nRow, nCol) + 4) {
                    ++nHidden;
                    EXPECT_EQ(room.m_truth.m_sight(nRow, nCol), 0) << nRow << ' ' << nCol;
                }
        }
    }
    EXPECT_GT(nHidden, 300);
}

TEST(Report, CountsAgainstTheTruthByHand)
{
    const float fNone = std::numeric_limits<float>::infinity();
    const DisparityMap map{(cv::Mat1f(1, 6) << 20.0f, 20.5f, 21.5f, fNone, 30.0f, 10.0f), cv::Mat1b(1, 6, uchar(0))};
    const SceneTruth truth{cv::Mat1f(1, 6, 20.0f), (cv::Mat1b(1, 6) << 1, 1, 1, 1, 0, 2)};
    const Accuracy textured = measureAccuracy(map, truth, {Sight::Textured}, 60.0);
    EXPECT_EQ(textured.m_nPixels, 4);
    EXPECT_DOUBLE_EQ(textured.validShare(), 75.0);
    EXPECT_NEAR(textured.within1Share(), 200.0 / 3, 1e-9);
    EXPECT_DOUBLE_EQ(textured.meanPixels(), 0.25);
    EXPECT_NEAR(textured.meanMetres(), (3.0 - 60 / 20.5) / 2, 1e-6);
    EXPECT_EQ(measureAccuracy(map, truth, {Sight::Textured}, 60.0, 3.5, 9.0).m_nPixels, 0);
    EXPECT_EQ(measureAccuracy(map, truth, {Sight::Plain}, 60.0, 3.0, 3.5).m_nPixels, 1);
}

TEST(RowAgreement, MeasuresAKnownShiftAndShunsRepeatedPatterns)
{
    cv::Mat1b image(200, 300);
    cv::theRNG().state = 11;
    cv::randu(image, 0, 255);
    cv::GaussianBlur(image, image, {0, 0}, 1.5);
    cv::Mat shifted;
    cv::warpAffine(image, shifted, cv::Matx23f(1, 0, 7, 0, 1, 2.5f), image.size(), cv::INTER_LINEAR,
                   cv::BORDER_REFLECT);
    const RowAgreement rows = measureRows(image, shifted, {0, 20, 5}, {});
    EXPECT_GT(rows.m_nPoints, 50);
    EXPECT_NEAR(rows.m_dMeanRows, 2.5, 0.1);
    cv::Mat1b checks(200, 300);
    for (int nRow = 0; nRow < checks.rows; ++nRow)
        for (int nCol = 0; nCol < checks.cols; ++nCol)
            checks(nRow, nCol) = (nRow / 6 + nCol / 6) % 2 ? 200 : 50;
    EXPECT_EQ(measureRows(checks, checks, {0, 30, 14}, {}).m_nPoints, 0);
}

TEST(WholeRoad, DefaultsReachTheirFiguresOnTheRoom)
{
    const Room room;
    const TempFolder folder;
    writeText(folder / "c.txt", room.calibration());
    StereoSession session(folder / "c.txt");
    const StereoResult result = runStereo(session, room.right(), room.left(), {});
    const double dScale = room.m_plan.m_dFocal * room.m_plan.m_dBaseline;
    const Accuracy accuracy = measureAccuracy(result.m_map16, room.m_truth, {Sight::Textured}, dScale);
    EXPECT_GE(accuracy.validShare(), 70.0);
    EXPECT_GE(accuracy.within1Share(), 95.0);
    EXPECT_LT(accuracy.meanPixels(), 0.2);
    const Accuracy coarse = measureAccuracy(result.m_map8, room.m_truth, {Sight::Textured}, dScale);
    EXPECT_GE(coarse.within1Share(), 95.0);
    EXPECT_GT(coarse.meanPixels(), accuracy.meanPixels()) << "the fraction is worth something";
    EXPECT_LT(result.m_rectifiedRows.m_dMeanRows, 0.2);
    EXPECT_GT(result.m_rectifiedRows.m_nPoints, 50);
    EXPECT_GT(result.m_rawRows.m_dMeanRows, 2.0) << "raw frames do not agree";

    // Where the region outside is not masked, repeated pixels would be taken for surfaces.
    EXPECT_GT(result.m_map16.count()[static_cast<int>(Reject::Outside)], 500);
    const cv::Mat1b inside = session.region(KestrovaCamRight, room.m_size);
    for (int nRow = 0; nRow < 240; ++nRow)
        for (int nCol = 0; nCol < 320; ++nCol)
            if (!inside(nRow, nCol)) {
                ASSERT_TRUE(result.m_disparity16(nRow, nCol) >= 0xFF00 &&
                            std::isinf(result.m_map16.m_pixels(nRow, nCol)));
            }

    // Points stand where the truth has them: x right, y down, z forward, in the right camera's rectified frame.
    ASSERT_GT(result.m_cloud.size(), 30000u);
    std::size_t nNear = 0;
    for (const CloudPoint& rPoint : result.m_cloud) {
        const cv::Point3f at = rPoint.m_position;
        const int nCol = static_cast<int>(std::lround(at.x / at.z * room.m_plan.m_dFocal + room.m_plan.m_centre.x));
        const int nRow = static_cast<int>(std::lround(at.y / at.z * room.m_plan.m_dFocal + room.m_plan.m_centre.y));
        ASSERT_TRUE(nRow >= 0 && nRow < 240 && nCol >= 0 && nCol < 320) << at;
        const double dTrue = dScale / room.m_truth.m_disparity(nRow, nCol);
        nNear += std::abs(at.z - dTrue) < 0.05 * dTrue;
    }
    EXPECT_GT(nNear, result.m_cloud.size() * 9 / 10);

    OutputFolder output(folder / "out");
    writeResult(output, result, "test");
    output.commit();
    for (const char* pszName :
         {"raw_right", "raw_left", "rectified_right", "rectified_left", "edge_right", "edge_left", "side_by_side",
          "disparity16_256ths_offset0", "disparity8_pixels_offset0", "disparity16_colour", "disparity8_colour"})
        EXPECT_TRUE(std::filesystem::exists(folder / "out" / (std::string(pszName) + ".png"))) << pszName;
    EXPECT_EQ(std::filesystem::file_size(folder / "out/disparity_pixels.pfm"), 320u * 240u * 4u + 16u);
}

} // namespace kestrova::app
