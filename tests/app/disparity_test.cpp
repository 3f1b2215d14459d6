// From the library's integers to disparities and reasons, and how they compare with a known truth.
#include "demo/Furrows.h"
#include "demo/TruthReport.h"
#include "outputs/TruthComparison.h"

#include <gmock/gmock.h>

#include <limits>

namespace kestrova::app {

namespace {

constexpr float sk_fNone = std::numeric_limits<float>::infinity();

} // namespace

TEST(PixelMask, ReadsBothFormsWithOffsetMappingAndReasons)
{
    RejectCodes codes;
    codes.m_aucCodes[4] = 7; // back-forth
    const cv::Mat1w words = (cv::Mat1w(1, 9) << 0, 640, 0xFEFF, 0xFFFF, 0xFFFE, 0xFFFD, 0xFFFC, 0xFF07, 0xFF80);
    const DisparityMap map = readDisparity16(words, 160, codes);
    EXPECT_THAT(std::vector<float>(map.m_pixels.begin(), map.m_pixels.begin() + 3),
                testing::ElementsAre(160.0f, 162.5f, 414 + 255 / 256.0f));
    EXPECT_THAT(std::vector<float>(map.m_pixels.begin() + 3, map.m_pixels.end()), testing::Each(sk_fNone));
    EXPECT_THAT(std::vector<int>(map.m_reject.begin(), map.m_reject.end()), // the last code is nobody's
                testing::ElementsAre(0, 0, 0, 1, 2, 3, 4, 5, 3));
    EXPECT_THAT(map.count(), testing::ElementsAre(3, 1, 1, 2, 1, 1, 0, 0));

    const cv::Mat1b bytes = (cv::Mat1b(1, 4) << 10, 100, 255, 253);
    const DisparityMap plain = readDisparity8(bytes, {30.0, 1.0, 0}, {});
    const DisparityMap mapped = readDisparity8(bytes, {8.0, 0.5, 10}, {});
    EXPECT_THAT((std::array{plain.m_pixels(0, 0), plain.m_pixels(0, 1), mapped.m_pixels(0, 0), mapped.m_pixels(0, 1)}),
                testing::ElementsAre(40.0f, 130.0f, 8.0f, 53.0f));
    EXPECT_THAT(std::vector<int>(mapped.m_reject.begin(), mapped.m_reject.end()), testing::ElementsAre(0, 0, 1, 3));
}

TEST(PixelMask, RejectsWindowsThatLeaveEitherRawFrame)
{
    // Where raw pixel centres lie: from column 5 on in the right image, up to column 29 in the left one.
    const cv::Mat1b right = regionInsideRaw({40, 20}, {35, 20}, [](cv::Point at) { return at - cv::Point(5, 0); });
    const cv::Mat1b left = regionInsideRaw({40, 20}, {30, 20}, [](cv::Point at) { return at; });
    DisparityMap map{cv::Mat1f(20, 40, 10.4f), cv::Mat1b(20, 40, uchar(0))};
    map.m_pixels(10, 15) = sk_fNone;
    map.m_reject(10, 15) = static_cast<unsigned char>(Reject::Texture);
    map.m_pixels(12, 10) = -30.0f; // bytes below a mapping range mean such
    rejectOutside(map, {{KestrovaCamRight, right}, {KestrovaCamLeft, left}}, 2);
    // Right: columns 0 to 4 and two more. Left: matches from column 28 on, so from column 18 on. Rows end with the
    // image: its rim is no edge of the region.
    cv::Mat1b expected(20, 40, static_cast<unsigned char>(Reject::Outside));
    expected.colRange(7, 18).setTo(0);
    expected(10, 15) = static_cast<unsigned char>(Reject::Texture); // a reason inside the frame stays
    expected(12, 10) = static_cast<unsigned char>(Reject::Outside);
    EXPECT_EQ(cv::countNonZero(map.m_reject != expected), 0) << map.m_reject;
    EXPECT_EQ(cv::countNonZero((map.m_pixels == sk_fNone) != (expected != 0)), 0);

    // A match in the top image moves down: from row 10 on it stands below row 19.
    DisparityMap upright{cv::Mat1f(20, 40, 10.4f), cv::Mat1b(20, 40, uchar(0))};
    rejectOutside(upright,
                  {{KestrovaCamRight, cv::Mat1b(20, 40, uchar(255))}, {KestrovaCamTop, cv::Mat1b(20, 40, uchar(255))}},
                  2);
    EXPECT_EQ(cv::countNonZero(upright.m_reject.rowRange(0, 10)), 0);
    EXPECT_EQ(cv::countNonZero(upright.m_reject.rowRange(10, 20)), 400);
}

TEST(Report, CountsAgainstTheTruthByHand)
{
    const DisparityMap map{(cv::Mat1f(1, 6) << 20.0f, 20.5f, 21.5f, sk_fNone, 30.0f, 10.0f), cv::Mat1b(1, 6, uchar(0))};
    const SceneTruth truth{cv::Mat1f(1, 6, 20.0f), (cv::Mat1b(1, 6) << 1, 1, 1, 1, 0, 2), {}};
    const Accuracy textured = measureAccuracy(map, truth, {Sight::Textured}, 60.0);
    EXPECT_EQ(textured.m_nPixels, 4);
    EXPECT_THAT(
        (std::array{textured.validShare(), textured.within1Share(), textured.meanPixels(), textured.meanMetres()}),
        testing::Pointwise(testing::DoubleNear(1e-6), {75.0, 200.0 / 3, 0.25, (3.0 - 60 / 20.5) / 2}));
    EXPECT_EQ(measureAccuracy(map, truth, {Sight::Textured}, 60.0, 3.5, 9.0).m_nPixels, 0);
    EXPECT_EQ(measureAccuracy(map, truth, {Sight::Plain}, 60.0, 3.0, 3.5).m_nPixels, 1);
}

TEST(Furrows, AmplitudeIsThatOfThePartThatRepeatsOnceAPixel)
{
    SceneTruth truth{cv::Mat1f(64, 160), cv::Mat1b(64, 160, uchar(1)), cv::Mat1b(64, 160, uchar(255))};
    DisparityMap standard{cv::Mat1f(truth.m_disparity.size()), {}};
    DisparityMap enhanced{cv::Mat1f(truth.m_disparity.size()), {}};
    for (int nRow = 0; nRow < 64; ++nRow) {
        for (int nCol = 0; nCol < 160; ++nCol) {
            const double dTrue = 5 + (nCol + 0.5) / 160 + nRow;
            const double dPhase = 2 * CV_PI * dTrue;
            truth.m_disparity(nRow, nCol) = static_cast<float>(dTrue);
            standard.m_pixels(nRow, nCol) = static_cast<float>(dTrue + 0.01 + 0.04 * std::sin(dPhase + 1));
            enhanced.m_pixels(nRow, nCol) = static_cast<float>(dTrue + 0.01 * std::sin(2 * dPhase));
        }
    }
    standard.m_pixels(0, 0) = sk_fNone; // what either map lacks counts for none of them
    enhanced.m_pixels(0, 1) += 2;
    truth.m_floor.row(1).setTo(0);
    const FurrowComparison curves = compareFurrows(standard, enhanced, truth);
    EXPECT_EQ(curves.m_standard.m_anPixels[0], 63 * 10 - 2);
    EXPECT_EQ(curves.m_enhanced.m_anPixels, curves.m_standard.m_anPixels);
    EXPECT_NEAR(curves.m_standard.amplitude(), 0.04, 0.0005);
    EXPECT_NEAR(curves.m_standard.halfRange(), 0.04, 0.001);
    EXPECT_NEAR(curves.m_enhanced.amplitude(), 0.0, 0.0001);
    EXPECT_NEAR(curves.m_enhanced.halfRange(), 0.01, 0.001);
    EXPECT_THAT(furrowTable(curves), testing::ContainsRegex("ratio 0.00   <= 0.50  met"));
}

TEST(TruthComparison, CountsWhatIsKnownAndMovesTheNearestSurfaceToTheLeftView)
{
    const cv::Mat1f left = toLeftView((cv::Mat1f(1, 8) << 4.0f, 3.4f, 2.0f, sk_fNone, 0.6f, 5.0f, 0.0f, 0.0f));
    // 0 -> 4, 1 -> 4 (4 is nearer), 2 -> 4, 4 -> 5, 5 -> 10 (gone), 6 -> 6, 7 -> 7.
    EXPECT_THAT(std::vector<float>(left.begin(), left.end()),
                testing::ElementsAre(sk_fNone, sk_fNone, sk_fNone, sk_fNone, 4.0f, 0.6f, 0.0f, 0.0f));

    const cv::Mat1f truth = (cv::Mat1f(1, 8) << 0.0f, 3.0f, 10.0f, 10.0f, 10.0f, 10.0f, 40.0f, 20.0f);
    const cv::Mat1f found = (cv::Mat1f(1, 8) << 5.0f, 3.0f, 10.5f, 11.5f, sk_fNone, 14.0f, 40.0f, 20.0f);
    const auto [nKnown, nFound, nWithin1, nWithin2, dSumError] = compareWithTruth(found, truth, {4, 20});
    EXPECT_THAT((std::array{nKnown, nFound, nWithin1, nWithin2}), testing::ElementsAre(5, 4, 2, 3));
    EXPECT_DOUBLE_EQ(dSumError, 2.0);
}

} // namespace kestrova::app
