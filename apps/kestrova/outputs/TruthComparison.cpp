#include "outputs/TruthComparison.h"

#include <opencv2/calib3d.hpp>

#include <cmath>
#include <cstdio>
#include <limits>

namespace kestrova::app {

static constexpr float sk_fUnknown = std::numeric_limits<float>::infinity();

cv::Mat1f toLeftView(const cv::Mat1f& rRightView)
{
    cv::Mat1f left(rRightView.size(), sk_fUnknown);
    for (int nRow = 0; nRow < left.rows; ++nRow)
        for (int nCol = 0; nCol < left.cols; ++nCol) {
            const float fDisparity = rRightView(nRow, nCol);
            if (!std::isfinite(fDisparity))
                continue;
            const long nAt = std::lround(static_cast<float>(nCol) + fDisparity);
            if (nAt < 0 || nAt >= left.cols)
                continue;
            float& rPlace = left(nRow, static_cast<int>(nAt));
            if (!std::isfinite(rPlace) || fDisparity > rPlace)
                rPlace = fDisparity;
        }
    return left;
}

TruthShares compareWithTruth(const cv::Mat1f& rDisparity, const cv::Mat1f& rTruth, cv::Vec2i range)
{
    TruthShares shares;
    for (int nRow = 0; nRow < rTruth.rows; ++nRow)
        for (int nCol = 0; nCol < rTruth.cols; ++nCol) {
            const float fTrue = rTruth(nRow, nCol);
            if (fTrue <= 0.0f || fTrue < static_cast<float>(range[0]) || fTrue > static_cast<float>(range[1]))
                continue;
            ++shares.m_nKnown;
            const float fDisparity = rDisparity(nRow, nCol);
            if (!std::isfinite(fDisparity))
                continue;
            const double dError = std::abs(static_cast<double>(fDisparity) - fTrue);
            ++shares.m_nFound;
            shares.m_nWithin1 += dError <= 1.0;
            shares.m_nWithin2 += dError <= 2.0;
            shares.m_dSumError += dError <= 2.0 ? dError : 0.0;
        }
    return shares;
}

// The matcher measures from its first image, to the left: column x of the left image matches x - d of the right one.
// Seen from the right image, both are mirrored.
cv::Mat1f blockMatch(const cv::Mat1b& rRight, const cv::Mat1b& rLeft, const BlockMatchRequest& rRequest,
                     TruthView eView)
{
    const int nCount = (rRequest.m_range[1] - rRequest.m_range[0] + 1 + 15) / 16 * 16;
    const cv::Ptr<cv::StereoBM> matcher = cv::StereoBM::create(nCount, std::max(5, rRequest.m_nWindow | 1));
    matcher->setMinDisparity(rRequest.m_range[0]);
    matcher->setUniquenessRatio(rRequest.m_nUniquenessRatio);
    matcher->setTextureThreshold(rRequest.m_nTextureThreshold);
    cv::Mat1s sixteenths;
    if (eView == TruthView::Left) {
        matcher->compute(rLeft, rRight, sixteenths);
    } else {
        cv::Mat first;
        cv::Mat second;
        cv::flip(rRight, first, 1);
        cv::flip(rLeft, second, 1);
        matcher->compute(first, second, sixteenths);
        cv::flip(sixteenths, sixteenths, 1);
    }
    cv::Mat1f disparity;
    sixteenths.convertTo(disparity, CV_32F, 1.0 / 16.0);
    disparity.setTo(sk_fUnknown, disparity < static_cast<double>(rRequest.m_range[0]));
    return disparity;
}

std::string truthTableHead()
{
    return "                                   known   found   within 1   within 2   within 2   mean error\n"
           "                                  pixels       %   % of found % of found % of known of those, pixels\n";
}

std::string truthTableRow(const std::string& rName, const TruthShares& rShares)
{
    const auto share = [](long nPart, long nWhole) {
        return nWhole ? 100.0 * static_cast<double>(nPart) / static_cast<double>(nWhole) : 0.0;
    };
    const double dMean = rShares.m_nWithin2 ? rShares.m_dSumError / static_cast<double>(rShares.m_nWithin2) : 0.0;
    char acLine[200];
    std::snprintf(acLine, sizeof acLine, "  %-30s %8ld %7.1f %10.1f %10.1f %10.1f %12.3f\n", rName.c_str(),
                  rShares.m_nKnown, share(rShares.m_nFound, rShares.m_nKnown),
                  share(rShares.m_nWithin1, rShares.m_nFound), share(rShares.m_nWithin2, rShares.m_nFound),
                  share(rShares.m_nWithin2, rShares.m_nKnown), dMean);
    return acLine;
}

} // namespace kestrova::app
