// Measures against a truth by hand, disparity files of every form, and what eval says of wrong ones.
#include "app/program.h"
#include "outputs/DisparityFiles.h"
#include "outputs/ImageRecord.h"
#include "outputs/TruthComparison.h"

#include <gmock/gmock.h>
#include <opencv2/imgproc.hpp>

#include <cmath>

namespace kestrova::app {

namespace {

constexpr float sk_fNone = std::numeric_limits<float>::infinity();

} // namespace

TEST(TruthErrors, CountByHand)
{
    // Errors 0, 0.5, 0.75, 1.5, 3 and 5 of 100 (no outlier), 4.5 of 10; missing; unknown in three ways; beyond the
    // range.
    const cv::Mat1f truth = (cv::Mat1f(1, 12) << 10, 10, 10, 10, 100, 100, 10, 10, 0, sk_fNone, std::nanf(""), 200);
    const cv::Mat1f found = (cv::Mat1f(1, 12) << 10, 10.5f, 9.25f, 11.5f, 97, 105, 14.5f, sk_fNone, 10, 10, 10, 10);
    const TruthErrors e = measureErrors(found, truth, cv::Vec2i(10, 100));
    EXPECT_THAT((std::array{e.m_nPixels, e.m_nKnown, e.m_nBeyond, e.m_nFound}), testing::ElementsAre(12, 8, 1, 7));
    EXPECT_THAT(e.m_anBad, testing::ElementsAre(5, 4, 3, 2));
    EXPECT_EQ(e.m_nOutliers, 1);
    EXPECT_THAT(
        (std::array{e.foundShare(), e.badOfFound(4), e.badOfKnown(4), e.meanError(), e.rmsError()}),
        testing::Pointwise(testing::DoubleNear(1e-9),
                           {87.5, 400 / 7.0, 62.5, 15.25 / 7, std::sqrt((0.25 + 0.5625 + 2.25 + 9 + 25 + 20.25) / 7)}));
    EXPECT_EQ(measureErrors(found, truth, {}).m_nKnown, 9);
    EXPECT_THAT(truthErrorsText(e),
                testing::HasSubstr("bad-1: more than 1 px off             57.14 %              62.50 %"));
}

TEST(TruthErrors, RightViewUndoesLeftView)
{
    cv::Mat1f right(1, 8, sk_fNone);
    right(0, 1) = 2.0f; // hidden in the left image by the next, which is nearer
    right(0, 0) = 3.0f;
    right(0, 4) = 1.25f;
    const cv::Mat1f left = toLeftView(right);
    EXPECT_EQ(left(0, 3), 3.0f);
    right(0, 1) = sk_fNone;
    EXPECT_EQ(cv::countNonZero(toRightView(left) != right), 0);
}

namespace {

struct Eval : Program
{
    void write(const std::string& rName, const std::string& rBytes) const { writeText(m_folder / rName, rBytes); }
    static std::string floats(std::initializer_list<float> values)
    {
        return {reinterpret_cast<const char*>(values.begin()), values.size() * sizeof(float)};
    }
    static std::string npy(const std::string& rDescription)
    {
        const std::string head = "{'descr': '" + rDescription + "', 'fortran_order': False, 'shape': (2, 2), }\n";
        return std::string("\x93NUMPY\1\0", 8) + static_cast<char>(head.size()) + '\0' + head;
    }
    std::vector<float> read(const std::string& rName, std::optional<double> scale = {}) const
    {
        const cv::Mat1f pixels = readDisparityFile(m_folder / rName, scale).m_pixels;
        return {pixels.begin(), pixels.end()};
    }
};

} // namespace

TEST_F(Eval, ReadsEveryForm)
{
    const auto is = [](float a, float b, float c, float d) { return testing::ElementsAre(a, b, c, d); };
    writePfm(m_folder / "ours.pfm", (cv::Mat1f(2, 2) << 1.5f, sk_fNone, 3.0f, 4.0f));
    EXPECT_THAT(read("ours.pfm"), is(1.5f, sk_fNone, 3, 4));
    // High byte first, a scale that is no scale of disparity, 0 for unknown; the bottom row comes first.
    write("big.pfm",
          std::string("Pf\n2 2\n0.0039\n") + std::string("\x40\x40\0\0\x40\x80\0\0\x3f\xc0\0\0\0\0\0\0", 16));
    EXPECT_THAT(read("big.pfm"), is(1.5f, sk_fNone, 3, 4));
    write("a.npy", npy("<f4") + floats({1.5f, std::nanf(""), 3.0f, -1.0f}));
    EXPECT_THAT(read("a.npy"), is(1.5f, sk_fNone, 3, sk_fNone));
    const double adWide[] = {1.5, 2, 3, 4};
    write("wide.npy", npy("<f8") + std::string(reinterpret_cast<const char*>(adWide), sizeof adWide));
    EXPECT_THAT(read("wide.npy"), is(1.5f, 2, 3, 4));

    const cv::Mat1w words = (cv::Mat1w(2, 2) << 0, 384, 1, 0xFFFC);
    for (const char* pszName : {"k.png", "d_kitti_128ths.png", "disparity16_256ths_offset16.png"}) {
        writeImage(m_folder / pszName, words);
    }
    EXPECT_THAT(read("k.png"), is(sk_fNone, 1.5f, 1 / 256.0f, 0xFFFC / 256.0f));
    EXPECT_THAT(read("d_kitti_128ths.png"), is(sk_fNone, 3.0f, 1 / 128.0f, 0xFFFC / 128.0f));
    EXPECT_THAT(read("disparity16_256ths_offset16.png"), is(16, 17.5f, 16 + 1 / 256.0f, sk_fNone));
    EXPECT_EQ((*readDisparityFile(m_folder / "disparity16_256ths_offset16.png").m_reasons)(1, 1),
              static_cast<int>(Reject::Surface));
    for (const char* pszName : {"8.png", "disparity8_pixels_offset16.png"}) {
        writeImage(m_folder / pszName, (cv::Mat1b(2, 2) << 0, 10, 254, 250));
    }
    EXPECT_THAT(read("8.png", 0.5), is(sk_fNone, 5, 127, 125));
    EXPECT_THAT(read("disparity8_pixels_offset16.png"), is(16, 26, sk_fNone, 266));
}

// Codes, offset and mapping other than the usual ones stand in the record alone.
TEST_F(Eval, ReadsTheRecordOfTheLibrary)
{
    const Room room;
    writeText(m_folder / "calibration.txt", calibrationText(room.description()));
    StereoSession session(m_folder / "calibration.txt");
    SettingWishes wishes{{{"rectify", "off"}, {"disparity-mapping", "on"}, {"uniqueness-mapping", "9"}},
                         {20, 60},
                         {10, 210},
                         {},
                         {},
                         {}};
    applySettings(session.handle(), wishes);
    PerCamera<cv::Mat1b> frames{{KestrovaCamRight, cv::Mat1b(240, 320)}};
    cv::RNG(3).fill(frames[KestrovaCamRight], cv::RNG::UNIFORM, 0, 256);
    cv::copyMakeBorder(frames[KestrovaCamRight].colRange(0, 280), frames[KestrovaCamLeft], 0, 0, 40, 0,
                       cv::BORDER_WRAP);
    session.preprocess(frames, FrameForm::Planes);
    const DisparityMap bytes = session.read8(session.matchTo8());
    const DisparityMap words = session.read16(session.matchTo16());
    ASSERT_GT(words.count()[0], 1000);
    ASSERT_GT(words.count()[2], 1000); // uniqueness
    OutputFolder folder(m_folder / "out");
    writeRecordedImages(folder, session, {KestrovaCamRight, KestrovaCamLeft});
    folder.commit();
    for (const auto& rEntry : std::filesystem::directory_iterator(m_folder / "out")) {
        const std::string name = rEntry.path().filename().string();
        if (!name.starts_with("disparity")) {
            continue;
        }
        const DisparityMap& rMap = name.starts_with("disparity16") ? words : bytes;
        std::filesystem::rename(rEntry.path(), m_folder / "any.pgm"); // the name tells nothing
        const DisparityFile file = readDisparityFile(m_folder / "any.pgm");
        EXPECT_LE(cv::norm(file.m_pixels == rMap.m_pixels, cv::Mat1b(240, 320, uchar(255)), cv::NORM_L1), 0) << name;
        ASSERT_TRUE(file.m_reasons) << name;
        EXPECT_EQ(cv::norm(*file.m_reasons, rMap.m_reject, cv::NORM_L1), 0) << name;
    }
}

TEST_F(Eval, SaysWhatIsWrong)
{
    writePfm(m_folder / "2x2.pfm", cv::Mat1f(2, 2, 5.0f));
    writePfm(m_folder / "4x4.pfm", cv::Mat1f(4, 4, 10.0f));
    writePfm(m_folder / "none.pfm", cv::Mat1f(2, 2, sk_fNone));
    write("short.pfm", "Pf\n2 2\n-1\nabc");
    write("huge.pfm", "Pf\n99999 99999\n-1\nabc");
    write("three.pfm", "PF\n2 2\n-1\nabc");
    write("ints.npy", npy("<i4") + floats({1, 2, 3, 4}));
    write("text.png", "no picture");
    cv::Mat1f slope(12, 12), third(12, 12), late(12, 12);
    cv::Mat1b levels(12, 12);
    for (int i = 0; i < 144; ++i) {
        slope(i) = 20.0f + 0.3f * static_cast<float>(i);
        late(i) = slope(i) + 5.0f;
        levels(i) = static_cast<uchar>(slope(i) * 3);
        third(i) = i % 7 ? slope(i) / 3 + 0.1f * static_cast<float>(i % 3) : 3.0f; // with noise and strays
    }
    writePfm(m_folder / "slope.pfm", slope);
    writePfm(m_folder / "third.pfm", third);
    writePfm(m_folder / "late.pfm", late);
    writeImage(m_folder / "levels.png", levels);
    writeImage(m_folder / "colour.png", cv::Mat3b(2, 2, cv::Vec3b(1, 2, 3)));
    struct Case
    {
        const char *m_pszArguments, *m_pszSays;
        int m_nStatus;
    };
    for (const auto& [pszArguments, pszSays, nStatus] : std::initializer_list<Case>{
             {"2x2.pfm --truth 2x2.pfm", "", 0},
             {"2x2.pfm --truth 4x4.pfm --resize-truth", "", 0}, // 10 pixels of 4 columns are 5 of 2
             {"2x2.pfm --truth 4x4.pfm", "4x4.pfm: is 4x4, but 2x2.pfm is 2x2", 4},
             {"2x2.pfm --truth nowhere.pfm", "nowhere.pfm: cannot be read", 3},
             {"2x2.pfm --truth .", ".: cannot be read", 3},
             {"short.pfm --truth 2x2.pfm", "short.pfm: ends early", 4},
             {"huge.pfm --truth 2x2.pfm", "huge.pfm: ends early", 4},
             {"three.pfm --truth 2x2.pfm", "three.pfm: is no PFM of one channel", 4},
             {"ints.npy --truth 2x2.pfm", "ints.npy: holds no floats", 4},
             {"text.png --truth 2x2.pfm", "text.png: cannot be read as an image", 4},
             {"colour.png --truth 2x2.pfm", "colour.png: is a picture in colour", 4},
             {"2x2.pfm --truth none.pfm", "none.pfm: no pixel has a known disparity", 5},
             {"slope.pfm --truth levels.png --truth-scale 0.3333", "", -1}, // right to a third of a pixel
             {"slope.pfm --truth levels.png", "times the truth, so the scale is wrong; say --truth-scale 0.33", 5},
             {"slope.pfm --truth levels.png --range 0 10", "say --truth-scale 0.33", 5},
             {"levels.png --truth slope.pfm", "say --disparity-scale 0.33", 5},
             {"third.pfm --truth slope.pfm", "bring both files", 5},
             {"late.pfm --truth slope.pfm", "", -1}, // off, but by no scale
             {"2x2.pfm --truth 2x2.pfm --range 9 3", "--range: needs MIN below MAX", 2}}) {
        const Outcome outcome = call(std::string("eval --disparity ") + pszArguments);
        EXPECT_EQ(outcome.m_nStatus, std::max(nStatus, 0)) << pszArguments << outcome.m_error;
        EXPECT_THAT(outcome.m_error, testing::HasSubstr(pszSays)) << pszArguments;
        EXPECT_EQ(outcome.m_out.find("mean error 0.0000 px, RMS error 0.0000 px") != std::string::npos, nStatus == 0)
            << pszArguments;
    }
}

using Bench = Program;

TEST_F(Bench, TimesEveryStageOfMadeUpAndOfOwnFrames)
{
    const std::string made = call("bench --size 160x120 --disparities 16 --frames 3").m_out;
    ASSERT_EQ(call("demo --size 320x240").m_nStatus, 0);
    const std::string own = call("bench --calibration demo-out/calibration.txt --right demo-out/raw_right.png "
                                 "--left demo-out/raw_left.png --frames 3 --surface-validation off")
                                .m_out;
    EXPECT_THAT(made, testing::HasSubstr("rectified 160x120, disparity 0 to 15, window 7, 1 thread\n"));
    EXPECT_THAT(own, testing::HasSubstr("rectified 320x240, disparity 0 to 32, window 7, 1 thread\n"));
    for (const char* pszStage : {"packed frame", "three planes", "stereo, 16-bit", "points in metres"}) {
        EXPECT_THAT((std::array{made, own}), testing::Each(testing::HasSubstr(pszStage)));
    }
    EXPECT_THAT(own, testing::Not(testing::HasSubstr("surface validation")));
    EXPECT_THAT(slurp(m_folder / "demo-out/report.html"), testing::HasSubstr("id=\"cloud-positions\""));
    EXPECT_EQ(call("bench --right a.png").m_nStatus, 2);
    EXPECT_EQ(call("bench --size 640x360").m_nStatus, 2);
}

} // namespace kestrova::app
