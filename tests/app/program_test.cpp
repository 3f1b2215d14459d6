// The program as people call it: what it prints, what it leaves behind, how it fails.
#include "app/program.h"
#include "basics/AppError.h"

#include <gmock/gmock.h>
#include <opencv2/imgproc.hpp>

namespace kestrova::app {

using testing::ElementsAre, testing::HasSubstr, testing::Lt, testing::Not;

TEST_F(Program, DemoThenInfoThenRunOnItsOwnFiles)
{
    const Outcome demo = call("demo --to demo --size 320x240 --seed 3 --quality enhanced");
    ASSERT_EQ(demo.m_nStatus, 0) << demo.m_error;
    EXPECT_THAT(demo.m_out, AllOf(HasSubstr(slurp(m_folder / "demo/report.txt")), Not(HasSubstr("NOT MET"))));

    for (const char* pszName : {"  floor ", "  back wall "}) { // against the truth of the room
        std::istringstream rest(demo.m_out.substr(std::min(demo.m_out.find(pszName), demo.m_out.size())));
        std::vector<double> off;
        for (std::string word; std::getline(rest, word, ' ') && off.size() < 3;) {
            if (word.find('.') != std::string::npos) {
                off.push_back(std::stod(word)); // degrees, and millimetres twice
            }
        }
        EXPECT_THAT(off, ElementsAre(Lt(0.2), Lt(10), Lt(10))) << pszName;
    }

    const Outcome info = call("info demo/calibration.txt");
    for (const char* pszWord : {"1 section", "PEMBERLOW", "baseline 120.0", "right, the reference, channel RED",
                                "left, channel GREEN", "corners", "stereo-mask              7", "0 to 32 pixels"}) {
        EXPECT_THAT(info.m_out, HasSubstr(pszWord)) << info.m_error;
    }

    const Outcome help = call("run --help");
    for (const char* pszWord : {"--stereo-mask", "odd, 1 to 23", "0 to 10 ", "--disparity", "at most 240 apart"}) {
        EXPECT_THAT(help.m_out, HasSubstr(pszWord));
    }

    // The demo's own files lead to the same results again, under the names that say how to read them.
    const std::string right = "run --right demo/raw_right.png ";
    const std::string pair = right + "--left demo/raw_left.png ";
    const std::string frames = pair + "--calibration demo/calibration.txt ";
    const Outcome run = call(frames + "--out all --to again --quality enhanced --planes 2");
    ASSERT_EQ(run.m_nStatus, 0) << run.m_error;
    for (const char* pszName : {"raw_right.png", "raw_left.png", "rectified_right.png", "rectified_left.png",
                                "edge_right.png", "edge_left.png", "side_by_side.png", "disparity16_256ths_offset0.png",
                                "disparity8_pixels_offset0.png", "disparity_colour.png", "disparity8_colour.png",
                                "disparity.pfm", "disparity.npy", "depth_mm.png", "reason_codes.png"}) {
        const std::string before = slurp(m_folder / "demo" / pszName);
        ASSERT_GT(before.size(), 3000u) << pszName;
        EXPECT_EQ(slurp(m_folder / "again" / pszName), before) << pszName;
    }

    const std::string table = run.m_out.substr(run.m_out.find("The largest planes"));
    EXPECT_THAT(demo.m_out, HasSubstr(table.substr(0, table.find("\n\n"))));

    // The library's own files tell how they were made, and a calibration that was written anew says the same.
    const Outcome record = call("info again/disparity16_256ths_offset0.pgm");
    for (const char* pszWord : {": 320x240, 16 bits\nPemberlow ", "16-bit disparity, right camera\n",
                                "stereo-mask                7\n", "uniqueness-threshold       0.5\n"}) {
        EXPECT_THAT(record.m_out, HasSubstr(pszWord)) << record.m_error;
    }
    EXPECT_THAT(call("info again/edge_left.pgm").m_out, HasSubstr("edge image, left camera\n"));
    for (const std::string name : {"rectified_left", "raw_right", "edge_right"}) {
        EXPECT_EQ(
            cv::norm(readGrey(m_folder / ("again/" + name + ".pgm")), readGrey(m_folder / ("again/" + name + ".png"))),
            0);
    }
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
    EXPECT_EQ(call("demo/calibration.txt demo/report.html demo/report.html", KESTROVA_EXAMPLE).m_nStatus, 1);
    EXPECT_EQ(call("demo/calibration.txt right.pgm again/raw_left.pgm", KESTROVA_EXAMPLE).m_nStatus, 1) << "sizes";

    std::filesystem::create_directories(m_folder / "way/report.txt");
    std::ofstream(m_folder / "cut.pgm") << slurp(m_folder / "again/raw_right.pgm").substr(0, 2000);
    std::ofstream(m_folder / "cut.png") << slurp(m_folder / "demo/raw_right.png").substr(0, 2000);

    // Bad wishes: one line that names what is wrong, the documented status, and no folder.
    const std::tuple<std::string, const char*, ExitStatus> aBad[] = {
        {frames + "--to x --stereo-mask 24", "--stereo-mask", ExitStatus::Usage},
        {frames + "--to x --planes 101", "--planes", ExitStatus::Usage},
        {pair + "--rectified --to x --planes 1", "--focal", ExitStatus::Usage},
        {frames + "--to x --no-such-option", "--no-such-option", ExitStatus::Usage},
        {frames + "--to x --quality best", "standard, enhanced", ExitStatus::Usage},
        {right + "--calibration demo/calibration.txt --to x", "--left, --top", ExitStatus::Usage},
        {right + "--top demo/raw_left.png --calibration demo/calibration.txt --to x", "one above the other",
         ExitStatus::Content},
        {frames + "--top demo/side_by_side.png --to x", "side_by_side", ExitStatus::Content},
        {"demo --cameras three --to x", "--cameras", ExitStatus::Usage},
        {frames + "--to x --resolution 1284x963", "1280", ExitStatus::Usage},
        {frames + "--to x --resize 9000x9", "--resize", ExitStatus::Usage},
        {frames + "--to x --rectify off --resize 160x120", "160x120", ExitStatus::Failed},
        {frames + "--to x --rectified", "--rectified", ExitStatus::Usage},
        {frames + "--to x/y --region 240 0 5 5", "--region", ExitStatus::Usage},
        {frames + "--to ''", "--to", ExitStatus::Usage},
        {frames + "--out text --to way", "report.txt: is a folder", ExitStatus::File},
        {pair + "--calibration demo/report.txt --to x", "VERSION", ExitStatus::Content},
        {pair + "--rectified --to x --focal 9 --baseline 12", "--baseline", ExitStatus::Usage},
        {right + "--left cut.png --rectified --to x", "cut.png", ExitStatus::Content},
        {right + "--left demo/side_by_side.png --rectified --to x", "side_by_side", ExitStatus::Content},
        {"demo --size 640x400 --to x", "--size", ExitStatus::Usage},
        {"info none.txt", "none.txt", ExitStatus::File},
        {"info cut.pgm", "cut.pgm", ExitStatus::Content},
        {"info again/raw_left.pgm --write x", "--write", ExitStatus::Usage},
        {"info demo/calibration.txt --write no/x", "no/x", ExitStatus::File},
        {"", "subcommand", ExitStatus::Usage}};
    for (const auto& [rArguments, pszWord, eStatus] : aBad) {
        const Outcome bad = call(rArguments);
        EXPECT_EQ(bad.m_nStatus, static_cast<int>(eStatus)) << rArguments;
        EXPECT_EQ(std::count(bad.m_error.begin(), bad.m_error.end(), '\n'), 1) << rArguments << '\n' << bad.m_error;
        EXPECT_THAT(bad.m_error, HasSubstr(pszWord)) << rArguments;
    }
    for (const auto& rEntry : std::filesystem::recursive_directory_iterator(m_folder.path())) {
        EXPECT_TRUE(rEntry.path().filename() != "x" && rEntry.path().string().find("partial") == std::string::npos)
            << rEntry.path();
    }
}

namespace {

// A binary cloud's colours that are not grey.
long countColoured(const std::string& rCloud)
{
    const std::string end = "end_header\n";
    long nColoured = 0;
    for (std::size_t n = rCloud.find(end) + end.size(); n + 19 <= rCloud.size(); n += 19) {
        nColoured += rCloud[n + 12] != rCloud[n + 13] || rCloud[n + 13] != rCloud[n + 14];
    }
    return nColoured;
}

} // namespace

TEST_F(Program, ThreeCamerasColoursAndQualities)
{
    const Outcome demo = call("demo --to demo --cameras l --size 320x240");
    ASSERT_EQ(demo.m_nStatus, 0) << demo.m_error;
    const std::size_t nUnrejected = demo.m_out.find("no match rejected");
    ASSERT_NE(nUnrejected, std::string::npos);
    EXPECT_THAT(demo.m_out.substr(nUnrejected), HasSubstr("the L is higher"));
    EXPECT_GT(countColoured(slurp(m_folder / "demo/cloud.ply")), 20000);

    // The pictures of the demo are enough for the same again: in colour or grey, three cameras or two of them.
    const std::string given = " --calibration demo/calibration.txt --out all --to ";
    const std::string top = " --top demo/raw_top.png";
    const std::string left = " --left demo/raw_left.png";
    for (const std::string& rRest : {left + top + given + "l", top + given + "top", left + given + "left"}) {
        const Outcome run = call("run --right demo/raw_right.png" + rRest);
        EXPECT_EQ(run.m_nStatus, 0) << run.m_error;
    }
    const std::string disparity = "disparity16_256ths_offset0.png";
    const std::string whole = slurp(m_folder / "demo" / disparity);
    EXPECT_EQ(slurp(m_folder / "l" / disparity), whole);
    EXPECT_NE(slurp(m_folder / "top" / disparity), whole);
    EXPECT_FALSE(exists(m_folder / "top/rectified_left.png") || exists(m_folder / "l/rectified_right_colour.png"));
    EXPECT_EQ(countColoured(slurp(m_folder / "l/cloud.ply")), 0);
    ASSERT_EQ(call("run --right demo/raw_right_colour.png" + left + top + given + "c").m_nStatus, 0);
    EXPECT_EQ(slurp(m_folder / "c/rectified_right_colour.png"), slurp(m_folder / "demo/rectified_right_colour.png"));
    EXPECT_GT(countColoured(slurp(m_folder / "c/cloud.ply")), 20000);

    for (const std::string quality : {"fast", "standard", "enhanced1", "enhanced2"}) {
        ASSERT_EQ(
            call("run --right demo/raw_right.png" + left + given + quality + " --rectification " + quality).m_nStatus,
            0);
        EXPECT_EQ(slurp(m_folder / quality / "rectified_right.png") == slurp(m_folder / "left/rectified_right.png"),
                  quality == "standard");
    }
}

TEST_F(Program, RectifiedFramesOfAnotherShapeWithATruth)
{
    // Two slanted planes: half rows of the right image, moved by whole disparities of their own. Half a pixel a level.
    cv::Mat1b right(200, 420);
    cv::theRNG().state = 8;
    cv::randu(right, 0, 255);
    cv::Mat1b left(right.size(), uchar(0)), rightTruth = left.clone(), leftTruth = left.clone();
    for (int nRow = 0; nRow < right.rows; ++nRow) {
        for (const int nFirst : {0, 200}) {
            const int nShift = 8 + nRow / 20 + nFirst / 25;
            const cv::Rect from(nFirst, nRow, nFirst ? 220 - nShift : 200, 1);
            right(from).copyTo(left(from + cv::Point(nShift, 0)));
            rightTruth(from).setTo(2 * nShift);
            leftTruth(from + cv::Point(nShift, 0)).setTo(2 * nShift);
        }
    }
    cv::Mat coloured;
    cv::cvtColor(right, coloured, cv::COLOR_GRAY2BGR);
    writeImage(m_folder / "r.png", coloured);
    writeImage(m_folder / "l.png", left);
    for (const std::string view : {"left", "right"}) {
        writeImage(m_folder / "t.png", view == "left" ? leftTruth : rightTruth);
        const Outcome run =
            call("run --rectified --right r.png --left l.png --to o --disparity 0 40 --truth t.png --truth-scale 0.5 "
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
            EXPECT_EQ(dKnown, 79900) << view << name;
            EXPECT_GT(dFound, 70.0) << view << name;
            EXPECT_GT(dWithin1, 98.0) << view << name;
        }
        EXPECT_TRUE(exists(m_folder / "o/cloud.ply") && exists(m_folder / "o/calibration.txt"));
    }
    const Outcome plain = call("run --rectified --right r.png --left l.png --to p --resize 320x240");
    EXPECT_THAT(plain.m_out, AllOf(HasSubstr("no cloud"), HasSubstr("focal length and baseline not given")));
    EXPECT_EQ(plain.m_out.find("set into"), plain.m_out.rfind("set into")); // said once
    EXPECT_FALSE(exists(m_folder / "p/cloud.ply"));
}

} // namespace kestrova::app
