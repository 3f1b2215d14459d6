// From the library's integers to disparities and reasons, and the region outside the raw frame.
#include "PixelMask.h"

#include <gmock/gmock.h>

#include <cmath>

namespace kestrova::app {

TEST(PixelMask, ReadsSixteenBitsWithOffsetAndReasons)
{
    struct Case
    {
        std::uint16_t m_uValue;
        Reject m_eReject;
        double m_dDisparity;
    };
    const Case aCases[] = {{0, Reject::None, 160.0},       {256, Reject::None, 161.0},
                           {640, Reject::None, 162.5},     {0xFEFF, Reject::None, 160 + 254 + 255 / 256.0},
                           {0xFFFF, Reject::Texture, 0},   {0xFFFE, Reject::Uniqueness, 0},
                           {0xFFFD, Reject::Subpixel, 0},  {0xFFFC, Reject::Surface, 0},
                           {0xFF07, Reject::BackForth, 0}, // moved below
                           {0xFF80, Reject::Subpixel, 0}}; // a code of nobody
    RejectCodes codes;
    codes.m_aucCodes[4] = 7;
    for (const Case& rCase : aCases) {
        const DisparityMap map = readDisparity16(cv::Mat1w(1, 1, rCase.m_uValue), 160, codes);
        EXPECT_EQ(static_cast<Reject>(map.m_reject(0, 0)), rCase.m_eReject) << rCase.m_uValue;
        if (rCase.m_eReject == Reject::None)
            EXPECT_EQ(map.m_pixels(0, 0), static_cast<float>(rCase.m_dDisparity)) << rCase.m_uValue;
        else
            EXPECT_TRUE(std::isinf(map.m_pixels(0, 0)) && map.m_pixels(0, 0) > 0) << rCase.m_uValue;
        EXPECT_EQ(map.count()[static_cast<std::size_t>(rCase.m_eReject)], 1);
    }
}

TEST(PixelMask, ReadsEightBitsPlainAndMapped)
{
    const cv::Mat1b image = (cv::Mat1b(1, 4) << 10, 100, 255, 253);
    const DisparityMap plain = readDisparity8(image, {30.0, 1.0, 0}, {});
    EXPECT_THAT((std::array{plain.m_pixels(0, 0), plain.m_pixels(0, 1)}), testing::ElementsAre(40.0f, 130.0f));
    const DisparityMap mapped = readDisparity8(image, {8.0, 0.5, 10}, {});
    EXPECT_THAT((std::array{mapped.m_pixels(0, 0), mapped.m_pixels(0, 1)}), testing::ElementsAre(8.0f, 53.0f));
    EXPECT_EQ(static_cast<Reject>(mapped.m_reject(0, 2)), Reject::Texture);
    EXPECT_EQ(static_cast<Reject>(mapped.m_reject(0, 3)), Reject::Subpixel);
}

TEST(PixelMask, RegionEndsAtTheOutermostPixelCentres)
{
    const auto shifted = [](float fX, float fY) {
        return [=](cv::Point pixel) {
            return cv::Point2f(static_cast<float>(pixel.x) + fX, static_cast<float>(pixel.y) + fY);
        };
    };
    const cv::Size size(10, 8);
    EXPECT_EQ(cv::countNonZero(regionInsideRaw(size, size, shifted(0, 0))), 80);
    EXPECT_EQ(cv::countNonZero(regionInsideRaw(size, size, shifted(-0.01f, 0))), 72);
    EXPECT_EQ(cv::countNonZero(regionInsideRaw(size, size, shifted(0.01f, 0))), 72);
    EXPECT_EQ(cv::countNonZero(regionInsideRaw(size, size, shifted(0, 2))), 60);
    EXPECT_EQ(cv::countNonZero(regionInsideRaw(size, {9, 8}, shifted(0, 0))), 72);
}

TEST(PixelMask, RejectsWindowsThatLeaveEitherRegion)
{
    cv::Mat1b right(20, 40, uchar(255));
    cv::Mat1b left = right.clone();
    right.colRange(0, 5).setTo(0);
    left.colRange(30, 40).setTo(0);
    DisparityMap map{cv::Mat1f(20, 40, 10.4f), cv::Mat1b(20, 40, uchar(0))};
    map.m_pixels(10, 15) = std::numeric_limits<float>::infinity();
    map.m_reject(10, 15) = static_cast<unsigned char>(Reject::Texture);
    map.m_pixels(12, 10) = -30.0f; // bytes below a mapping range mean such
    rejectOutside(map, right, left, 2);
    EXPECT_EQ(static_cast<Reject>(map.m_reject(12, 10)), Reject::Outside);
    // Right: columns 0 to 4 and two more. Left: matches from column 28 on, so from column 18 on.
    for (int nCol = 0; nCol < 40; ++nCol) {
        const bool bOutside = nCol < 7 || nCol >= 18;
        EXPECT_EQ(static_cast<Reject>(map.m_reject(3, nCol)), bOutside ? Reject::Outside : Reject::None) << nCol;
        EXPECT_EQ(std::isinf(map.m_pixels(3, nCol)), bOutside) << nCol;
    }
    EXPECT_EQ(static_cast<Reject>(map.m_reject(10, 15)), Reject::Texture) << "a reason inside the frame stays";
    EXPECT_EQ(static_cast<Reject>(map.m_reject(0, 10)), Reject::None)
        << "the rim of the image is no edge of the region";
}

} // namespace kestrova::app
