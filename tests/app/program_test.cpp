// The program as people call it: what it prints, what it leaves behind, how it fails.
#include "app/fixtures.h"

#include <gmock/gmock.h>
#include <opencv2/imgproc.hpp>
#include <sys/wait.h>

namespace kestrova::app {

using testing::HasSubstr, testing::Not;

struct Program : testing::Test
{
    struct Outcome
    {
        int m_nStatus;
        std::string m_out, m_error;
    };
    Outcome call(const std::string& rArguments, const char* pszProgram = KESTROVA_PROGRAM) const
    {
        const std::string line = "cd '" + m_folder.m_name + "' && '" + pszProgram + "' " + rArguments + " >out 2>err";
        const int nStatus = std::system(line.c_str());
        return {WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1, slurp(m_folder / "out"), slurp(m_folder / "err")};
    }
    const TempFolder m_folder;
};

TEST_F(Program, DemoThenInfoThenRunOnItsOwnFiles)
{
    const Outcome demo = call("demo --out demo --size 320x240 --seed 3");
    ASSERT_EQ(demo.m_nStatus, 0) << demo.m_error;
    EXPECT_THAT(demo.m_out, AllOf(HasSubstr(slurp(m_folder / "demo/report.txt")), Not(HasSubstr("NOT MET"))));

    const Outcome info = call("info demo/calibration.txt");
    for (const char* pszWord : {"1 section", "PEMBERLOW", "baseline 120.0", "right, the reference, channel RED",
                                "left, channel GREEN", "corners", "stereo-mask              7", "0 to 32 pixels"})
        EXPECT_THAT(info.m_out, HasSubstr(pszWord)) << info.m_error;

    const Outcome help = call("run --help");
    for (const char* pszWord : {"--stereo-mask", "odd, 1 to 23", "0 to 10 ", "--disparity", "at most 240 apart"})
        EXPECT_THAT(help.m_out, HasSubstr(pszWord));

    // The demo's own files lead to the same results again, under the names that say how to read them.
    const std::string right = "run --right demo/raw_right.png ";
    const std::string pair = right + "--left demo/raw_left.png ";
    const std::string frames = pair + "--calibration demo/calibration.txt ";
    const Outcome run = call(frames + "--out again");
    ASSERT_EQ(run.m_nStatus, 0) << run.m_error;
    for (const char* pszName :
         {"raw_right.png", "raw_left.png", "rectified_right.png", "rectified_left.png", "edge_right.png",
          "edge_left.png", "side_by_side.png", "disparity16_256ths_offset0.png", "disparity8_pixels_offset0.png",
          "disparity16_colour.png", "disparity8_colour.png", "disparity_pixels.pfm", "cloud.ply"}) {
        const std::string before = slurp(m_folder / "demo" / pszName);
        ASSERT_GT(before.size(), 3000u) << pszName; // the head of a cloud names its source
        EXPECT_TRUE(slurp(m_folder / "again" / pszName).ends_with(before.substr(400))) << pszName;
    }

    // The library's own files tell how they were made, and a calibration that was written anew says the same.
    const Outcome record = call("info again/disparity16_256ths_offset0.pgm");
    for (const char* pszWord : {": 320x240, 16 bits\nPemberlow ", "16-bit disparity, right camera\n",
                                "stereo-mask                7\n", "uniqueness-threshold       0.5\n"})
        EXPECT_THAT(record.m_out, HasSubstr(pszWord)) << record.m_error;
    EXPECT_THAT(call("info again/edge_left.pgm").m_out, HasSubstr("edge image, left camera\n"));
    for (const std::string name : {"rectified_left", "raw_right", "edge_right"})
        EXPECT_EQ(
            cv::norm(readGrey(m_folder / ("again/" + name + ".pgm")), readGrey(m_folder / ("again/" + name + ".png"))),
            0);
    EXPECT_EQ(call("info demo/calibration.txt --write new.txt").m_nStatus, 0);
    const auto facts = [](const std::string& rInfo) { return rInfo.substr(rInfo.find(": 1 section")); };
    EXPECT_EQ(facts(call("info new.txt").m_out), facts(info.m_out));

    // The C example takes larger frames as planes; the maps hold for any size, and the wall is as far away.
    for (const std::string side : {"right", "left"}) {
        cv::Mat frame = readGrey(m_folder / ("demo/raw_" + side + ".png"));
        cv::resize(frame, frame, {640, 480});
        writeImage(m_folder / (side + ".pgm"), frame);
    }
    const std::string said = call("demo/calibration.txt right.pgm left.pgm", KESTROVA_EXAMPLE).m_out;
    EXPECT_NEAR(std::strtod(said.c_str(), nullptr), 2.9, 0.1) << "the far box: " << said;

    std::filesystem::create_directories(m_folder / "way/report.txt");
    std::ofstream(m_folder / "cut.pgm") << slurp(m_folder / "again/raw_right.pgm").substr(0, 2000);
    std::ofstream(m_folder / "cut.png") << slurp(m_folder / "demo/raw_right.png").substr(0, 2000);

    // Bad wishes: one line that names what is wrong, status 1, and no folder.
    const std::pair<std::string, const char*> aBad[] = {
        {frames + "--out x --stereo-mask 24", "--stereo-mask"},
        {frames + "--out x --no-such-option", "--no-such-option"},
        {frames + "--out x --resolution 1284x963", "1280"},
        {frames + "--out x --resize 9000x9", "--resize"},
        {frames + "--out x --rectify off --resize 160x120", "160x120"},
        {frames + "--out x --rectified", "--rectified"},
        {frames + "--out x/y --region 240 0 5 5", "--region"},
        {frames + "--out ''", "--out"},
        {frames + "--out way", "report.txt: is a folder"},
        {pair + "--calibration demo/report.txt --out x", "VERSION"},
        {pair + "--rectified --out x --focal 9 --baseline 12", "--baseline"},
        {right + "--left cut.png --rectified --out x", "cut.png"},
        {right + "--left demo/side_by_side.png --rectified --out x", "side_by_side"},
        {"demo --size 640x400 --out x", "--size"},
        {"info none.txt", "none.txt"},
        {"info cut.pgm", "cut.pgm"},
        {"info again/raw_left.pgm --write x", "--write"},
        {"info demo/calibration.txt --write no/x", "no/x"},
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
    cv::Mat1b truth(right.size()); // half a pixel a level
    for (int nRow = 0; nRow < right.rows; ++nRow) {
        const int nShift = 8 + nRow / 20;
        right.row(nRow).colRange(0, right.cols - nShift).copyTo(left.row(nRow).colRange(nShift, right.cols));
        truth.row(nRow).setTo(2 * nShift);
    }
    cv::Mat coloured;
    cv::merge(std::vector<cv::Mat>{right, right, right}, coloured);
    writeImage(m_folder / "r.png", coloured);
    writeImage(m_folder / "l.png", left);
    writeImage(m_folder / "t.png", truth);
    for (const std::string view : {"left", "right"}) {
        const Outcome run =
            call("run --rectified --right r.png --left l.png --out o --disparity 0 40 --truth t.png --truth-scale 0.5 "
                 "--compare-bm --compare-uniqueness 0.8 --focal 300 --baseline 10cm --truth-view " +
                 view);
        ASSERT_EQ(run.m_nStatus, 0) << run.m_error;
        EXPECT_THAT(run.m_out, HasSubstr("420x200 scaled by 1 to 420x200 and set into a 4 by 3 canvas of 420x315 at "
                                         "column 0, row 57"));
        for (const std::string name : {"settings as given", "uniqueness 0.8", "block matcher, defaults"}) {
            ASSERT_THAT(run.m_out, HasSubstr(name));
            std::istringstream row(run.m_out.substr(run.m_out.find(name) + name.size()));
            double dKnown = 0, dFound = 0, dWithin1 = 0;
            row >> dKnown >> dFound >> dWithin1;
            EXPECT_EQ(dKnown, 84000) << view << name;
            EXPECT_GT(dFound, 70.0) << view << name;
            EXPECT_GT(dWithin1, 98.0) << view << name;
        }
        EXPECT_TRUE(exists(m_folder / "o/cloud.ply") && exists(m_folder / "o/calibration.txt"));
    }
    const Outcome plain = call("run --rectified --right r.png --left l.png --out p --resize 320x240");
    EXPECT_THAT(plain.m_out, AllOf(HasSubstr("no cloud"), HasSubstr("focal length and baseline not given")))
        << plain.m_error;
    EXPECT_EQ(plain.m_out.find("set into"), plain.m_out.rfind("set into")); // said once
    EXPECT_FALSE(exists(m_folder / "p/cloud.ply"));
}

} // namespace kestrova::app
