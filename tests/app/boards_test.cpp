// Boards: drawn, photographed by made-up cameras, calibrated from, and every way in which photos can be the wrong ones.
#include "app/boardPhotos.h"
#include "app/program.h"
#include "basics/AppError.h"
#include "boards/CornerProof.h"
#include "boards/Findings.h"
#include "boards/SetCalibration.h"
#include "boards/SetRefinement.h"

#include <gmock/gmock.h>
#include <opencv2/imgproc.hpp>

namespace kestrova::app {

using testing::HasSubstr, testing::Not;
namespace fs = std::filesystem;

const Board sk_board{{9, 6}, 0.025};

// Where the board of a shot is, seen from the right camera: all over the view, near and far, tilted.
BoardPose poseOfShot(int nShot, const Board& rBoard = sk_board)
{
    cv::RNG rng(static_cast<std::uint64_t>(100 + nShot));
    const cv::Vec3d turn(rng.uniform(-0.5, 0.5), rng.uniform(-0.5, 0.5), rng.uniform(-0.3, 0.3));
    const double dZ = rng.uniform(0.48, 0.65);
    const cv::Vec3d middle(0.5 * (rBoard.m_inner.width - 1), 0.5 * (rBoard.m_inner.height - 1), 0);
    return {turn, cv::Vec3d(-0.06 + rng.uniform(-0.03, 0.03), rng.uniform(-0.06, 0.06), dZ) -
                      turnMatrix(turn) * (middle * rBoard.m_dSquare)};
}

// Corners to a hundredth of a pixel, without pictures.
Shots shotsOf(const CameraSet& rSet, int nShots, const Board& rBoard = sk_board)
{
    Shots shots{rBoard, rSet.at(KestrovaCamRight).m_model.m_size, {}};
    cv::RNG rng(5);
    for (int i = 0; i < nShots; ++i) {
        for (Shot& rShot = shots.m_shots.emplace_back(); const auto& [eCamera, rCamera] : rSet) {
            const BoardPose pose = seenFrom(rCamera, poseOfShot(i, rBoard));
            Points rays;
            for (const cv::Point3f& rPoint : rBoard.points()) {
                const cv::Vec3d at = turnMatrix(pose.m_turn) * cv::Vec3d(rPoint.x, rPoint.y, 0) + pose.m_place;
                rays.emplace_back(at[0] / at[2], at[1] / at[2]);
            }
            View& rView = rShot[eCamera];
            rView.m_file = std::string(cameraName(eCamera)) + std::to_string(i);
            for (const cv::Point2d& rPixel : projectRays(rCamera.m_model, rays)) {
                rView.m_corners.emplace_back(rPixel + cv::Point2d(rng.gaussian(0.01), rng.gaussian(0.01)));
            }
        }
    }
    return shots;
}

CameraSet withLens(CameraSet set, Lens eLens, const std::vector<double>& rDistortion)
{
    for (auto& [eCamera, rCamera] : set) {
        rCamera.m_model.m_eLens = eLens;
        rCamera.m_model.m_adDistortion = rDistortion;
    }
    return set;
}

TEST(SetCalibration, FindsTheSetAgainWhateverTheOrderOfCornersAndNamesWhatDoesNotFit)
{
    const CameraSet pair = exampleCameraSet({640, 480});
    const CameraSet l = exampleCameraSet({640, 480}, KestrovaCfg3CameraL);
    const std::tuple<CameraSet, LensChoice, Board> aCases[] = {
        {pair, LensChoice::Auto, sk_board},
        {pair, LensChoice::Plumb, Board{{7, 7}, 0.03}}, // may be read in four ways
        {l, LensChoice::Plumb, sk_board},
        {withLens(pair, Lens::Polynomial, {0.3, -0.1, 0.0, 0.0, 0.01, 0.6, -0.1, 0.02}), LensChoice::Rational,
         sk_board},
        {withLens(pair, Lens::Equidistant, {-0.02, 0.003, -0.001, 0.0002}), LensChoice::Equidistant, sk_board}};
    for (const auto& [rSet, eChoice, rBoard] : aCases) {
        Shots shots = shotsOf(rSet, 11, rBoard);
        const cv::Size inner = rBoard.m_inner;
        for (std::size_t u = 0; u < shots.m_shots.size(); ++u) {
            for (auto& [eCamera, rView] : shots.m_shots[u]) { // as finders do, each camera for itself
                const auto orders = turnings(rView.m_corners, inner);
                rView.m_corners = orders[(u * 7 + (eCamera == KestrovaCamRight ? 0 : 1 + u / 3)) % orders.size()];
            }
        }
        Shot& rMoved = shots.m_shots[4];
        for (cv::Point2f& rCorner : rMoved.at(rSet.rbegin()->first).m_corners) {
            rCorner += cv::Point2f(0.5f, 2.5f);
        }
        shots.m_shots[8].at(KestrovaCamRight).m_corners[20] += cv::Point2f(9, 0); // one corner off
        const SetCalibration found = calibrateSet(shots, eChoice);
        for (const auto& [eCamera, rTrue] : rSet) {
            const MountedCamera& rCamera = found.m_set.at(eCamera);
            EXPECT_NEAR(rCamera.m_model.m_cameraMatrix(0, 0) / rTrue.m_model.m_cameraMatrix(0, 0), 1, 2e-3)
                << cameraName(eCamera);
            EXPECT_LT(cv::norm(rCamera.m_translation - rTrue.m_translation), 3e-4)
                << cameraName(eCamera) << rCamera.m_translation;
            EXPECT_LT(cv::norm(rCamera.m_rotation - rTrue.m_rotation), 3e-3) << cameraName(eCamera);
        }
        EXPECT_EQ(shots.nUsed(), 9u) << verdicts(shots);
        EXPECT_THAT(rMoved.at(rSet.rbegin()->first).m_reject, HasSubstr("did the board move"));
        EXPECT_THAT(shots.m_shots[8].at(KestrovaCamRight).m_reject, HasSubstr("off the lens"));
        EXPECT_TRUE(shots.m_shots[8].at(rSet.rbegin()->first).isUsed());
    }
}

// One disparity cannot serve both baselines: two sections, and a bad second one must not pass with a good first one.
TEST(Findings, JudgeBothSectionsOfAnUnevenL)
{
    CameraSet uneven = exampleCameraSet({640, 480}, KestrovaCfg3CameraL);
    uneven.at(KestrovaCamTop).m_translation *= 0.7;
    Shots shots = shotsOf(uneven, 8);
    const SetCalibration calibration = calibrateSet(shots, LensChoice::Plumb);
    const Rig rig = buildRig(calibration.m_set, {});
    ASSERT_EQ(rig.m_further.size(), 1u);
    const TempFolder folder;
    writeText(folder / "rig.txt", rig.text());
    StereoSession session(folder / "rig.txt");
    PerCamera<PairProof> proofs = proveCorners(session, rig, shots);
    EXPECT_EQ(session.configuration(), KestrovaCfg2CameraHorizontal);
    for (const KestrovaCamera eCamera : {KestrovaCamLeft, KestrovaCamTop}) {
        EXPECT_LT(proofs.at(eCamera).m_rows.m_dRms, 0.03) << cameraName(eCamera);
        EXPECT_NEAR(proofs.at(eCamera).m_dSquare, sk_board.m_dSquare, 1e-4) << cameraName(eCamera);
    }
    EXPECT_EQ(worstOf(judgeCalibration(shots, calibration, rig, proofs)), nullptr);
    for (Shot& rShot : shots.m_shots) {
        for (cv::Point2f& rCorner : rShot.at(KestrovaCamTop).m_corners) {
            rCorner.x += 0.8f;
        }
    }
    const Findings bad = judgeCalibration(shots, calibration, rig, proveCorners(session, rig, shots));
    ASSERT_NE(worstOf(bad), nullptr);
    EXPECT_EQ(worstOf(bad)->m_name, "right and top: column error");
}

TEST(SetCalibration, RefusesSetsThatAreNone)
{
    const CameraSet pair = exampleCameraSet({640, 480});
    const auto refusal = [](Shots shots) -> std::string {
        try {
            calibrateSet(shots, LensChoice::Plumb);
        } catch (const AppError& rError) {
            return rError.what();
        }
        return "none";
    };
    const auto changed = [&](const auto& rChange) {
        Shots shots = shotsOf(pair, 8);
        std::vector<Shot> before = shots.m_shots;
        for (std::size_t u = 0; u < before.size(); ++u) {
            rChange(shots.m_shots[u].at(KestrovaCamRight), shots.m_shots[u].at(KestrovaCamLeft), before, u);
        }
        return refusal(shots);
    };
    EXPECT_EQ(refusal(shotsOf(pair, 8)), "none");
    EXPECT_THAT(refusal(shotsOf(pair, 5)), HasSubstr("5 of 5"));
    EXPECT_THAT(changed([](View& rRight, View& rLeft, auto&, auto) { std::swap(rRight, rLeft); }), HasSubstr("swap"));
    EXPECT_THAT(changed([](View& rRight, View& rLeft, auto&, auto) {
                    rLeft.m_corners.assign(rRight.m_corners.rbegin(), rRight.m_corners.rend());
                }),
                HasSubstr("one camera"));
    EXPECT_THAT(changed([](View&, View& rLeft, const auto& rBefore, std::size_t u) {
                    rLeft = rBefore[(u + 1) % rBefore.size()].at(KestrovaCamLeft);
                }),
                HasSubstr("belong together"));
    CameraSet high = pair;
    high.at(KestrovaCamLeft).m_translation = {0.0, -0.12, 0.0};
    EXPECT_THAT(refusal(shotsOf(high, 8)), HasSubstr("say --top"));
}

TEST_F(Program, FromPhotosToAProvedCalibration)
{
    const cv::Size size{320, 240};
    const CameraSet set = exampleCameraSet(size);
    const auto file = [&](const std::string& rName) { return m_folder / rName; };
    for (const auto& [eCamera, rCamera] : set) {
        for (const BoardPhotographer take(rCamera); const int i : {1, 2, 3, 4, 5, 6, 7, 8}) {
            cv::Mat1w deep; // 12 bits in 16 for one camera
            const cv::Mat1b image = take(poseOfShot(i), sk_board);
            image.convertTo(deep, CV_16U, 16.0);
            writeImage(file(cameraName(eCamera) + std::to_string(i + 2) + ".png"),
                       eCamera == KestrovaCamLeft ? cv::Mat(image * 0.8) : cv::Mat(deep));
        }
    }
    const std::string board = " --inner 9x6 --square 25mm ";
    const std::string right = "calibrate --right 'right*.png' ";
    const std::string both = right + "--left 'left*.png' ";
    const Outcome made = call(both + board + "-o rig.txt --report report.html --near 0.4m --far 6m --compare-opencv");
    ASSERT_EQ(made.m_nStatus, 0) << made.m_error << made.m_out;
    EXPECT_EQ(made.m_error, "");
    EXPECT_THAT(made.m_out, AllOf(HasSubstr("8 of 8 shots"), HasSubstr("left 1.25"), Not(HasSubstr("DO NOT USE"))));
    for (const char* pszName : {"row error ", "square re-measured ", "baseline "}) {
        std::istringstream rest(made.m_out.substr(made.m_out.find(pszName) + std::strlen(pszName)));
        double dValue = 0;
        rest >> dValue;
        EXPECT_NEAR(dValue, *pszName == 'r' ? 0.05 : *pszName == 's' ? 25 : 120.02, *pszName == 'r' ? 0.05 : 0.5);
    }
    EXPECT_THAT(slurp(file("report.html")),
                AllOf(HasSubstr("<svg"), HasSubstr("data:image/png"), HasSubstr("right10")));

    // The room of the demo, seen by the same cameras, tells the same without a board.
    Room room;
    const Scene scene = demoRoom(1, room.m_plan.m_dFocal);
    for (const auto& [eCamera, rCamera] : set) {
        writeImage(
            file(std::string("room_") + cameraName(eCamera) + ".png"),
            renderRaw(scene, rCamera.m_model, {rCamera.m_translation, rCamera.m_rotation}, {1.0, 1.0, 1}).m_grey);
    }
    const std::string check = "check --calibration rig.txt ";
    const Outcome checked = call(check + "--right room_right.png --left room_left.png");
    EXPECT_EQ(checked.m_nStatus, 0) << checked.m_error;
    EXPECT_THAT(checked.m_out, AllOf(Not(HasSubstr("DO NOT")), HasSubstr("gain difference")));

    EXPECT_EQ(call("board" + board + "-o board.svg").m_nStatus, 0);
    EXPECT_THAT(slurp(file("board.svg")), AllOf(HasSubstr("width=\"297.0mm\""), HasSubstr("100 mm"), HasSubstr("9x6")));

    // The wrong ones: one line that names what is wrong, the documented status, and nothing left behind.
    fs::create_directories(file("copies"));
    for (int i = 3; i <= 10; ++i) {
        fs::copy_file(file("right" + std::to_string(i) + ".png"), file("copies/a" + std::to_string(i) + ".png"));
    }
    writeImage(file("small3.png"), cv::Mat1b(120, 160, uchar(9)));
    std::ofstream(file("cut3.png")) << slurp(file("left3.png")).substr(0, 300);
    std::string bent = slurp(file("rig.txt"));
    bent.replace(bent.find("Version"), 7, "Versian");
    std::ofstream(file("bent.txt")) << bent;
    const std::string out = board + "-o x";
    const std::tuple<std::string, const char*, ExitStatus> aBad[] = {
        {both + "--inner 9x6 --square 25 -o x", "--square", ExitStatus::Usage},
        {both + "--inner 9 --square 25mm -o x", "--inner", ExitStatus::Usage},
        {both + "--inner 2x6 --square 25mm -o x", "--inner", ExitStatus::Usage},
        {"calibrate --right right[345].png --left left[345].png --inner 8x6 --square 25mm -o x", "say --inner 9x6",
         ExitStatus::Content},
        {both + out + " --disparity 9 9", "--disparity", ExitStatus::Usage},
        {both + out + " --disparity 0 9 --near 1m", "--near", ExitStatus::Usage},
        {both + out + " --model cube", "--model", ExitStatus::Usage},
        {both + out + "/no/x", "cannot be written", ExitStatus::File},
        {right + out, "--left, --top", ExitStatus::Usage},
        {right + "--left 'nothing*.png'" + out, "nothing*", ExitStatus::File},
        {right + "--left copies" + out, "folder", ExitStatus::File},
        {right + "--left 'left[3-9].png'" + out, "right10.png has no partner", ExitStatus::Content},
        {right + "--left 'right*.png'" + out, "both --right and --left", ExitStatus::Content},
        {right + "--left 'copies/*'" + out, "one camera", ExitStatus::Content},
        {"calibrate --right right3.png right5.png --left left3.png left6.png" + out,
         "right5.png would be paired with left6", ExitStatus::Content},
        {"calibrate --right right3.png --left small3.png" + out, "160x120", ExitStatus::Content},
        {"calibrate --right right3.png --left cut3.png" + out, "cut3.png", ExitStatus::Content},
        {"calibrate --right right3.png --left left3.png" + out, "1 of 1", ExitStatus::Unfit},
        {"calibrate --right 'left*.png' --left 'right*.png'" + out, "swap", ExitStatus::Unfit},
        {"board --inner 9x6 --square 30mm -o x", "--paper a3", ExitStatus::Usage},
        {"board --inner 9x6 --square 25mm -o no/x", "no/x", ExitStatus::File},
        {"board --paper a9 -o x", "--paper", ExitStatus::Usage},
        {check + "--right room_left.png --left room_right.png", "swapped", ExitStatus::Unfit},
        {check + "--right room_right.png --left small3.png", "small3.png", ExitStatus::Content},
        {check + "--right room_right.png --left room_right.png", "same picture", ExitStatus::Content},
        {check + "--right room_right.png --left none.png", "none.png", ExitStatus::File},
        {check + "--right room_right.png", "--left, --top", ExitStatus::Usage},
        {check + "--right left5.png --left right7.png", "--right and --left", ExitStatus::Unfit},
        {"check --calibration bent.txt --right room_right.png --left room_left.png", "VERSION", ExitStatus::Content}};
    for (const auto& [rArguments, pszWord, eStatus] : aBad) {
        const Outcome bad = call(rArguments);
        EXPECT_EQ(bad.m_nStatus, static_cast<int>(eStatus)) << rArguments << bad.m_error;
        EXPECT_EQ(std::count(bad.m_error.begin(), bad.m_error.end(), '\n'), 1) << rArguments << '\n' << bad.m_error;
        EXPECT_THAT(bad.m_error, HasSubstr(pszWord)) << rArguments;
    }
    for (const auto& rEntry : fs::directory_iterator(m_folder.path())) {
        EXPECT_TRUE(rEntry.path().filename() != "x" && rEntry.path().string().find("partial") == std::string::npos)
            << rEntry.path();
    }
}

TEST_F(Program, RealPhotosAreRectifiedAsWellAsByOpenCv)
{
    const std::string data = "/usr/share/doc/opencv-doc/examples/data/";
    if (!fs::exists(data + "left01.jpg")) {
        GTEST_SKIP() << "photos of opencv-doc are not there";
    }
    const Outcome made = call("calibrate --right '" + data + "right0[1-9].jpg' --left '" + data +
                              "left0[1-9].jpg' --inner 9x6 --square 25mm -o rig.txt --compare-opencv");
    ASSERT_EQ(made.m_nStatus, 0) << made.m_error;
    const auto number = [&](const std::string& rBefore) {
        return std::stod(made.m_out.substr(made.m_out.find(rBefore) + rBefore.size()));
    };
    EXPECT_LT(number("by the library          error"), 0.25);
    EXPECT_LT(number("ours is"), 1.1);
    EXPECT_NEAR(number("baseline"), 83.2, 0.5);
}

} // namespace kestrova::app
