// The program as people call it: what it prints, what it leaves behind, how it fails.
#include "FrameFit.h"
#include "Results.h"

#include "app/TempFolder.h"

#include <gmock/gmock.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <fstream>

namespace kestrova::app {

using testing::HasSubstr;

struct Outcome
{
    int m_nStatus;
    std::string m_out;
    std::string m_error;
};

class Program : public testing::Test
{
protected:
    Outcome call(const std::string& rArguments, const char* pszProgram = KESTROVA_PROGRAM)
    {
        const std::string line =
            "cd '" + m_folder.path().string() + "' && '" + pszProgram + "' " + rArguments + " >out 2>err";
        const int nStatus = std::system(line.c_str());
        return {WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1, slurp(m_folder / "out"), slurp(m_folder / "err")};
    }
    TempFolder m_folder;
};

TEST_F(Program, DemoThenInfoThenRunOnItsOwnFiles)
{
    const Outcome demo = call("demo --out demo --size 320x240 --seed 3");
    ASSERT_EQ(demo.m_nStatus, 0) << demo.m_error;
    EXPECT_THAT(demo.m_out, HasSubstr("right camera is the reference"));
    EXPECT_THAT(demo.m_out, testing::Not(HasSubstr("NOT MET")));
    EXPECT_THAT(demo.m_out, HasSubstr(slurp(m_folder / "demo/report.txt")));

    const Outcome info = call("info demo/calibration.txt");
    ASSERT_EQ(info.m_nStatus, 0) << info.m_error;
    for (const char* pszWord : {"1 section", "PEMBERLOW", "baseline 120.0", "right, the reference, channel RED",
                                "left, channel GREEN", "corners", "stereo-mask              7", "0 to 32 pixels"})
        EXPECT_THAT(info.m_out, HasSubstr(pszWord));

    const std::string frames =
        "run --calibration demo/calibration.txt --right demo/raw_right.png --left demo/raw_left.png ";
    const Outcome run = call(frames + "--out again");
    ASSERT_EQ(run.m_nStatus, 0) << run.m_error;
    for (const char* pszName :
         {"disparity16_256ths_offset0.png", "disparity8_pixels_offset0.png", "cloud.ply", "disparity16_colour.png"}) {
        const std::string before = slurp(m_folder / "demo" / pszName);
        const std::string after = slurp(m_folder / "again" / pszName);
        ASSERT_GT(before.size(), 3000u) << pszName; // the head of a cloud names its source
        EXPECT_TRUE(after.ends_with(before.substr(400))) << pszName;
    }

    // The C example takes larger frames as planes; the maps hold for any size, and the wall is as far away.
    for (const char* pszSide : {"right", "left"}) {
        const cv::Mat1b frame = readGrey(m_folder / "demo" / (std::string("raw_") + pszSide + ".png"));
        writeImage(m_folder / (std::string(pszSide) + ".pgm"),
                   fitFrame(frame, planFrameFit(frame.size(), cv::Size(640, 480))));
    }
    const std::string said = call("demo/calibration.txt right.pgm left.pgm", KESTROVA_EXAMPLE).m_out;
    double dDistance = 0.0;
    ASSERT_EQ(std::sscanf(said.c_str(), "%lf m", &dDistance), 1) << said;
    EXPECT_NEAR(dDistance, 2.9, 0.1) << "the far box";

    std::filesystem::create_directories(m_folder / "way/report.txt");
    std::ofstream(m_folder / "cut.png") << slurp(m_folder / "demo/raw_right.png").substr(0, 2000);

    // Bad wishes: one line that names what is wrong, status 1, and no folder.
    const std::pair<std::string, const char*> aBad[] = {
        {frames + "--out x --stereo-mask 24", "--stereo-mask"},
        {frames + "--out x --disparity 0 400", "--disparity"},
        {frames + "--out x --no-such-option", "--no-such-option"},
        {frames + "--out x --resolution 320x200", "--resolution"},
        {frames + "--out x --rectify off --resize 160x120", "160x120"},
        {frames + "--out x --rectified", "--rectified"},
        {frames + "--out x --focal 100 --baseline 10mm", "--focal"},
        {frames + "--out x/y --region 240 0 5 5", "--region"},
        {frames + "--out x --resolution 1284x963", "1280"},
        {frames + "--out x --resize 9000x9", "--resize"},
        {frames + "--out ''", "--out"},
        {frames + "--out way", "report.txt: is a folder"},
        {"run --right cut.png --left demo/raw_left.png --rectified --out x", "cut.png"},
        {frames + "--out x --truth missing.png", "missing.png"},
        {frames + "--out demo/report.txt", "demo/report.txt"},
        {"run --right demo/none.png --left demo/raw_left.png --calibration demo/calibration.txt --out x",
         "demo/none.png"},
        {"run --right demo/report.txt --left demo/raw_left.png --calibration demo/calibration.txt --out x",
         "demo/report.txt"},
        {"run --right demo/raw_right.png --left demo/side_by_side.png --calibration demo/calibration.txt --out x",
         "side_by_side"},
        {"run --right demo/raw_right.png --left demo/raw_left.png --calibration none.txt --out x", "none.txt"},
        {"run --right demo/raw_right.png --left demo/raw_left.png --calibration demo/report.txt --out x", "VERSION"},
        {"run --right demo/raw_right.png --left demo/raw_left.png --rectified --out x --focal 9 --baseline 12",
         "--baseline"},
        {"demo --size 640x400 --out x", "--size"},
        {"info none.txt", "none.txt"},
        {"", "subcommand"}};
    for (const auto& [rArguments, pszWord] : aBad) {
        const Outcome bad = call(rArguments);
        EXPECT_EQ(bad.m_nStatus, 1) << rArguments;
        EXPECT_EQ(std::count(bad.m_error.begin(), bad.m_error.end(), '\n'), 1) << rArguments << '\n' << bad.m_error;
        EXPECT_THAT(bad.m_error, HasSubstr(pszWord)) << rArguments;
    }
    for (const auto& rEntry : std::filesystem::recursive_directory_iterator(m_folder.path()))
        EXPECT_TRUE(rEntry.path().filename() != "x" && rEntry.path().string().find("partial") == std::string::npos)
            << rEntry.path();
}

TEST_F(Program, RectifiedFramesOfAnotherShapeWithATruth)
{
    // A slanted plane: the left image is the right one with each row moved by its own whole disparity.
    cv::Mat1b right(200, 420);
    cv::theRNG().state = 8;
    cv::randu(right, 0, 255);
    cv::Mat1b left(right.size(), uchar(0));
    cv::Mat1b truth(right.size(), uchar(0)); // seen from the left, half a pixel a level
    for (int nRow = 0; nRow < right.rows; ++nRow) {
        const int nShift = 8 + nRow / 20;
        right.row(nRow).colRange(0, right.cols - nShift).copyTo(left.row(nRow).colRange(nShift, right.cols));
        truth.row(nRow).colRange(nShift, right.cols).setTo(2 * nShift);
    }
    cv::Mat coloured;
    cv::merge(std::vector<cv::Mat>{right, right, right}, coloured);
    writeImage(m_folder / "r.png", coloured);
    writeImage(m_folder / "l.png", left);
    writeImage(m_folder / "t.png", truth);
    const Outcome run =
        call("run --rectified --right r.png --left l.png --out o --disparity 0 40 --truth t.png --truth-view left "
             "--truth-scale 0.5 --compare-bm --compare-uniqueness 0.8 --focal 300 --baseline 10cm");
    ASSERT_EQ(run.m_nStatus, 0) << run.m_error;
    EXPECT_THAT(
        run.m_out,
        HasSubstr("420x200 scaled by 1 to 420x200 and set into a 4 by 3 canvas of 420x315 at column 0, row 57"));
    for (const char* pszRow : {"settings as given", "uniqueness 0.8", "block matcher"})
        EXPECT_THAT(run.m_out, HasSubstr(pszRow));
    std::istringstream row(run.m_out.substr(run.m_out.find("settings as given") + 17));
    double dKnown = 0, dFound = 0, dWithin1 = 0;
    row >> dKnown >> dFound >> dWithin1;
    EXPECT_GT(dKnown, 75000);
    EXPECT_GT(dFound, 80.0);
    EXPECT_GT(dWithin1, 99.0);
    const std::string cloud = slurp(m_folder / "o/cloud.ply");
    EXPECT_THAT(cloud.substr(0, 60), HasSubstr("binary_little_endian"));
    EXPECT_TRUE(std::filesystem::exists(m_folder / "o/calibration.txt"));

    const Outcome plain = call("run --rectified --right r.png --left l.png --out p --resize 320x240");
    ASSERT_EQ(plain.m_nStatus, 0) << plain.m_error;
    EXPECT_THAT(plain.m_out, HasSubstr("no cloud"));
    EXPECT_THAT(plain.m_out, HasSubstr("focal length and baseline not given"));
    EXPECT_EQ(plain.m_out.find("set into"), plain.m_out.rfind("set into")); // said once
    EXPECT_FALSE(std::filesystem::exists(m_folder / "p/cloud.ply"));
}

TEST_F(Program, HelpNamesEverySettingWithItsRange)
{
    const Outcome help = call("run --help");
    EXPECT_EQ(help.m_nStatus, 0);
    for (const Setting& rSetting : allSettings())
        EXPECT_THAT(help.m_out, HasSubstr(std::string("--") + rSetting.m_pszName));
    for (const char* pszRange :
         {"odd, 3 to 11", "odd, 1 to 23", "0 to 128", "0 to 10 ", "0 to 255", "1 to 255", "at most 240 apart"})
        EXPECT_THAT(help.m_out, HasSubstr(pszRange));
}

} // namespace kestrova::app
