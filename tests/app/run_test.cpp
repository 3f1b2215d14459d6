// The daily tool: many frames, each kind of output read back by other readers, shards, and how it fails.
#include "app/program.h"
#include "basics/AppError.h"
#include "basics/FileGlob.h"
#include "basics/Json.h"
#include "outputs/DisparityCodes.h"
#include "outputs/LeftView.h"

#include <gmock/gmock.h>
#include <opencv2/imgcodecs.hpp>

#include <cstring>

namespace kestrova::app {

using testing::ElementsAre, testing::HasSubstr, testing::Not;

namespace {

constexpr float sk_fNone = std::numeric_limits<float>::infinity();

// Frames of 160 by 120: noise, with a near block before a wall, and to its right two columns that only the left camera
// sees. The wall has disparity 8, the block that of its frame.
struct Batch : Program
{
    static constexpr int sk_nFrames = 3;
    static int disparityOf(int nFrame) { return 12 + 2 * nFrame; }

    Batch()
    {
        for (const char* pszFolder : {"r", "l"}) {
            std::filesystem::create_directory(m_folder / pszFolder);
        }
        std::ofstream list(m_folder / "list.txt");
        list << "# right left\n\n";
        for (int nFrame = 0; nFrame < sk_nFrames; ++nFrame) {
            cv::Mat1b right(120, 160), left(120, 160);
            cv::RNG random(static_cast<std::uint64_t>(nFrame + 1));
            random.fill(right, cv::RNG::UNIFORM, 0, 255);
            random.fill(left, cv::RNG::UNIFORM, 0, 255);
            right.colRange(0, 152).copyTo(left.colRange(8, 160));
            const cv::Rect block(60, 30, 40, 60);
            right(block).copyTo(left(block + cv::Point(disparityOf(nFrame), 0)));
            const std::string name = "f " + std::to_string(8 + nFrame) + ".png"; // 8, 9, 10
            writeImage(m_folder / ("r/" + name), right);
            writeImage(m_folder / ("l/" + name), left);
            list << "\"r/" << name << "\" \"l/" << name << "\"\n";
        }
    }

    std::map<std::string, std::string> filesIn(const std::string& rFolder) const
    {
        std::map<std::string, std::string> files;
        for (const auto& rEntry : std::filesystem::recursive_directory_iterator(m_folder / rFolder)) {
            if (rEntry.is_regular_file()) {
                files[std::filesystem::relative(rEntry.path(), m_folder / rFolder)] = slurp(rEntry.path());
            }
        }
        return files;
    }
};

// A report without the table of times, of which no two are alike.
std::string withoutTimes(std::string text)
{
    if (const std::size_t uBegin = std::min(text.find("\nMilliseconds"), text.find("<h2>Times"));
        uBegin != std::string::npos) {
        const std::size_t uEnd = text.find("</table>", uBegin);
        text.erase(uBegin, uEnd == std::string::npos ? uEnd : uEnd - uBegin);
    }
    return text;
}

// The values of an array file, told by its own header.
cv::Mat1f readNpy(const std::string& rFile)
{
    const auto nHeader = static_cast<std::size_t>(static_cast<unsigned char>(rFile.at(8)) +
                                                  256 * static_cast<unsigned char>(rFile.at(9)));
    const std::string header = rFile.substr(10, nHeader);
    EXPECT_EQ((10 + nHeader) % 64, 0u);
    EXPECT_THAT(header,
                AllOf(HasSubstr("'descr': '<f4'"), HasSubstr("'fortran_order': False"), testing::EndsWith("\n")));
    cv::Size size;
    std::sscanf(header.c_str() + header.find("'shape'"), "'shape': (%d, %d)", &size.height, &size.width);
    cv::Mat1f values(size);
    EXPECT_EQ(rFile.size(), 10 + nHeader + values.total() * 4);
    std::memcpy(values.data, rFile.data() + 10 + nHeader, values.total() * 4);
    return values;
}

} // namespace

TEST_F(Batch, EveryOutputOfAListReadsBackAsTheSameDisparities)
{
    const std::string given = "run --rectified --focal 200 --baseline 10cm --disparity 4 24 --list list.txt ";
    for (const std::string view : {"right", "left"}) {
        const Outcome run = call(given + "--out all --json - --to " + view + " --view " + view);
        ASSERT_EQ(run.m_nStatus, 0) << run.m_error;
        std::istringstream lines(run.m_out);
        const std::string end = view == "left" ? "_left" : "";
        for (int nFrame = 0; nFrame < sk_nFrames; ++nFrame) {
            const std::filesystem::path in = m_folder / view / ("f " + std::to_string(8 + nFrame));
            const auto picture = [&](const std::string& rName, const char* pszEnding = ".png") {
                return cv::imread((in / (rName + end + pszEnding)).string(), cv::IMREAD_UNCHANGED);
            };
            const cv::Mat1f disparity = picture("disparity", ".pfm");
            const cv::Mat1w kitti = picture("disparity_kitti_256ths");
            const cv::Mat1w native = picture("disparity16_256ths_offset0");
            const cv::Mat1w depth = picture("depth_mm");
            const cv::Mat1b reasons = picture("reason_codes");
            const cv::Mat1f array = readNpy(slurp(in / ("disparity" + end + ".npy")));
            ASSERT_TRUE(disparity.size() == cv::Size(160, 120) && array.size() == disparity.size());
            long nFound = 0;
            for (int nRow = 0; nRow < 120; ++nRow) {
                for (int nCol = 0; nCol < 160; ++nCol) {
                    const float f = disparity(nRow, nCol);
                    const bool bFound = std::isfinite(f);
                    const std::string at = view + cv::format(" %d: %d %d", nFrame, nRow, nCol);
                    nFound += bFound;
                    ASSERT_EQ(kitti(nRow, nCol), bFound ? std::lround(f * 256) : 0) << at;
                    ASSERT_EQ(depth(nRow, nCol), bFound ? std::lround(1000 * 20.0 / f) : 0) << at;
                    ASSERT_EQ(reasons(nRow, nCol) == 0, bFound) << at;
                    ASSERT_EQ(native(nRow, nCol) < 0xFF00, bFound) << at;
                    ASSERT_TRUE(bFound ? native(nRow, nCol) == kitti(nRow, nCol) && array(nRow, nCol) == f
                                       : std::isnan(array(nRow, nCol)))
                        << at;
                }
            }
            const int nNear = disparityOf(nFrame);
            const int nMoved = view == "left" ? nNear : 0;
            EXPECT_NEAR(disparity(60, 80 + nMoved), nNear, 0.3);
            EXPECT_NEAR(disparity(60, 25), 8, 0.3);
            EXPECT_GT(nFound, 160 * 120 / 2);

            const std::string cloud = slurp(in / ("cloud" + end + ".ply"));
            EXPECT_THAT(cloud, HasSubstr("frame=" + view + "_rectified_optical, unit=m"));
            const std::size_t nPoints = std::stoul(cloud.substr(cloud.find("vertex ") + 7));
            const std::size_t nFirst = cloud.find("end_header\n") + 11;
            ASSERT_EQ(cloud.size(), nFirst + 19 * nPoints);
            std::array<float, 4> afPoint{}; // x y z, colours between, disparity
            std::memcpy(afPoint.data(), &cloud[nFirst + 19 * (nPoints / 2)], 12);
            std::memcpy(&afPoint[3], &cloud[nFirst + 19 * (nPoints / 2) + 15], 4);
            EXPECT_NEAR(afPoint[2] * afPoint[3], 20.0, 1e-3); // focal length times baseline
            // The point stands at the pixel that the camera sees it at.
            const long nRow = std::lround(afPoint[1] * 200 / afPoint[2] + 59.5);
            const long nCol = std::lround(afPoint[0] * 200 / afPoint[2] + 79.5);
            EXPECT_NEAR(disparity(static_cast<int>(nRow), static_cast<int>(nCol)), afPoint[3], 0.3);

            std::string text;
            std::getline(lines, text);
            const cv::FileStorage json(text,
                                       cv::FileStorage::READ | cv::FileStorage::MEMORY | cv::FileStorage::FORMAT_JSON);
            EXPECT_EQ(json["frame"].string(), in.filename().string());
            EXPECT_EQ(json["view"].string(), view);
            EXPECT_NEAR(json["density"].real(), static_cast<double>(nFound) / (160 * 120), 1e-5);
            EXPECT_NEAR(json["focal_px"].real() * json["baseline_m"].real(), 20.0, 1e-3);
            double dSum = json["density"].real();
            for (const cv::FileNode& rShare : json["rejected"]) {
                dSum += rShare.real();
            }
            EXPECT_NEAR(dSum, 1.0, 1e-5);
            EXPECT_GT(json["milliseconds"]["stereo"].real(), 0.0);
        }
    }
    // Seen from the left, what lies beside the block is hidden from the right camera.
    const cv::Mat1b reasons = cv::imread((m_folder / "left/f 10/reason_codes_left.png").string(), cv::IMREAD_UNCHANGED);
    EXPECT_GT(cv::countNonZero(reasons(cv::Rect(66, 40, 12, 40)) == static_cast<int>(Reject::Hidden)), 120);
    EXPECT_FALSE(exists(m_folder / "left/f 8/disparity8_pixels_offset0.png"));
    EXPECT_TRUE(exists(m_folder / "right/f 8/disparity8_pixels_offset0.png"));
}

// What an output takes is worked out for it alone: a need that its row does not name leaves it empty, or short of a
// part.
TEST_F(Batch, EachOutputAloneIsAsAmongAll)
{
    const std::string given = "run --rectified --focal 200 --baseline 10cm --disparity 4 24 --list list.txt ";
    ASSERT_EQ(call(given + "--out all --to all").m_nStatus, 0);
    const std::map<std::string, std::string> all = filesIn("all");
    const std::string known = call(given + "--out none --to none").m_error;
    const std::size_t uBegin = known.find("one or more of ") + 15;
    std::istringstream names(known.substr(uBegin, known.find(" with commas") - uBegin));
    std::size_t uWritten = 0;
    for (std::string name; names >> name;) {
        name.pop_back();
        ASSERT_EQ(call(given + "--out " + name + " --to alone-" + name).m_nStatus, 0) << name;
        for (const auto& [rFile, rText] : filesIn("alone-" + name)) {
            EXPECT_TRUE(withoutTimes(rText) == withoutTimes(all.at(rFile))) << rFile;
            uWritten += !rFile.ends_with("calibration.txt");
        }
    }
    EXPECT_EQ(uWritten, all.size() - sk_nFrames); // each has its calibration too
}

TEST_F(Batch, ShardsPatternsAndPresetsLeadToTheSameFiles)
{
    const std::string rest = " --rectified --disparity 4 24 --out npy,reason --to ";
    const Outcome whole = call("run --list list.txt" + rest + "whole");
    EXPECT_THAT(whole.m_out, HasSubstr("3 of 3 frames written to whole")) << whole.m_error;
    EXPECT_EQ(whole.m_error, "") << "quiet in a pipe";
    for (const std::string part : {"1/4", "2/4", "3/4", "4/4"}) {
        const std::size_t nBefore = part == "1/4" ? 0 : filesIn("parts").size();
        EXPECT_EQ(call("run --right 'r/*.png' --left 'l/*.png' --shard " + part + rest + "parts").m_nStatus, 0);
        EXPECT_EQ(filesIn("parts").size() - nBefore, part == "4/4" ? 0u : 4u) << part; // with the calibration
    }
    EXPECT_EQ(filesIn("parts"), filesIn("whole"));
    const std::string one = "run --right 'r/f 8.png' --left 'l/f 8.png'" + rest;
    EXPECT_EQ(call(one + "one").m_nStatus, 0);
    EXPECT_EQ(slurp(m_folder / "one/disparity.npy"), slurp(m_folder / "whole/f 8/disparity.npy"));

    // Settings by name win over a preset; 12 bits are the same picture.
    EXPECT_EQ(call(one + "dense --preset dense").m_nStatus, 0);
    EXPECT_EQ(call(one + "named --uniqueness-threshold 1 --back-forth-validation on").m_nStatus, 0);
    EXPECT_EQ(call(one + "trusted --preset dense --uniqueness-threshold 0.5 --back-forth-validation off").m_nStatus, 0);
    EXPECT_EQ(filesIn("dense"), filesIn("named"));
    EXPECT_EQ(filesIn("trusted"), filesIn("one"));
    EXPECT_NE(filesIn("dense"), filesIn("one"));
    const std::string metres = " --focal 200 --baseline 10cm";
    EXPECT_EQ(call("run --list list.txt --rectified --out npy --disparity 4 16 --to px" + metres).m_nStatus, 0);
    EXPECT_EQ(call("run --list list.txt --rectified --out npy --near 1.3m --far 4.5m --to m" + metres).m_nStatus, 0);
    EXPECT_EQ(filesIn("px"), filesIn("m")); // 20 / 4.5 down, 20 / 1.3 up
    for (const char* pszSide : {"r", "l"}) {
        cv::Mat wide;
        readGrey(m_folder / pszSide / "f 8.png").convertTo(wide, CV_16U, 16);
        writeImage(m_folder / pszSide / "wide.png", wide);
    }
    EXPECT_EQ(call("run --right r/wide.png --left l/wide.png --bits 12" + rest + "wide").m_nStatus, 0);
    EXPECT_EQ(filesIn("wide"), filesIn("one"));
}

TEST_F(Batch, WhatIsWrongIsSaidInALineWithItsStatus)
{
    std::ofstream(m_folder / "l/junk.png") << "junk";
    std::ofstream(m_folder / "bad.txt") << "r/a.png l/a.png\nr/b.png\n";
    std::ofstream(m_folder / "many.txt") << "r/a.png l/a.png x y\n";
    std::ofstream(m_folder / "mixed.txt") << "r/a.png l/a.png\nr/a.png - l/a.png\n";
    std::ofstream(m_folder / "gone.txt") << "#\n"
                                         << "\"r/f 8.png\" l/none.png\n";
    std::ofstream(m_folder / "twice.txt") << "r/a.png l/a.png\nr/a.png l/b.png\n";
    std::ofstream(m_folder / "keep.txt")
        << "\"r/f 8.png\" \"l/f 8.png\"\n\"r/f 9.png\" l/junk.png\n\"r/f 10.png\" \"l/f 10.png\"\n";
    std::ofstream(m_folder / "empty.txt") << "# nothing\n";
    writeImage(m_folder / "l/wide.png", cv::Mat(120, 160, CV_16U, cv::Scalar(900)));
    writeImage(m_folder / "l/real.pfm", cv::Mat(120, 160, CV_32F, cv::Scalar(0.5)));
    writeImage(m_folder / "l/small.png", cv::Mat1b(60, 80, uchar(9)));
    const std::string to = " --rectified --to x";
    const std::string pair = "--right 'r/f 8.png' --left 'l/f 8.png'";
    const std::string metres = " --focal 200 --baseline 10cm";
    const auto left = [](const char* pszName) { return std::string("--right 'r/f 8.png' --left l/") + pszName; };
    const std::tuple<std::string, const char*, ExitStatus> aBad[] = {
        {"--right 'r/*.png' --left 'l/f*.png' --top 'l/f ?.png'" + to, "--top 2: r/f 10.png is", ExitStatus::Content},
        {"--right 'r/*.png' --left 'q/*.png'" + to, "--left: 'q/*.png' matches no file", ExitStatus::File},
        {"--right r/*.png --left l/f*.png" + to, "in quotes", ExitStatus::Usage},
        {"--right r --left l" + to, "'r/*.png'", ExitStatus::File},
        {"--list list.txt --right r" + to, "--list", ExitStatus::Usage},
        {"--list bad.txt" + to, "bad.txt: line 2: ", ExitStatus::Content},
        {"--list many.txt" + to, "many.txt: line 1: more than three", ExitStatus::Content},
        {"--list mixed.txt" + to, "mixed.txt: line 2: other cameras", ExitStatus::Content},
        {"--list twice.txt" + to, "line 2: r/a.png: is the right image of two", ExitStatus::Content},
        {"--list empty.txt" + to, "empty.txt: names no frame", ExitStatus::Content},
        {"--list none.txt" + to, "none.txt", ExitStatus::File},
        {"--list r" + to, "r: cannot be read as a list", ExitStatus::File},
        {left("junk.png") + to, "l/junk.png", ExitStatus::Content},
        {left("wide.png") + to, "--bits 12", ExitStatus::Content},
        {left("wide.png") + " --bits 9" + to, "900 does not fit --bits 9", ExitStatus::Content},
        {left("real.pfm") + to, "l/real.pfm: holds floating-point", ExitStatus::Content},
        {left("small.png") + to, "80x60 and 160x120", ExitStatus::Content},
        {pair + to + " --out disparity.pfm,kiti16", "'kiti16'", ExitStatus::Usage},
        {pair + to + " --out out", "a folder goes into --to", ExitStatus::Usage},
        {pair + to + " --out ''", "--out", ExitStatus::Usage},
        {pair + to + " --out cloud.ply", "--focal", ExitStatus::Usage},
        {pair + to + " --out depth-mm", "--baseline", ExitStatus::Usage},
        {pair + to + " --out records --view left", "--view left", ExitStatus::Usage},
        {pair + to + " --out kitti16 --disparity 0 24 --png-scale 4000", "--png-scale, such as 2730",
         ExitStatus::Usage},
        {"--right 'r/f 8.png' --top 'l/f 8.png' --view left" + to, "--view left", ExitStatus::Usage},
        {pair + to + " --near 1m", "--focal", ExitStatus::Usage},
        {pair + to + metres + " --near 1m --disparity 0 9", "--disparity", ExitStatus::Usage},
        {pair + to + metres + " --near 2m --far 1m", "--near", ExitStatus::Usage},
        {pair + to + metres + " --near 12cm", "--near", ExitStatus::Usage},
        {pair + to + " --near 1", "a length with a unit", ExitStatus::Usage},
        {pair + to + " --preset best", "--preset", ExitStatus::Usage},
        {pair + to + " --shard 0/2", "count from 1", ExitStatus::Usage},
        {pair + to + " --shard 3/2", "--shard", ExitStatus::Usage},
        {pair + to + " --shard 1/-2", "--shard", ExitStatus::Usage},
        {pair + to + " --json no/x.json", "no/x.json", ExitStatus::File},
        {"--list list.txt --truth 'r/f 8.png'" + to, "eval", ExitStatus::Usage},
        {"--list /dev/zero" + to, "is a device", ExitStatus::Content},
        {"--right 'r/f 8.png' --left 'r/f 8.png'" + to, "for two cameras", ExitStatus::Content},
        {"--right ''  --left 'l/f 8.png'" + to, "--right: needs the name", ExitStatus::Usage}};
    for (const auto& [rArguments, pszWord, eStatus] : aBad) {
        const Outcome bad = call("run " + rArguments);
        EXPECT_EQ(bad.m_nStatus, static_cast<int>(eStatus)) << rArguments << '\n' << bad.m_error;
        EXPECT_EQ(std::count(bad.m_error.begin(), bad.m_error.end(), '\n'), 1) << rArguments << '\n' << bad.m_error;
        EXPECT_THAT(bad.m_error, HasSubstr(pszWord)) << rArguments;
    }
    EXPECT_EQ(WEXITSTATUS(std::system("'" KESTROVA_PROGRAM "' --help 2>/dev/null >/dev/full")), 3);
    for (const auto& [pszJson, nStatus] : {std::pair("", 0), {" --json -", 3}}) { // nobody listens
        const std::string line = "cd '" + m_folder.m_name + "' && '" KESTROVA_PROGRAM "' run " + pair +
                                 " --rectified --out npy --to deaf" + pszJson + " >&- 2>/dev/null";
        EXPECT_EQ(WEXITSTATUS(std::system(line.c_str())), nStatus) << pszJson;
    }
    EXPECT_THAT(call("run --list gone.txt --rectified --to y").m_error, HasSubstr("gone.txt: line 2: "));
    EXPECT_FALSE(exists(m_folder / "y"));

    // Without --keep-going the frames before the bad one are there; with it all good ones are.
    EXPECT_EQ(call("run --list keep.txt --out npy --rectified --to stop").m_nStatus, 4);
    EXPECT_TRUE(exists(m_folder / "stop/f 8/disparity.npy") && !exists(m_folder / "stop/f 10"));
    const Outcome kept = call("run --list keep.txt --out npy --rectified --to kept --keep-going --json j.jsonl");
    EXPECT_EQ(kept.m_nStatus, 4);
    EXPECT_THAT(kept.m_out, HasSubstr("2 of 3 frames"));
    EXPECT_THAT(kept.m_error, AllOf(HasSubstr("keep.txt: line 2: "), HasSubstr("1 of 3 frames were left out")));
    EXPECT_TRUE(exists(m_folder / "kept/f 10/disparity.npy") && !exists(m_folder / "kept/f 9"));
    EXPECT_THAT(slurp(m_folder / "j.jsonl"), HasSubstr("\"error\": \""));
}

TEST(FrameList, PairsNamesAndCountsAsPeopleDo)
{
    const TempFolder folder;
    for (const char* pszName : {"a/r1.png", "a/r2.png", "a/r10.png", "b/r1.png", "b/l1.png", "b/l2.png", "b/l9.png"}) {
        std::filesystem::create_directories((folder / pszName).parent_path());
        std::ofstream(folder / pszName) << "";
    }
    const auto glob = [&](const char* pszPattern) { return (folder / pszPattern).string(); };
    const FrameList list = pairByOrder({{KestrovaCamRight, glob("a/r*.png")}, {KestrovaCamLeft, glob("b/l*.png")}});
    std::vector<std::string> names;
    for (const FrameNames& rFrame : list.m_frames) {
        names.push_back(rFrame.m_name + " " + rFrame.m_files.at(KestrovaCamLeft).stem().string());
    }
    EXPECT_THAT(names, ElementsAre("r1 l1", "r2 l2", "r10 l9"));
    EXPECT_THAT(list.m_remark, AllOf(HasSubstr("r10.png"), HasSubstr("l9.png")));

    const std::string alike = glob("?/r1.png"); // two frames of one name: the folders tell them apart
    const FrameList both = pairByOrder({{KestrovaCamRight, alike}, {KestrovaCamLeft, alike}});
    EXPECT_TRUE(both.m_remark.empty());
    EXPECT_THAT(both.m_frames[0].m_name, testing::EndsWith("_a_r1.png"));
    EXPECT_THAT(both.m_frames[1].m_name, AllOf(testing::EndsWith("_b_r1.png"), Not(HasSubstr("/"))));

    std::vector<std::string> order{"f10", "f9", "F1", "f", "f09b", "f9a", "f123456789012345678901", "f010"};
    std::sort(order.begin(), order.end(), naturalLess);
    EXPECT_THAT(order, ElementsAre("F1", "f", "f9", "f9a", "f09b", "f010", "f10", "f123456789012345678901"));
}

TEST(LeftView, PlacesWithoutAPixelHaveTheReasonOfTheSurfaceBehind)
{
    // Wall of disparity 1, from column 3 a slope that rises by a step at column 5, a texture reject, wall.
    const float w = 1.0f;
    DisparityMap right{(cv::Mat1f(1, 12) << w, w, w, 3.0f, 3.25f, 3.75f, sk_fNone, w, w, w, sk_fNone, w),
                       cv::Mat1b(1, 12, uchar(0))};
    right.m_reject(0, 6) = static_cast<unsigned char>(Reject::Texture);
    right.m_reject(0, 10) = static_cast<unsigned char>(Reject::Surface);
    // 0-2 to 1-3, 3 and 4 to 6 and 7, 5 to 9; 7 goes to 8, 8 and 9 to 9 and 10, of which the nearer slope keeps 9.
    const DisparityMap left = mapFromLeft(right);
    EXPECT_THAT(std::vector<float>(left.m_pixels.begin(), left.m_pixels.end()),
                ElementsAre(sk_fNone, w, w, w, sk_fNone, sk_fNone, 3.0f, 3.25f, w, 3.75f, w, sk_fNone));
    const auto code = [](Reject eReject) { return static_cast<int>(eReject); };
    EXPECT_EQ(left.m_reject(0, 0), code(Reject::Outside)); // left of the right image
    EXPECT_EQ(left.m_reject(0, 4), code(Reject::Hidden));  // of the wall behind the slope
    EXPECT_EQ(left.m_reject(0, 11), code(Reject::Surface));
    const DisparityMap slope =
        mapFromLeft({(cv::Mat1f(1, 5) << 0.25f, 1.25f, 1.0f, sk_fNone, sk_fNone), cv::Mat1b(1, 5, uchar(1))});
    EXPECT_THAT(std::vector<float>(slope.m_pixels.begin(), slope.m_pixels.end()),
                ElementsAre(0.25f, 0.75f, 1.25f, 1.0f, sk_fNone));
}

TEST(DisparityCodes, EndsOfTheirRanges)
{
    DisparityMap map{(cv::Mat1f(1, 6) << 0.0f, 8.0f, 31.5f, 255.75f, sk_fNone, sk_fNone), cv::Mat1b(1, 6, uchar(0))};
    map.m_reject(0, 4) = static_cast<unsigned char>(Reject::BackForth);
    map.m_reject(0, 5) = static_cast<unsigned char>(Reject::Outside);
    const auto values = [](const cv::Mat1w& rCodes) { return std::vector<int>(rCodes.begin(), rCodes.end()); };
    EXPECT_THAT(values(kittiCodes(map, 256)), ElementsAre(1, 2048, 8064, 65472, 0, 0));
    EXPECT_THAT(values(kittiCodes(map, 3)), ElementsAre(1, 24, 95, 767, 0, 0));
    EXPECT_THAT(values(depthMillimetres(map, 525.0)), ElementsAre(0, 0, 16667, 2053, 0, 0)); // 65.625 m is too far
    EXPECT_THAT(values(nativeCodes(map, 0, {})), ElementsAre(0, 2048, 8064, 65472, 0xFFFB, 0xFFFD));
    EXPECT_TRUE(fitsKitti({0, 256}, 256) && !fitsKitti({0, 257}, 256) && fitsKitti({0, 512}, 128));
}

TEST(Json, HoldsWhateverAFileNameHolds)
{
    EXPECT_EQ(jsonText("a\"b\\c\n\x01\xC3\xA4\xFF\xE2\x82"),
              "\"a\\\"b\\\\c\\u000a\\u0001\xC3\xA4\\ufffd\\ufffd\\ufffd\"");
    EXPECT_EQ(jsonText("\xED\xA0\x80\xF0\x9F\x98\x80"), "\"\\ufffd\\ufffd\\ufffd\xF0\x9F\x98\x80\"");
    EXPECT_EQ(jsonNumber(0.5) + jsonNumber(-1e-9) + jsonNumber(NAN) + jsonNumber(INFINITY), "0.5-1e-09nullnull");
}

} // namespace kestrova::app
