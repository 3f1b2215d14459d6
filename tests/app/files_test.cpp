// What goes in and comes out: clouds, float images, folders, pictures, and frames fitted to the canvas.
#include "basics/AppError.h"
#include "basics/OutputFolder.h"
#include "basics/Units.h"
#include "outputs/CloudWriter.h"
#include "outputs/Pictures.h"
#include "session/FrameFit.h"

#include "app/fixtures.h"

#include <gmock/gmock.h>
#include <opencv2/imgcodecs.hpp>

#include <limits>

namespace kestrova::app {

TEST(CloudWriter, WritesWhatReadersOfTheHeadersExpect)
{
    const TempFolder folder;
    const auto bytes = [](const std::vector<float>& rFloats) {
        return std::string(reinterpret_cast<const char*>(rFloats.data()), rFloats.size() * sizeof(float));
    };
    writeCloud(folder / "c.ply", {{{1.5f, -2.0f, 3.25f}, {10, 255, 0}, 7.5f}}, "a\ntest");
    EXPECT_EQ(slurp(folder / "c.ply"), "ply\nformat binary_little_endian 1.0\n"
                                       "comment frame=right_rectified_optical, unit=m, source=a?test\n"
                                       "element vertex 1\nproperty float x\nproperty float y\nproperty float z\n"
                                       "property uchar red\nproperty uchar green\nproperty uchar blue\n"
                                       "property float disparity\nend_header\n" +
                                           bytes({1.5f, -2.0f, 3.25f}) + std::string("\x0A\xFF\0", 3) + bytes({7.5f}));
    const float fNone = std::numeric_limits<float>::infinity();
    writePfm(folder / "d.pfm", (cv::Mat1f(2, 3) << 1, 2, 3, 4, 5, fNone)); // rows run upward
    EXPECT_EQ(slurp(folder / "d.pfm"), "Pf\n3 2\n-1.0\n" + bytes({4, 5, fNone, 1, 2, 3}));
    EXPECT_THROW(writeCloud(folder / "no/c.ply", {}, ""), AppError);
}

TEST(OutputFolder, AppearsWholeOrNotAtAll)
{
    const TempFolder folder;
    for (const char* pszPlace : {"new", "deep/er", "slash/"}) {
        for (bool bCommit : {false, true}) {
            OutputFolder output(folder / pszPlace);
            std::ofstream(output.file("a")) << "kept";
            EXPECT_FALSE(std::filesystem::exists(folder / pszPlace)) << pszPlace;
            if (bCommit) {
                output.commit();
            }
        }
        EXPECT_EQ(slurp(folder / pszPlace / "a"), "kept") << pszPlace;
    }
    std::ofstream(folder / "new/own") << "mine";
    OutputFolder again(folder / "new");
    std::ofstream(again.file("a")) << "newer";
    again.commit();
    EXPECT_EQ(slurp(folder / "new/a") + slurp(folder / "new/own"), "newermine") << "only files of the same name go";
    EXPECT_THROW(OutputFolder(folder / "new/own"), AppError);
}

TEST(Pictures, ColoursFollowTheRangeAndSheetsTheImages)
{
    DisparityMap map{cv::Mat1f(48, 64, 5.0f), cv::Mat1b(48, 64, uchar(0))};
    map.m_pixels(0, 0) = 60.0f;
    for (int i = 1; i < sk_nRejects; ++i) {
        map.m_reject(0, i) = static_cast<unsigned char>(i);
    }
    const cv::Mat3b colours = colourDisparity(map, {0, 64, 60});
    EXPECT_GT(colours(0, 0)[2], colours(0, 0)[0]) << "near is red";
    EXPECT_GT(colours(1, 0)[0], colours(1, 0)[2]) << "far is blue, whatever else is in the frame";
    for (int i = 1; i < sk_nRejects; ++i) {
        for (int k = 1; k < i; ++k) {
            EXPECT_GE(cv::norm(colours(0, i), colours(0, k), cv::NORM_INF), 25) << i << " and " << k << " look alike";
        }
    }
    const cv::Mat3b sheet = disparityPicture(map, {0, 64, 60}, "title");
    EXPECT_GE(sheet.rows, 400) << "a small picture grows, so that the legend can be read";
    EXPECT_EQ(sheet(26, 0), colours(0, 0)) << "the first pixel stays at the top left";
    EXPECT_EQ(sheet(sheet.rows - 1, 0), colours(1, 0));
    const cv::Mat3b pair = sideBySide(cv::Mat1b(48, 64, uchar(10)), cv::Mat1b(48, 64, uchar(200)));
    EXPECT_EQ(pair(pair.rows - 2, 5), cv::Vec3b::all(10));
    EXPECT_EQ(pair(pair.rows - 2, pair.cols - 5), cv::Vec3b::all(200));
}

TEST(ImageFiles, OtherProgramsSeeTheSamePixels)
{
    const TempFolder folder;
    const std::string path = (folder / "image").string();
    cv::Mat grey(7, 13, CV_8UC1);
    cv::Mat wide(7, 13, CV_16UC1);
    cv::Mat packed(7, 13, CV_8UC4);
    cv::Mat color(7, 13, CV_8UC3); // blue, green, red, as OpenCV reads
    for (int i = 0; i < 7 * 13; ++i) {
        const auto next = [i](int n) { return static_cast<unsigned char>(i * 37 + n * 101); };
        grey.at<unsigned char>(i) = next(0);
        wide.at<unsigned short>(i) = static_cast<unsigned short>(next(0) + 256 * next(1));
        color.at<cv::Vec3b>(i) = {next(0), next(1), next(2)};
        packed.at<cv::Vec4b>(i) = {next(0), next(1), next(2), next(3)};
    }
    const auto readsAs = [&](const cv::Mat& rWanted) {
        const cv::Mat read = cv::imread(path, cv::IMREAD_UNCHANGED);
        return read.size() == rWanted.size() && read.type() == rWanted.type() &&
               cv::norm(read, rWanted, cv::NORM_INF) == 0;
    };
    const KestrovaImage image{7, 13, 13, grey.data};
    ASSERT_EQ(kestrovaSaveImage(&image, path.c_str()), KestrovaErrorOk);
    EXPECT_TRUE(readsAs(grey));
    const KestrovaPackedColorImage packedImage{7, 13, 52, packed.ptr<Pixel8x4>()};
    ASSERT_EQ(kestrovaSavePackedColorImage(&packedImage, path.c_str()), KestrovaErrorOk);
    EXPECT_TRUE(readsAs(color));
    const KestrovaImage16 wideImage{7, 13, 26, wide.ptr<unsigned short>()};
    ASSERT_EQ(kestrovaSaveImage16(&wideImage, path.c_str()), KestrovaErrorOk);
    cv::Mat swapped(7, 13, CV_16UC1);
    for (int i = 0; i < 7 * 13; ++i) {
        swapped.at<unsigned short>(i) = __builtin_bswap16(wide.at<unsigned short>(i));
    }
    EXPECT_TRUE(readsAs(swapped)); // the low byte comes first, where others expect the high one
}

TEST(FrameFit, KeepsTheShapeAndFindsTheCanvas)
{
    const cv::Size vga(640, 480);
    const std::tuple<cv::Size, std::optional<cv::Size>, cv::Size, cv::Rect> aCases[] = {
        {{641, 480}, {}, {644, 483}, {1, 1, 641, 480}},  {{1280, 720}, {}, {1280, 960}, {0, 120, 1280, 720}},
        {{500, 500}, {}, {668, 501}, {84, 0, 500, 500}}, {{1282, 1110}, vga, vga, {43, 0, 554, 480}},
        {{320, 240}, vga, vga, {0, 0, 640, 480}},        {{4000, 10}, vga, vga, {0, 239, 640, 2}}};
    for (const auto& [frame, wish, canvas, place] : aCases) {
        const FrameFit fit = planFrameFit(frame, wish);
        EXPECT_EQ(fit.m_canvas, canvas) << frame;
        EXPECT_EQ(fit.m_place, place) << frame;
        const cv::Mat fitted = fitFrame(cv::Mat1b(frame, uchar(7)), fit);
        EXPECT_EQ(cv::countNonZero((fitted == 7) != fit.region()), 0) << "the frame fills its place and no more";
    }
    EXPECT_THROW(planFrameFit({640, 480}, cv::Size(640, 400)), AppError);

    // Disparity scales with the width, from 200 columns to 80, and is never mixed; above the frame nothing is known.
    cv::Mat1f truth(100, 200, 0.0f);
    truth.colRange(99, 200).setTo(50.0f);
    const FrameFit fit = planFrameFit(truth.size(), cv::Size(80, 60));
    cv::Mat1f expected(60, 80, 0.0f);
    expected(cv::Rect(40, 10, 40, 40)).setTo(20.0f);
    EXPECT_EQ(cv::countNonZero(fitDisparity(truth, fit) != expected), 0);
    // A picture of another size than the frame: its own width counts.
    EXPECT_EQ(fitDisparity(cv::Mat1f(50, 100, 25.0f), fit)(30, 40), 20.0f);
}

TEST(Options, SizesAndLengths)
{
    EXPECT_EQ(parseSize("640x480", "--size"), cv::Size(640, 480));
    for (const char* pszLength : {"120mm", "12.0cm", "0.12m"}) {
        EXPECT_DOUBLE_EQ(parseLength(pszLength, "--b"), 0.12);
    }
    for (const char* pszBad : {"", "640", "640x", "x480", "640x480x", "0x0", "-4x-3", "640 by 480"}) {
        EXPECT_THROW(parseSize(pszBad, "--size"), AppError) << pszBad;
    }
    for (const char* pszBad : {"", "120", "mm", "120 mm", "120mmm", "-1m", "0mm", "nanm", "infm", "1e3"}) {
        EXPECT_THROW(parseLength(pszBad, "--b"), AppError) << pszBad;
    }
}

} // namespace kestrova::app
