// From lenses and places to a rig that the library agrees with, or to the line that says why not.
#include "app/program.h"
#include "basics/AppError.h"
#include "cameras/LensReach.h"
#include "cameras/RigProof.h"

#include <gmock/gmock.h>
#include <opencv2/calib3d.hpp>

namespace kestrova::app {

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;

namespace {

struct Rigs : testing::Test
{
    static RigWishes imported()
    {
        RigWishes wishes;
        wishes.m_eNames = CameraNames::ByGeometry;
        return wishes;
    }
    static void expectSame(const Rig& rA, const Rig& rB)
    {
        EXPECT_NEAR(rA.m_plan.m_dFocal, rB.m_plan.m_dFocal, 1e-9);
        for (const auto& [eCamera, rRotation] : rA.m_plan.m_rotations) {
            EXPECT_LT(cv::norm(rRotation - rB.m_plan.m_rotations.at(eCamera)), 1e-12);
            EXPECT_EQ(rA.m_set.at(eCamera).m_model.m_cameraMatrix, rB.m_set.at(eCamera).m_model.m_cameraMatrix);
        }
    }
    static MountedCamera& left(CameraSet& rSet) { return rSet.at(KestrovaCamLeft); }

    const TempFolder m_folder;
    const cv::Size m_size{320, 240};
    CameraSet m_pair = exampleCameraSet(m_size);
};

} // namespace

TEST_F(Rigs, WhatCannotBeARigIsNamed)
{
    using Spoil = std::function<void(CameraSet&)>;
    const std::pair<Spoil, const char*> aCases[] = {
        {[](CameraSet& r) { left(r).m_model.m_cameraMatrix(0, 2) = NAN; },
         "left camera: camera matrix: has a value that is no"},
        {[](CameraSet& r) { left(r).m_model.m_cameraMatrix(1, 1) = -280; }, "focal lengths .* above 0"},
        {[](CameraSet& r) { left(r).m_model.m_cameraMatrix *= 0.5; }, "only its first two rows scaled"},
        {[](CameraSet& r) { left(r).m_model.m_cameraMatrix(1, 2) = 241; }, "centre .* outside the frame of 320x240"},
        {[](CameraSet& r) {
             left(r).m_model.m_size = {640, 480};
         },
         "size 640x480, but the right one has 320x240"},
        {[](CameraSet& r) { left(r).m_model.m_adDistortion.resize(3); }, "distortion: 3 coefficients"},
        {[](CameraSet& r) { left(r).m_model.m_adDistortion[4] = INFINITY; }, "distortion: has a value that is no"},
        {[](CameraSet& r) { left(r).m_rotation(2, 2) = -left(r).m_rotation(2, 2); }, "R: no rotation"},
        {[](CameraSet& r) { left(r).m_rotation *= 1.01; }, "R: no rotation"},
        {[](CameraSet& r) { left(r).m_translation[1] = NAN; }, "R, T: a value is no number"},
        {[](CameraSet& r) { left(r).m_translation = {}; }, "T: both cameras stand at one place"},
        {[](CameraSet& r) { left(r).m_translation *= 1000; },
         "a baseline of 120 m; .* millimetres given as metres; compare T and --unit"},
        {[](CameraSet& r) { left(r).m_translation *= 0.001; }, "metres given as millimetres; compare T and --unit"},
        {[](CameraSet& r) { r = exchanged(r); }, "left and right are swapped"},
        {[](CameraSet& r) {
             left(r).m_translation = {0, -0.12, 0};
         },
         "one above the other: give them as --right and --top"},
        {[](CameraSet& r) { cv::Rodrigues(cv::Vec3d(0, 2.5, 0), left(r).m_rotation); }, "no view in common"}};
    for (const auto& [spoil, pszReason] : aCases) {
        CameraSet set = m_pair;
        spoil(set);
        try {
            RigWishes wishes;
            wishes.m_source = "stereo.yml";
            buildRig(set, wishes);
            ADD_FAILURE() << pszReason;
        } catch (const AppError& rError) {
            EXPECT_THAT(rError.what(), testing::MatchesRegex("stereo.yml: [^\n]*" + std::string(pszReason) + "[^\n]*"));
        }
    }
    left(m_pair).m_translation *= 50; // 6 metres
    EXPECT_THAT(buildRig(m_pair, {}).m_remarks, Contains(HasSubstr("does this match your ruler?")));
}

TEST_F(Rigs, GeometryNamesTheCamerasAndAnOverrideWins)
{
    const Rig straight = buildRig(m_pair, imported());
    const Rig turned = buildRig(exchanged(m_pair), imported());
    expectSame(turned, straight);
    EXPECT_THAT(turned.m_remarks, Contains(HasSubstr("the reverse of the given order")));

    RigWishes wishes;
    wishes.m_leftIs = KestrovaCamRight;
    expectSame(buildRig(exchanged(m_pair), wishes), straight);
    wishes.m_leftIs = KestrovaCamLeft; // of a source whose R and T lead from right to left
    CameraSet back = m_pair;
    left(back).m_rotation = left(m_pair).m_rotation.t();
    left(back).m_translation = -(left(back).m_rotation * left(m_pair).m_translation);
    const Rig overruled = buildRig(back, wishes);
    expectSame(overruled, straight);
    EXPECT_THAT(overruled.m_remarks, Contains(HasSubstr("taken as the way back")));

    left(m_pair).m_translation = {0.001, 0.12, 0}; // below, so the other one is on top
    EXPECT_EQ(configurationOf(buildRig(m_pair, imported()).m_set), KestrovaCfg2CameraVertical);
}

// Every pixel that is not masked shows the ray that the lens itself has there; everything past the fold is masked.
TEST_F(Rigs, ALensThatFoldsBackIsUsedWithinItsReachAndMaskedBeyond)
{
    const CameraModel lens{m_size, {175, 0, 159.5, 0, 175, 119.5, 0, 0, 1}, {-.35, .14, 0, 0, -.025}};
    const LensReach reach = reachOf(lens);
    EXPECT_NEAR(reach.m_dFold, 1.59, 0.02); // 1 - 1.05 r^2 + 0.7 r^4 - 0.175 r^6 = 0
    EXPECT_FALSE(reachOf(m_pair.at(KestrovaCamRight).m_model).isLimited());
    for (const double dAlpha : {0.0, 1.0}) {
        RigWishes wishes;
        wishes.m_dAlpha = dAlpha;
        const Rig rig = buildRig({{KestrovaCamRight, {lens, cv::Matx33d::eye(), {}}},
                                  {KestrovaCamLeft, {lens, cv::Matx33d::eye(), {-0.12, 0.002, 0.001}}}},
                                 wishes);
        EXPECT_THAT(rig.m_remarks, Contains(AllOf(HasSubstr("folds back"), HasSubstr("masked"))));
        writeText(m_folder / "fold.txt", rig.text());
        EXPECT_GT(proveRig(m_folder / "fold.txt", rig).m_nPoints, 2000u);
        const StereoSession session(m_folder / "fold.txt");
        const cv::Mat1b region = session.region(KestrovaCamLeft, m_size);
        const cv::Matx33d& rRotation = rig.m_plan.m_rotations.at(KestrovaCamLeft);
        int nPastFold = 0;
        for (int nRow = 0; nRow < region.rows; ++nRow) {
            for (int nCol = 0; nCol < region.cols; ++nCol) {
                const Points pixel{cv::Point2d(nCol, nRow)};
                const Points ray = raysOfRectified(rRotation, rig.m_plan, pixel);
                const cv::Point2d raw = session.outline().camera({-1, 0, 0})->rawPosition(pixel[0], m_size, m_size);
                const double dError = cv::norm(raw - projectRays(lens, ray)[0]);
                const double dRadius = cv::norm(ray[0]);
                nPastFold += dRadius > reach.m_dFold;
                const double dLimit = dRadius > reach.m_dFold ? -1.0 : dRadius < reach.m_dRay ? 0.1 : 1.0;
                ASSERT_TRUE(!region(nRow, nCol) || dError < dLimit) << pixel << dRadius << ' ' << dError;
            }
        }
        EXPECT_GT(cv::countNonZero(region), region.rows * region.cols * (dAlpha > 0.0 ? 6 : 8) / 10);
        EXPECT_EQ(nPastFold > 100, dAlpha > 0.0);
    }
}

TEST_F(Rigs, CanvasesAreFourByThreeAndTellWhatIsLost)
{
    const std::tuple<cv::Size, double, cv::Size, double, double> aCases[] = {
        // without distortion: the angles through the middle of the frame and of the canvas
        {{640, 360}, 0.0, {480, 360}, 22.6, 0.0},
        {{640, 360}, 1.0, {640, 480}, 0.0, 0.0},
        {{640, 512}, 0.0, {640, 480}, 0.0, 5.7},
        {{1600, 1200}, 0.0, {1280, 960}, 0.0, 0.0}};
    for (const auto& [raw, dAlpha, canvas, dRows, dColumns] : aCases) {
        const double dFocal = raw.width;
        const CameraModel lens{raw, {dFocal, 0, (raw.width - 1) / 2.0, 0, dFocal, (raw.height - 1) / 2.0, 0, 0, 1}, {}};
        RigWishes wishes;
        wishes.m_dAlpha = dAlpha;
        const Rig rig = buildRig({{KestrovaCamRight, {lens, cv::Matx33d::eye(), {}}},
                                  {KestrovaCamLeft, {lens, cv::Matx33d::eye(), {-0.12, 0, 0}}}},
                                 wishes);
        EXPECT_EQ(rig.m_plan.m_canvas, canvas);
        EXPECT_NEAR(rig.m_lostField[0], dRows, 0.3) << raw << dAlpha;
        EXPECT_NEAR(rig.m_lostField[1], dColumns, 0.3) << raw << dAlpha;
        EXPECT_NEAR(rig.m_plan.m_dFocal, std::min(dFocal, 1280.0), 1.0); // as fine as the raw pixels, where it can be
        writeText(m_folder / "wide.txt", rig.text());
        EXPECT_LT(proveRig(m_folder / "wide.txt", rig).m_dWorst, 0.01);
    }
}

TEST_F(Rigs, AnLThatOneDisparityCannotServeBecomesTwoSections)
{
    CameraSet set = exampleCameraSet(m_size, KestrovaCfg3CameraL);
    EXPECT_TRUE(buildRig(set, {}).m_further.empty());
    const cv::Vec3d right = set.at(KestrovaCamTop).m_translation; // at a right angle, and as long as the other
    for (const cv::Vec3d& rTop : {right + cv::Vec3d(0.002, 0, 0), 0.85 * right}) {
        set.at(KestrovaCamTop).m_translation = rTop;
        const Rig rig = buildRig(set, {});
        EXPECT_THAT(rig.m_remarks, Contains(HasSubstr("two sections are written")));
        writeText(m_folder / "two.txt", rig.text());
        EXPECT_LT(proveRig(m_folder / "two.txt", rig, {{KestrovaCamTop, {{160, 120}}}}).m_dWorst, 0.01);
        StereoSession session(m_folder / "two.txt");
        session.useCameras(KestrovaCfg2CameraVertical);
        EXPECT_NEAR(session.optics().m_fBaseline, cv::norm(rTop), 1e-6);
    }
    RigWishes few; // so few disparities that the difference does not matter
    few.m_disparity = {0, 2};
    EXPECT_TRUE(buildRig(set, few).m_further.empty());
}

TEST_F(Rigs, TheProofSeesAForeignText)
{
    const Rig rig = buildRig(m_pair, {});
    m_pair.at(KestrovaCamLeft).m_model.m_adDistortion[0] += 0.003;
    writeText(m_folder / "other.txt", buildRig(m_pair, {}).text());
    EXPECT_THROW(proveRig(m_folder / "other.txt", rig), AppError);
}

} // namespace kestrova::app
