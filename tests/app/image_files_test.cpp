// Image files of the library in a program that has never heard of it.
#include "TempFolder.h"
#include "kestrova.h"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

namespace {

TEST(ImageFiles, OtherProgramsSeeTheSamePixels)
{
    const kestrova::app::TempFolder folder;
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

} // namespace
