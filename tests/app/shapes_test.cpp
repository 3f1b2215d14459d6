// Frames of every shape and lens: known cameras photograph a board, and must be found again.
#include "app/boardPhotos.h"
#include "app/program.h"
#include "basics/AppError.h"
#include "boards/CornerProof.h"
#include "boards/SetCalibration.h"
#include "cameras/LensReach.h"
#include "cameras/RigProof.h"

#include <gmock/gmock.h>

namespace kestrova::app {

using testing::AllOf, testing::HasSubstr, testing::Not;

namespace {

const Board sk_sheet{{9, 6}, 0.025};

struct Optic
{
    LensChoice m_eChoice;
    std::vector<double> m_adDistortion;
    double m_dFocal; // of the larger side
};
const Optic sk_plumb{LensChoice::Plumb, {-.27, .105, .0008, -.0006, -.018}, 0.8};
const Optic sk_rational{LensChoice::Rational, {.3, -.1, .0005, -.0004, .01, .6, -.1, .02}, 0.75};
const Optic sk_wide{LensChoice::Equidistant, {-.02, .003, -.001, .0002}, 0.42};

CameraSet knownPair(cv::Size size, const Optic& rOptic)
{
    const Lens eLens = rOptic.m_eChoice == LensChoice::Equidistant ? Lens::Equidistant : Lens::Polynomial;
    return knownPair(size, eLens, rOptic.m_adDistortion, rOptic.m_dFocal);
}

// Corners of boards all over the frames, off by a twentieth of a pixel, without pictures.
Shots cornersOf(const CameraSet& rSet, int nShots)
{
    Shots shots{sk_sheet, rSet.at(KestrovaCamRight).m_model.m_size, {}};
    cv::RNG rng(5);
    Points squares;
    for (int i = 0; i < sk_sheet.m_inner.area(); ++i) {
        squares.emplace_back(i % sk_sheet.m_inner.width, i / sk_sheet.m_inner.width);
    }
    for (const BoardPose& rPose : posesAcross(rSet, sk_sheet, nShots)) {
        for (Shot& rShot = shots.m_shots.emplace_back(); const auto& [eCamera, rCamera] : rSet) {
            for (const cv::Point2d& rAt : boardPixels(rCamera, rPose, squares, sk_sheet.m_dSquare)) {
                rShot[eCamera].m_corners.emplace_back(rAt + cv::Point2d(rng.gaussian(0.05), rng.gaussian(0.05)));
            }
        }
    }
    return shots;
}

// The largest distance, in pixels, between where two lenses show the same rays, of the pixels where boards were. A
// shift of all of them is the centre's, which a turn of the camera makes good.
double lensDifference(const CameraModel& rTrue, const CameraModel& rFound, const Shots& rShots, KestrovaCamera eCamera)
{
    Points off;
    cv::Point2d shift;
    for (const Shot& rShot : rShots.m_shots) {
        const Corners& rCorners = rShot.at(eCamera).m_corners;
        const Points pixels(rCorners.begin(), rCorners.end());
        const Points found = projectRays(rFound, raysOfPixels(rTrue, pixels));
        for (std::size_t u = 0; u < pixels.size(); ++u) {
            off.push_back(found[u] - pixels[u]);
            shift += off.back();
        }
    }
    shift /= static_cast<double>(off.size());
    double dWorst = 0.0;
    for (const cv::Point2d& rOff : off) {
        dWorst = std::max(dWorst, cv::norm(rOff - shift));
    }
    return dWorst;
}

void expectKnown(const CameraSet& rTrue, const CameraSet& rFound, const Shots& rShots, double dPixels,
                 const std::string& rCase)
{
    for (const auto& [eCamera, rKnown] : rTrue) {
        const MountedCamera& rCamera = rFound.at(eCamera);
        const cv::Matx33d& K = rCamera.m_model.m_cameraMatrix;
        const cv::Matx33d& rK = rKnown.m_model.m_cameraMatrix;
        EXPECT_NEAR(K(0, 0) / rK(0, 0), 1.0, 0.004) << rCase << cameraName(eCamera);
        EXPECT_NEAR(K(1, 1) / rK(1, 1), 1.0, 0.004) << rCase << cameraName(eCamera);
        EXPECT_LT(std::hypot(K(0, 2) - rK(0, 2), K(1, 2) - rK(1, 2)), 2.0 * dPixels) << rCase << cameraName(eCamera);
        EXPECT_LT(lensDifference(rKnown.m_model, rCamera.m_model, rShots, eCamera), dPixels)
            << rCase << cameraName(eCamera);
    }
    const MountedCamera& rKnown = rTrue.at(KestrovaCamLeft);
    const MountedCamera& rLeft = rFound.at(KestrovaCamLeft);
    EXPECT_LT(cv::norm(rLeft.m_translation - rKnown.m_translation), 4e-4) << rCase << rLeft.m_translation;
    EXPECT_LT(cv::norm(rLeft.m_rotation - rKnown.m_rotation), 2.0 * dPixels / rKnown.m_model.m_cameraMatrix(0, 0))
        << rCase;
}

// Every rectified pixel that counts shows the ray that the known lens has there.
void expectRegion(const StereoSession& rSession, const Rig& rRig, const CameraSet& rTrue, const std::string& rCase)
{
    for (const auto& [eCamera, rKnown] : rTrue) {
        const cv::Size raw = rKnown.m_model.m_size;
        const cv::Mat1b region = rSession.region(eCamera, raw);
        const OutlineCamera* pOutline = rSession.outline().camera({eCamera == KestrovaCamLeft ? -1 : 0, 0, 0});
        const CameraModel& rLens = rRig.m_set.at(eCamera).m_model;
        const LensReach reach = reachOf(rLens);
        int nFar = 0;
        for (int nRow = 0; nRow < region.rows; nRow += 7) {
            for (int nCol = 0; nCol < region.cols; nCol += 7) {
                const Points rays =
                    raysOfRectified(rRig.m_plan.m_rotations.at(eCamera), rRig.m_plan, {cv::Point2d(nCol, nRow)});
                const cv::Point2d at = projectContinued(rLens, reach, rays)[0];
                const bool bWellInside = cv::Rect2d(1, 1, raw.width - 3, raw.height - 3).contains(at) &&
                                         cv::norm(rays[0]) < 0.98 * reach.m_dRay;
                if (bWellInside != (region(nRow, nCol) != 0)) {
                    nFar += (bWellInside && cv::norm(rays[0]) < 2.5) ||
                            !cv::Rect2d(-1, -1, raw.width + 1, raw.height + 1).contains(at);
                } else if (bWellInside) {
                    nFar += cv::norm(pOutline->rawPosition(cv::Point(nCol, nRow), region.size(), raw) - at) > 0.2;
                }
            }
        }
        EXPECT_EQ(nFar, 0) << rCase << cameraName(eCamera);
    }
}

} // namespace

TEST(Shapes, KnownCamerasAreFoundAgainFromCornersOfAnyShape)
{
    struct Case
    {
        cv::Size m_raw;
        const Optic& m_rOptic;
        double m_dAlpha;
        cv::Size m_canvas;
    };
    const Case aCases[] = {{{480, 270}, sk_plumb, 0, {360, 270}},      {{480, 270}, sk_rational, 1, {480, 360}},
                           {{480, 270}, sk_wide, 0, {360, 270}},       {{270, 180}, sk_plumb, 1, {268, 201}},
                           {{270, 180}, sk_wide, 1, {268, 201}},       {{320, 200}, sk_rational, 0, {264, 198}},
                           {{320, 256}, sk_plumb, 1, {340, 255}},      {{320, 240}, sk_wide, 0, {320, 240}},
                           {{270, 480}, sk_plumb, 0, {268, 201}},      {{240, 320}, sk_rational, 1, {424, 318}},
                           {{270, 480}, sk_wide, 1, {640, 480}},       {{1920, 1080}, sk_plumb, 1, {1280, 960}},
                           {{3840, 2160}, sk_rational, 0, {1280, 960}}};
    const TempFolder folder;
    for (const Case& rCase : aCases) {
        const std::string name = std::to_string(rCase.m_raw.width) + "x" + std::to_string(rCase.m_raw.height) + " " +
                                 lensName(rCase.m_rOptic.m_eChoice) + " alpha " + std::to_string(rCase.m_dAlpha) + " ";
        const CameraSet known = knownPair(rCase.m_raw, rCase.m_rOptic);
        Shots shots = cornersOf(known, 14);
        const SetCalibration found = calibrateSet(shots, rCase.m_rOptic.m_eChoice);
        EXPECT_EQ(shots.nUsed(), 14u) << name << verdicts(shots);
        expectKnown(known, found.m_set, shots, 0.6, name);
        RigWishes wishes;
        wishes.m_dAlpha = rCase.m_dAlpha;
        const Rig rig = buildRig(found.m_set, wishes);
        EXPECT_EQ(rig.m_plan.m_canvas, rCase.m_canvas) << name;
        writeText(folder / "rig.txt", rig.text());
        EXPECT_LT(proveRig(folder / "rig.txt", rig).m_dWorst, 0.1) << name;
        StereoSession session(folder / "rig.txt");
        const PairProof proof = proveCorners(session, rig, shots).at(KestrovaCamLeft);
        EXPECT_GT(proof.m_rows.m_nCount, 14 * 54 / 4) << name;
        EXPECT_LT(proof.m_rows.m_dRms, 0.1) << name;
        EXPECT_NEAR(proof.m_dSquare, sk_sheet.m_dSquare, 5e-5) << name;
        expectRegion(session, rig, known, name);
    }
}

// Half a pixel of noise makes each side of a square longer, not the square.
TEST(Shapes, NoiseDoesNotMakeTheSquareLarger)
{
    const CameraSet known = knownPair({270, 180}, sk_plumb);
    Shots shots = cornersOf(known, 14);
    const TempFolder folder;
    const Rig rig = buildRig(known, {});
    writeText(folder / "rig.txt", rig.text());
    cv::RNG rng(3);
    for (Shot& rShot : shots.m_shots) {
        for (auto& [eCamera, rView] : rShot) {
            for (cv::Point2f& rCorner : rView.m_corners) {
                rCorner.x += static_cast<float>(rng.gaussian(0.2));
            }
        }
    }
    StereoSession session(folder / "rig.txt");
    const PairProof proof = proveCorners(session, rig, shots).at(KestrovaCamLeft);
    EXPECT_NEAR(proof.m_dSquare, sk_sheet.m_dSquare, 1.5e-4);
    EXPECT_GT(proof.m_dSquareSpread, 2e-3);
}

TEST(Shapes, TheModelIsTheOneThatExplainsPhotosLeftOutOfItsFit)
{
    const std::tuple<cv::Size, Optic, LensChoice> aCases[] = {
        {{480, 270}, sk_plumb, LensChoice::Plain}, // k3 is too small to be seen
        {{480, 270},
         {LensChoice::Plumb, {-.3, .5, .006, -.005, -.25}, 0.6},
         LensChoice::Plumb}, // waves, and off its axis
        {{480, 300}, sk_wide, LensChoice::Equidistant},
        {{270, 480}, sk_wide, LensChoice::Equidistant},
        {{480, 300}, {LensChoice::Equidistant, {.05, -.02, .004, -.0005}, 0.36}, LensChoice::Equidistant}};
    for (const auto& [raw, optic, eExpected] : aCases) {
        const CameraSet known = knownPair(raw, optic);
        Shots shots = cornersOf(known, 15);
        for (cv::Point2f& rCorner : shots.m_shots[6].at(KestrovaCamRight).m_corners) { // a bad photo tips no balance
            rCorner.x += 3.0f * std::sin(rCorner.y);
        }
        const SetCalibration found = calibrateSet(shots, LensChoice::Auto);
        EXPECT_STREQ(lensName(found.m_eChoice), lensName(eExpected)) << raw << found.m_whyThisLens;
        EXPECT_THAT(found.m_whyThisLens, AllOf(HasSubstr("plain "), HasSubstr("equidistant "), HasSubstr("rational ")));
        EXPECT_EQ(shots.nUsed(), 14u) << raw << verdicts(shots);
        expectKnown(known, found.m_set, shots, 0.8, found.m_whyThisLens);
    }
}

namespace {

// As a user would: photos, calibration, frames of the same cameras, and the lenses out again.
struct ShapedProgram : Program
{
    void photograph(const CameraSet& rSet, int nShots) const
    {
        const std::vector<BoardPose> poses = posesAcross(rSet, sk_sheet, nShots);
        const Scene scene = demoRoom(1, rSet.at(KestrovaCamRight).m_model.m_cameraMatrix(0, 0));
        for (const auto& [eCamera, rCamera] : rSet) {
            const BoardPhotographer take(rCamera);
            for (std::size_t u = 0; u < poses.size(); ++u) {
                writeImage(m_folder / (cameraName(eCamera) + std::to_string(u) + ".png"), take(poses[u], sk_sheet));
            }
            writeImage(m_folder / (std::string("room_") + cameraName(eCamera) + ".png"),
                       renderRaw(scene, rCamera.m_model, {rCamera.m_translation, rCamera.m_rotation}, {1.0, 1.0, 1}, 2)
                           .m_grey);
        }
    }

    double after(const std::string& rText, const std::string& rWord) const
    {
        const std::size_t uAt = rText.find(rWord);
        return uAt == std::string::npos ? NAN : std::stod(rText.substr(uAt + rWord.size()));
    }

    cv::Mat1d exported(const std::string& rKey) const
    {
        cv::Mat value;
        for (const char* pszName : {"lenses/intrinsics.yml", "lenses/extrinsics.yml"}) {
            if (const cv::FileStorage file((m_folder / pszName).string(), cv::FileStorage::READ); !file[rKey].empty()) {
                file[rKey] >> value;
            }
        }
        return value;
    }
};

} // namespace

TEST_F(ShapedProgram, FromPhotosOfAnyShapeToFramesAndBackToOpenCv)
{
    const std::tuple<cv::Size, Optic, const char*, const char*> aCases[] = {{{320, 180}, sk_plumb, "0", "240x180"},
                                                                            {{300, 200}, sk_rational, "1", "300x225"},
                                                                            {{240, 320}, sk_wide, "1", "424x318"}};
    for (const auto& [raw, optic, pszAlpha, pszCanvas] : aCases) {
        const CameraSet known = knownPair(raw, optic);
        photograph(known, 12);
        const std::string frames = "--calibration rig.txt --right room_right.png --left room_left.png";
        const Outcome made = call("calibrate --right 'right*.png' --left 'left*.png' --inner 9x6 --square 25mm -o "
                                  "rig.txt --report page.html --compare-opencv --alpha " +
                                  std::string(pszAlpha));
        ASSERT_EQ(made.m_nStatus, 0) << raw << made.m_error << made.m_out;
        EXPECT_THAT(made.m_out, AllOf(HasSubstr(std::string("rectified images of ") + pszCanvas),
                                      HasSubstr("lens model: "), Not(HasSubstr("DO NOT USE"))));
        EXPECT_LT(after(made.m_out, "row error "), 0.2) << raw;
        EXPECT_LT(after(made.m_out, "ours is "), 1.1) << raw << made.m_out;
        EXPECT_NEAR(after(made.m_out, "baseline "), 60.01, 0.4) << raw;
        EXPECT_THAT(slurp(m_folder / "page.html"), HasSubstr("Rectified by the library"));

        const Outcome checked = call("check " + frames);
        EXPECT_EQ(checked.m_nStatus, 0) << raw << checked.m_error;
        const Outcome ran = call("run " + frames + " --near 0.5m --far 20m --out npy --to ran");
        EXPECT_EQ(ran.m_nStatus, 0) << raw << ran.m_error;

        const Outcome out = call("export --calibration rig.txt --to opencv --out lenses --size " +
                                 std::to_string(raw.width) + "x" + std::to_string(raw.height));
        ASSERT_EQ(out.m_nStatus, 0) << raw << out.m_error;
        const cv::Matx33d& K = known.at(KestrovaCamRight).m_model.m_cameraMatrix; // camera 2 of the file
        EXPECT_NEAR(exported("M2")(0, 0) / K(0, 0), 1.0, 0.01) << raw;
        EXPECT_NEAR(exported("M2")(0, 2), K(0, 2), 1.5) << raw;
        EXPECT_NEAR(exported("M2")(1, 2), K(1, 2), 1.5) << raw;
        EXPECT_NEAR(cv::norm(exported("T")), 0.06001, 3e-4) << raw;
        EXPECT_LT(cv::norm(exported("R") - cv::Mat1d(cv::Mat(known.at(KestrovaCamLeft).m_rotation))), 4e-3) << raw;
        const Outcome back = call("import lenses -o back.txt --alpha " + std::string(pszAlpha));
        EXPECT_EQ(back.m_nStatus, 0) << raw << back.m_error;
        EXPECT_THAT(back.m_out, HasSubstr(std::string("rectified images ") + pszCanvas));
        std::filesystem::remove_all(m_folder / "lenses");
        std::filesystem::remove_all(m_folder / "ran");
    }
}

} // namespace kestrova::app
