// What run and check say when frames, range and calibration do not belong together, and the ranges that they find.
#include "app/program.h"
#include "basics/AppError.h"
#include "cameras/DepthRange.h"
#include "cameras/RigBuilder.h"

#include <gmock/gmock.h>
#include <opencv2/imgproc.hpp>

namespace kestrova::app {

using testing::AllOf, testing::HasSubstr, testing::Not;

namespace {

// The demo's room at half size, its calibration, and what can happen to frames.
struct Doubts : Program
{
    Doubts()
    {
        const Room room;
        const Scene scene = demoRoom(1, room.m_plan.m_dFocal);
        writeText(m_folder / "rig.txt", calibrationText(room.description()));
        for (const auto& [eCamera, rCamera] : room.m_set) {
            const std::string name = std::string(cameraName(eCamera)).substr(0, 1);
            const cv::Mat1b frame =
                renderRaw(scene, rCamera.m_model, {rCamera.m_translation, rCamera.m_rotation}, {1.0, 1.0, eCamera + 1u})
                    .m_grey;
            const auto save = [&](const char* pszWhat, const cv::Mat& rFrame) {
                writeImage(m_folder / (name + pszWhat + ".png"), rFrame);
            };
            cv::Mat half, moved, noise(frame.size(), CV_8U);
            cv::resize(frame, half, {160, 120}, 0, 0, cv::INTER_AREA);
            cv::warpAffine(frame, moved, cv::Matx23f(1, 0, 0, 0, 1, 9), frame.size(), cv::INTER_LINEAR,
                           cv::BORDER_REFLECT);
            cv::RNG random(static_cast<std::uint64_t>(eCamera) + 7);
            random.fill(noise, cv::RNG::UNIFORM, 0, 255);
            save("", frame);
            save("half", half);
            save("cut", frame(cv::Rect(64, 48, 192, 144)));
            save("wide", frame(cv::Rect(0, 30, 320, 180)));
            save("moved", moved);
            save("noise", noise);
            save("plain", cv::Mat1b(frame.size(), uchar(90)) + noise / 64);
            bands(frame, save);
        }
    }

    // Sharp in a band of rows only: details enough for a verdict in all three together.
    template<typename Save>
    static void bands(const cv::Mat1b& rFrame, const Save& rSave)
    {
        cv::Mat1f frame, blurred;
        rFrame.convertTo(frame, CV_32F);
        cv::GaussianBlur(frame, blurred, {0, 0}, 7);
        for (int i = 0; i < 3; ++i) {
            cv::Mat1f sharp(rFrame.size(), 0.0f);
            sharp.rowRange(80 + 30 * i, 100 + 30 * i).setTo(1.0f);
            cv::GaussianBlur(sharp, sharp, {0, 0}, 4);
            const cv::Mat mixed = blurred + sharp.mul(frame - blurred);
            cv::Mat bytes;
            mixed.convertTo(bytes, CV_8U);
            rSave(("band" + std::to_string(i)).c_str(), bytes);
        }
    }
};

} // namespace

TEST_F(Doubts, RunSaysInALineWhatIsProbablyWrong)
{
    const auto unfit = static_cast<int>(ExitStatus::Unfit);
    const std::tuple<const char*, int, const char*> aCases[] = {
        {"--right r.png --left l.png", 0, ""},
        {"--right rhalf.png --left lhalf.png --surface-size 50", 0, ""}, // of the same view
        {"--right r.png --left l.png --region 100 100 30 40", 0, ""},    // little, but of what was asked for much
        {"--right r.png --left l.png --range auto", 0, ""},
        {"--right l.png --left r.png", unfit, "the two frames are swapped"},
        {"--right r.png --left l.png --disparity 100 200", unfit, "the range misses most of the subject"},
        {"--right r.png --left l.png --disparity 0 12", 0, "stand nearer"},
        {"--right rcut.png --left lcut.png", unfit, "another scale"},
        {"--right rwide.png --left lwide.png", unfit, "1.78 times as wide as high"},
        {"--right r.png --left lmoved.png", unfit, "moved or refocused"},
        {"--right rnoise.png --left lnoise.png", unfit, "hardly a detail in common"},
        {"--right r.png --left lnoise.png --range auto", unfit, "hardly a detail in common"},
        {"--right rplain.png --left lplain.png", unfit, "hardly any texture"}};
    for (const auto& [pszFrames, nStatus, pszSays] : aCases) {
        const Outcome run = call(std::string("run --calibration rig.txt --to result ") + pszFrames);
        EXPECT_EQ(run.m_nStatus, nStatus) << pszFrames << '\n' << run.m_error;
        EXPECT_THAT(run.m_error, HasSubstr(pszSays)) << pszFrames;
        EXPECT_EQ(std::count(run.m_error.begin(), run.m_error.end(), '\n'), *pszSays ? 1 : 0) << pszFrames << '\n'
                                                                                              << run.m_error;
        EXPECT_TRUE(exists(m_folder / "result/disparity.pfm")) << "results are written all the same";
        std::filesystem::remove_all(m_folder / "result");
    }
    // A folder of frames fails only if none of them is usable.
    std::ofstream(m_folder / "some.txt") << "rnoise.png lnoise.png\nr.png l.png\n";
    std::ofstream(m_folder / "none.txt") << "rnoise.png lnoise.png\nrplain.png lplain.png\n";
    EXPECT_EQ(call("run --calibration rig.txt --to some --list some.txt").m_nStatus, 0);
    EXPECT_EQ(call("run --calibration rig.txt --to none --list none.txt").m_nStatus, unfit);
    EXPECT_EQ(call("run --calibration rig.txt --to x --right r.png --left l.png --range auto --near 1m").m_nStatus,
              static_cast<int>(ExitStatus::Usage));
}

TEST_F(Doubts, RangeAutoFindsTheSubjectWhateverTheCalibrationSays)
{
    std::ofstream(m_folder / "list.txt") << "rnoise.png lnoise.png\ngone.png l.png\nr.png l.png\n";
    for (const std::string frames : {"--right r.png --left l.png", "--list list.txt --keep-going --shard 3/3"}) {
        const Outcome run = call("run --calibration rig.txt --to result --json - --range auto " + frames);
        EXPECT_EQ(run.m_nStatus, 0) << run.m_error;
        const cv::FileStorage json(run.m_out,
                                   cv::FileStorage::READ | cv::FileStorage::MEMORY | cv::FileStorage::FORMAT_JSON);
        EXPECT_EQ(static_cast<int>(json["disparity_min"]), 0);
        EXPECT_GT(static_cast<int>(json["disparity_max"]), 25); // the nearest thing of the room stands at 24
        EXPECT_LT(static_cast<int>(json["disparity_max"]), 60);
        EXPECT_THAT(run.m_error, HasSubstr("--range auto: in "));
    }
}

TEST_F(Doubts, CheckPoolsFramesAndGivesNoVerdictOfTooFewDetails)
{
    const std::string check = "check --calibration rig.txt ";
    const Outcome one = call(check + "--right rband1.png --left lband1.png");
    EXPECT_EQ(one.m_nStatus, static_cast<int>(ExitStatus::Unfit));
    EXPECT_THAT(one.m_error, AllOf(HasSubstr("too few for a verdict"), HasSubstr("give more frames")));
    EXPECT_THAT(one.m_out, Not(HasSubstr("row error")));
    const Outcome all = call(check + "--right 'rband*.png' --left 'lband*.png'");
    EXPECT_EQ(all.m_nStatus, 0) << all.m_error;
    EXPECT_THAT(all.m_out, AllOf(HasSubstr("3 frames, judged together"), HasSubstr("row error")));
    EXPECT_EQ(call(check + "--right rband0.png rband1.png --left lband0.png").m_nStatus,
              static_cast<int>(ExitStatus::Usage));
}

TEST(DepthRange, HoldsTheSubjectWithRoomAsFarAsTheLibrarySearches)
{
    const std::tuple<std::vector<double>, int, cv::Vec2i> aCases[] = {
        {{20, 60}, 617, {0, 74}},
        {{81, 187}, 617, {0, 227}},
        {{100, 203}, 617, {0, 240}}, // all that lies behind, for a little less room before it
        {{150, 300}, 617, {120, 360}},
        {{100, 330}, 1000, {97, 337}}, // hardly room on both sides
        {{5, 500, 510, 520}, 617, {377, 617}},
        {{3}, 617, {0, 16}},
        {{50, 90}, 97, {0, 97}},
        {{900, 2000}, 1024, {784, 1024}}};
    for (const auto& [rSubject, nLargest, range] : aCases) {
        const cv::Vec2i found = rangeAround(rSubject, nLargest);
        EXPECT_TRUE(found[0] >= 0 && found[1] > found[0] && found[1] - found[0] <= 240 && found[1] <= nLargest);
        EXPECT_LE(cv::norm(found - range, cv::NORM_INF), 2) << found << range;
    }
    EXPECT_EQ(rangeText({20, 80}, 40.0), "20 to 80 pixels (0.5 m to 2 m)");
    EXPECT_EQ(rangeText({0, 80}, 40.0), "0 to 80 pixels (0.5 m to infinity)");
}

} // namespace kestrova::app
