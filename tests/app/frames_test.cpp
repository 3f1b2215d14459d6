// Fitting of frames to the canvas, and the words of the command line for sizes and lengths.
#include "AppError.h"
#include "FrameFit.h"

#include <gtest/gtest.h>

namespace kestrova::app {

TEST(FrameFit, KeepsTheShapeAndFindsTheCanvas)
{
    struct Case
    {
        cv::Size m_frame;
        std::optional<cv::Size> m_wish;
        cv::Size m_canvas;
        cv::Rect m_place;
    };
    const Case aCases[] = {{{640, 480}, {}, {640, 480}, {0, 0, 640, 480}},
                           {{641, 480}, {}, {644, 483}, {1, 1, 641, 480}},
                           {{1280, 720}, {}, {1280, 960}, {0, 120, 1280, 720}},
                           {{500, 500}, {}, {668, 501}, {84, 0, 500, 500}},
                           {{1282, 1110}, cv::Size(640, 480), {640, 480}, {43, 0, 554, 480}},
                           {{320, 240}, cv::Size(640, 480), {640, 480}, {0, 0, 640, 480}},
                           {{4000, 10}, cv::Size(640, 480), {640, 480}, {0, 239, 640, 2}}};
    for (const Case& rCase : aCases) {
        const FrameFit fit = planFrameFit(rCase.m_frame, rCase.m_wish);
        EXPECT_EQ(fit.m_canvas, rCase.m_canvas) << rCase.m_frame;
        EXPECT_EQ(fit.m_place, rCase.m_place) << rCase.m_frame;
        const cv::Mat1b canvas = fitFrame(cv::Mat1b(rCase.m_frame, uchar(7)), fit);
        EXPECT_EQ(cv::countNonZero((canvas == 7) != (fit.region() == 255)), 0)
            << "the frame fills its place and no more";
    }
    EXPECT_THROW(planFrameFit({640, 480}, cv::Size(640, 400)), AppError);
}

TEST(FrameFit, DisparityScalesWithTheWidthAndIsNeverMixed)
{
    cv::Mat1f truth(100, 200, 0.0f);
    truth.colRange(100, 200).setTo(50.0f);
    const FrameFit fit = planFrameFit(truth.size(), cv::Size(80, 60)); // 200 columns become 80
    const cv::Mat1f fitted = fitDisparity(truth, fit);
    EXPECT_EQ(fitted(30, 79), 20.0f);
    EXPECT_EQ(fitted(30, 0), 0.0f);
    EXPECT_EQ(fitted(0, 79), 0.0f) << "above the frame nothing is known";
    for (float fValue : fitted)
        ASSERT_TRUE(fValue == 0.0f || fValue == 20.0f) << fValue;
    // A picture of another size than the frame: its own width counts.
    EXPECT_EQ(fitDisparity(cv::Mat1f(50, 100, 25.0f), fit)(30, 40), 20.0f);
}

TEST(Options, SizesAndLengths)
{
    EXPECT_EQ(parseSize("640x480", "--size"), cv::Size(640, 480));
    EXPECT_DOUBLE_EQ(parseLength("120mm", "--b"), 0.12);
    EXPECT_DOUBLE_EQ(parseLength("12.5cm", "--b"), 0.125);
    EXPECT_DOUBLE_EQ(parseLength("2m", "--b"), 2.0);
    for (const char* pszBad : {"", "640", "640x", "x480", "640x480x", "0x0", "-4x-3", "640 by 480"})
        EXPECT_THROW(parseSize(pszBad, "--size"), AppError) << pszBad;
    for (const char* pszBad : {"", "120", "mm", "120 mm", "120mmm", "-1m", "0mm", "nanm", "infm", "1e3"})
        EXPECT_THROW(parseLength(pszBad, "--b"), AppError) << pszBad;
}

} // namespace kestrova::app
