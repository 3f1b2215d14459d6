// The comparison with a known disparity picture, and the block matcher beside it.
#include "TruthComparison.h"

#include <gmock/gmock.h>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <limits>

namespace kestrova::app {

static constexpr float sk_fNone = std::numeric_limits<float>::infinity();

TEST(TruthComparison, MovesToTheLeftViewWithTheNearestSurfaceOnTop)
{
    const cv::Mat1f right = (cv::Mat1f(1, 8) << 4.0f, 3.4f, 2.0f, sk_fNone, 0.6f, 5.0f, 0.0f, 0.0f);
    const cv::Mat1f left = toLeftView(right);
    // 0 -> 4, 1 -> 4 (4 is nearer), 2 -> 4, 4 -> 5, 5 -> 10 (gone), 6 -> 6, 7 -> 7.
    EXPECT_THAT(std::vector<float>(left.begin(), left.end()),
                testing::ElementsAre(sk_fNone, sk_fNone, sk_fNone, sk_fNone, 4.0f, 0.6f, 0.0f, 0.0f));
}

TEST(TruthComparison, CountsOnlyWhatIsKnownAndInRange)
{
    const cv::Mat1f truth = (cv::Mat1f(1, 8) << 0.0f, 3.0f, 10.0f, 10.0f, 10.0f, 10.0f, 40.0f, 20.0f);
    const cv::Mat1f found = (cv::Mat1f(1, 8) << 5.0f, 3.0f, 10.5f, 11.5f, sk_fNone, 14.0f, 40.0f, 20.0f);
    const TruthShares shares = compareWithTruth(found, truth, {4, 20});
    EXPECT_EQ(shares.m_nKnown, 5);
    EXPECT_EQ(shares.m_nFound, 4);
    EXPECT_EQ(shares.m_nWithin1, 2);
    EXPECT_EQ(shares.m_nWithin2, 3);
    EXPECT_DOUBLE_EQ(shares.m_dSumError, 2.0);
    EXPECT_NE(truthTableRow("name", shares).find(" 80.0 "), std::string::npos);
}

TEST(TruthComparison, BlockMatcherFindsAStepFromEitherSide)
{
    cv::Mat1b right(120, 240);
    cv::theRNG().state = 3;
    cv::randu(right, 0, 255);
    cv::GaussianBlur(right, right, {0, 0}, 1.0);
    cv::Mat1b left(right.size(), uchar(0));
    right.colRange(0, 220).copyTo(left.colRange(20, 240)); // column x of the right image at x + 20 of the left
    for (TruthView eView : {TruthView::Left, TruthView::Right}) {
        const cv::Mat1f disparity = blockMatch(right, left, {{8, 40}, 7}, eView);
        int nFound = 0;
        for (int nRow = 20; nRow < 100; ++nRow)
            for (int nCol = 70; nCol < 170; ++nCol)
                if (std::isfinite(disparity(nRow, nCol))) {
                    ++nFound;
                    ASSERT_NEAR(disparity(nRow, nCol), 20.0f, 0.5f) << nRow << ' ' << nCol;
                }
        EXPECT_GT(nFound, 7000) << static_cast<int>(eView);
    }
}

} // namespace kestrova::app
