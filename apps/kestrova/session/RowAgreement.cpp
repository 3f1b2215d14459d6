#include "session/RowAgreement.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>

namespace kestrova::app {

namespace {

constexpr int sk_nHalf = 8;        // of the patch that is looked for
constexpr double sk_dAlike = 0.85; // correlation from which a find counts
constexpr double sk_dLead = 0.1;   // by which it must be better than any other place

// Another place, not next to the best one, that looks nearly as good: a pattern that repeats.
bool hasRival(const cv::Mat1f& rAlike, cv::Point best, double dBest)
{
    cv::Mat1f others = rAlike.clone();
    others(cv::Rect(best.x - 4, best.y - 4, 9, 9) & cv::Rect({0, 0}, others.size())).setTo(-1.0f);
    double dSecond = 0.0;
    cv::minMaxLoc(others, nullptr, &dSecond);
    return dSecond > dBest - sk_dLead;
}

// One detail, or nothing where it is not found with certainty.
std::optional<FoundDetail> findDetail(const cv::Mat1b& rRight, const cv::Mat1b& rLeft, cv::Point at,
                                      const SearchReach& rReach)
{
    const cv::Rect patch(at.x - sk_nHalf, at.y - sk_nHalf, 2 * sk_nHalf + 1, 2 * sk_nHalf + 1);
    const cv::Rect wanted(patch.x + rReach.m_nFirstColumn, patch.y - rReach.m_nRows,
                          patch.width + rReach.m_nLastColumn - rReach.m_nFirstColumn,
                          patch.height + 2 * rReach.m_nRows);
    const cv::Rect search = wanted & cv::Rect({0, 0}, rLeft.size());
    if ((patch & cv::Rect({0, 0}, rRight.size())) != patch || search.height != wanted.height ||
        search.width < patch.width) {
        return std::nullopt;
    }
    cv::Mat1f alike;
    cv::matchTemplate(rLeft(search), rRight(patch), alike, cv::TM_CCOEFF_NORMED);
    cv::Point best;
    double dBest = 0.0;
    cv::minMaxLoc(alike, nullptr, &dBest, nullptr, &best);
    if (dBest < sk_dAlike || best.y == 0 || best.y == alike.rows - 1) {
        return std::nullopt;
    }
    if (hasRival(alike, best, dBest)) {
        return std::nullopt;
    }
    const double dAbove = alike(best.y - 1, best.x);
    const double dBelow = alike(best.y + 1, best.x);
    const double dBend = dAbove - 2.0 * dBest + dBelow;
    const double dRows = best.y - rReach.m_nRows + (dBend < 0.0 ? 0.5 * (dAbove - dBelow) / dBend : 0.0);
    return FoundDetail{at, search.tl() + best + cv::Point(sk_nHalf, sk_nHalf), dRows};
}

} // namespace

std::vector<FoundDetail> findCorners(const cv::Mat1b& rRight, const cv::Mat1b& rLeft, const SearchReach& rReach,
                                     const cv::Mat1b& rMask)
{
    std::vector<cv::Point2f> corners;
    cv::goodFeaturesToTrack(rRight, corners, 400, 0.02, 10, rMask);
    std::vector<FoundDetail> found;
    for (const cv::Point2f& rCorner : corners) {
        if (const auto detail = findDetail(rRight, rLeft, cv::Point(rCorner), rReach)) {
            found.push_back(*detail);
        }
    }
    return found;
}

RowAgreement measureRows(const cv::Mat1b& rRight, const cv::Mat1b& rLeft, const SearchReach& rReach,
                         const cv::Mat1b& rMask)
{
    std::vector<double> differences;
    for (const FoundDetail& rDetail : findCorners(rRight, rLeft, rReach, rMask)) {
        differences.push_back(std::abs(rDetail.m_dRows));
    }
    if (differences.empty()) {
        return {};
    }
    std::sort(differences.begin(), differences.end());
    const double dSum = std::accumulate(differences.begin(), differences.end(), 0.0);
    return {static_cast<int>(differences.size()), dSum / static_cast<double>(differences.size()),
            differences[(differences.size() - 1) * 95 / 100]};
}

} // namespace kestrova::app
