#include "session/PairCheck.h"

#include "basics/Statistics.h"
#include "session/RowAgreement.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <optional>

namespace kestrova::app {

namespace {

constexpr int sk_nPatch = 17;
constexpr double sk_dAlike = 0.92; // correlation of patches at their final places

// Place in the other image to a few hundredths of a pixel, by least squares over a patch whose mean is taken off, so
// that unlike brightness does not pull. Nothing when it wanders off.
std::optional<cv::Point2d> refineDetail(const cv::Mat1f& rRight, const cv::Mat1f& rOther, const FoundDetail& rDetail)
{
    const cv::Size size(sk_nPatch, sk_nPatch);
    cv::Mat1f wanted;
    cv::getRectSubPix(rRight, size, rDetail.m_right, wanted);
    wanted -= cv::mean(wanted)[0];
    cv::Mat1f slopeX, slopeY;
    cv::Sobel(wanted, slopeX, CV_32F, 1, 0, 3, 1.0 / 8.0);
    cv::Sobel(wanted, slopeY, CV_32F, 0, 1, 3, 1.0 / 8.0);
    const cv::Matx22d A(slopeX.dot(slopeX), slopeX.dot(slopeY), slopeX.dot(slopeY), slopeY.dot(slopeY));
    cv::Point2d at = rDetail.m_left;
    double dAlike = 0.0;
    for (int nRound = 0; nRound < 12; ++nRound) {
        cv::Mat1f seen;
        cv::getRectSubPix(rOther, size, at, seen);
        seen -= cv::mean(seen)[0];
        const double dPower = std::max(seen.dot(seen), 1e-9);
        const double dScale = wanted.dot(seen) / dPower;
        dAlike = wanted.dot(seen) / std::sqrt(dPower * std::max(wanted.dot(wanted), 1e-9));
        const cv::Mat1f off(wanted - dScale * seen);
        const cv::Vec2d step = A.solve(cv::Vec2d(slopeX.dot(off), slopeY.dot(off)), cv::DECOMP_SVD);
        at += cv::Point2d(step[0], step[1]);
        if (cv::norm(step) < 0.003) {
            break;
        }
    }
    return cv::norm(at - cv::Point2d(rDetail.m_left)) < 1.5 && dAlike > sk_dAlike ? std::optional(at) : std::nullopt;
}

double patchMean(const cv::Mat1b& rImage, cv::Point at)
{
    const cv::Rect patch(at.x - sk_nPatch / 2, at.y - sk_nPatch / 2, sk_nPatch, sk_nPatch);
    return cv::mean(rImage(patch & cv::Rect({0, 0}, rImage.size())))[0];
}

} // namespace

Details findDetails(const cv::Mat1b& rRight, const cv::Mat1b& rOther, const cv::Mat1b& rMask, std::optional<int> rows)
{
    const SearchReach reach{-rRight.cols / 4, rRight.cols / 2, rows.value_or(std::max(6, rRight.rows / 40))};
    cv::Mat1f right, other;
    rRight.convertTo(right, CV_32F);
    rOther.convertTo(other, CV_32F);
    Details details;
    for (const FoundDetail& rFound : findCorners(rRight, rOther, reach, rMask)) {
        if (const auto at = refineDetail(right, other, rFound)) {
            details.push_back(
                {rFound.m_right, *at, patchMean(rRight, rFound.m_right), patchMean(rOther, rFound.m_left)});
        }
    }
    return details;
}

PairCheck judgeDetails(const Details& rDetails)
{
    PairCheck check;
    if (rDetails.empty()) {
        return check;
    }
    std::vector<double> rows;
    double dRightSum = 0.0;
    double dOtherSum = 0.0;
    for (const Detail& rDetail : rDetails) {
        rows.push_back(rDetail.m_other.y - rDetail.m_right.y);
        dRightSum += rDetail.m_dRightGrey;
        dOtherSum += rDetail.m_dOtherGrey;
    }
    check.m_dMiddle = medianOf(rows);
    std::vector<double> off;
    for (double dRow : rows) {
        off.push_back(std::abs(dRow - check.m_dMiddle));
    }
    const double dLimit = 0.1 + 4.0 * 1.4826 * medianOf(off);
    check.m_dGain = dRightSum / std::max(dOtherSum, 1.0);
    std::vector<double> kept;
    for (std::size_t u = 0; u < rows.size(); ++u) {
        if (std::abs(rows[u] - check.m_dMiddle) <= dLimit) {
            kept.push_back(rows[u]);
            check.m_disparities.push_back(rDetails[u].m_other.x - rDetails[u].m_right.x);
        }
    }
    const auto nBehind = std::count_if(check.m_disparities.begin(), check.m_disparities.end(),
                                       [](double dDisparity) { return dDisparity < -1.0; });
    check.m_dBehind = static_cast<double>(nBehind) / static_cast<double>(kept.size());
    check.m_nStrays = static_cast<int>(rows.size() - kept.size());
    check.m_rows = rowErrors(std::move(kept));
    return check;
}

const char* PairCheck::verdictText() const
{
    return isEnough() ? verdictName(verdict()) : "too few, give more frames";
}

cv::Mat1b wellInside(const cv::Mat1b& rRegion)
{
    cv::Mat1b mask;
    cv::copyMakeBorder(rRegion, mask, 1, 1, 1, 1, cv::BORDER_CONSTANT, 0);
    cv::erode(mask, mask, cv::Mat1b(21, 21, uchar(1)), {-1, -1}, 1, cv::BORDER_CONSTANT, 0);
    return mask(cv::Rect({1, 1}, rRegion.size())).clone();
}

} // namespace kestrova::app
