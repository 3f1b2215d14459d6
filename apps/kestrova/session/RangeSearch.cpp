#include "session/RangeSearch.h"

#include "cameras/DepthRange.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

namespace kestrova::app {

namespace {

constexpr int sk_nOverlap = 24; // of stretches: a match on the rim of one is no result
constexpr int sk_nStep = 2;     // of rows and columns that are looked at
constexpr int sk_nHalf = 5;     // of the patch that must look alike
constexpr double sk_dAlike = 0.85;

// Range, threads and way back of a session, put back at the end.
class KeptSettings
{
public:
    explicit KeptSettings(StereoSession& rSession) : m_rSession(rSession), m_range(rSession.disparityRange())
    {
        kestrovaGetMaxThreadCount(rSession.handle(), &m_nThreads);
        kestrovaGetBackForthValidation(rSession.handle(), &m_nBackForth);
    }
    ~KeptSettings()
    {
        kestrovaSetMaxThreadCount(m_rSession.handle(), m_nThreads);
        kestrovaSetBackForthValidation(m_rSession.handle(), m_nBackForth);
        kestrovaSetDisparity(m_rSession.handle(), m_range[0], m_range[1]);
    }
    KeptSettings(const KeptSettings&) = delete;
    KeptSettings& operator=(const KeptSettings&) = delete;

private:
    StereoSession& m_rSession;
    cv::Vec2i m_range;
    int m_nThreads = 1;
    int m_nBackForth = 0;
};

// Correlation of the patches around a pixel and around its match; -1 where one leaves the images.
double alike(const cv::Mat1b& rRight, const cv::Mat1b& rOther, cv::Point right, cv::Point other)
{
    const cv::Size size(2 * sk_nHalf + 1, 2 * sk_nHalf + 1);
    const cv::Rect image({0, 0}, rRight.size());
    const cv::Rect a(right - cv::Point(sk_nHalf, sk_nHalf), size);
    const cv::Rect b(other - cv::Point(sk_nHalf, sk_nHalf), size);
    if ((a & image) != a || (b & image) != b) {
        return -1.0;
    }
    cv::Mat1f result;
    cv::matchTemplate(rOther(b), rRight(a), result, cv::TM_CCOEFF_NORMED);
    return static_cast<double>(result(0, 0));
}

} // namespace

void RangeSearch::addStretch(cv::Vec2i stretch, const PerCamera<cv::Mat1b>& rImages,
                             const PerCamera<cv::Mat1b>& rRegions, cv::Mat1f& rBest, cv::Mat1f& rDisparity)
{
    if (kestrovaSetDisparity(m_rSession.handle(), stretch[0], stretch[1]) != KestrovaErrorOk) {
        return;
    }
    m_rSession.fitThreads();
    DisparityMap map = m_rSession.read16(m_rSession.matchTo16());
    rejectOutside(map, rRegions, m_rSession.windowReach());
    const auto& [eOther, rOther] = *rImages.rbegin();
    const cv::Mat1b& rRight = rImages.at(KestrovaCamRight);
    for (int nRow = 0; nRow < rBest.rows; ++nRow) {
        for (int nCol = 0; nCol < rBest.cols; ++nCol) {
            const cv::Point at(nCol * sk_nStep, nRow * sk_nStep);
            const float fDisparity = map.m_pixels(at);
            if (!std::isfinite(fDisparity)) {
                continue;
            }
            const int nShift = static_cast<int>(std::lround(fDisparity));
            const cv::Point match = at + (eOther == KestrovaCamTop ? cv::Point(0, nShift) : cv::Point(nShift, 0));
            if (const auto fAlike = static_cast<float>(alike(rRight, rOther, at, match)); fAlike > rBest(nRow, nCol)) {
                rBest(nRow, nCol) = fAlike;
                rDisparity(nRow, nCol) = fDisparity;
            }
        }
    }
}

void RangeSearch::add(const PerCamera<cv::Mat1b>& rFrames, const PerCamera<cv::Mat1b>& rRegions)
{
    m_rSession.preprocess(rFrames, FrameForm::Planes);
    PerCamera<cv::Mat1b> images;
    for (const auto& [eCamera, rFrame] : rFrames) {
        images[eCamera] = m_rSession.image(KestrovaImgRectified, eCamera);
    }
    const cv::Size canvas = m_rSession.canvas();
    const int nLargest = largestDisparity(rFrames.contains(KestrovaCamTop) ? canvas.height : canvas.width);
    m_counts.resize(static_cast<std::size_t>(nLargest) + 1);
    cv::Mat1f best((canvas.height + sk_nStep - 1) / sk_nStep, (canvas.width + sk_nStep - 1) / sk_nStep,
                   static_cast<float>(sk_dAlike));
    cv::Mat1f disparity(best.size(), std::numeric_limits<float>::infinity());
    const KeptSettings kept(m_rSession);
    kestrovaSetBackForthValidation(m_rSession.handle(), 1);
    for (int nFirst = 0; nFirst < nLargest; nFirst += sk_nMostDisparities / 2 - sk_nOverlap) {
        addStretch({nFirst, std::min(nFirst + sk_nMostDisparities / 2, nLargest)}, images, rRegions, best, disparity);
    }
    for (const float fDisparity : disparity) {
        if (std::isfinite(fDisparity)) {
            ++m_counts[static_cast<std::size_t>(std::clamp(static_cast<int>(fDisparity), 0, nLargest))];
        }
    }
    m_nSamples += static_cast<long>(disparity.total());
}

// Chance matches lie all over the range, a subject lies dense.
std::vector<double> RangeSearch::subject() const
{
    constexpr int nNear = 4; // pixels to both sides
    const int nCount = static_cast<int>(m_counts.size());
    std::vector<long> dense;
    for (int i = 0; i < nCount; ++i) {
        long nSum = 0;
        for (int j = std::max(0, i - nNear); j <= std::min(nCount - 1, i + nNear); ++j) {
            nSum += m_counts[static_cast<std::size_t>(j)];
        }
        dense.push_back(nSum);
    }
    std::vector<long> sorted = dense;
    std::sort(sorted.begin(), sorted.end());
    // Most of the range is empty, so its middle tells what chance gives.
    const long nChance = sorted.empty() ? 0 : sorted[sorted.size() / 2];
    const double dLeast =
        std::max<double>(0.001 * static_cast<double>(m_nSamples),
                         std::min<double>(3.0 * static_cast<double>(nChance), 0.01 * static_cast<double>(m_nSamples)));
    std::vector<double> subject; // in order
    for (std::size_t u = 0; u < dense.size(); ++u) {
        if (static_cast<double>(dense[u]) >= dLeast) {
            subject.insert(subject.end(), static_cast<std::size_t>(m_counts[u]), static_cast<double>(u));
        }
    }
    if (static_cast<double>(subject.size()) < 0.01 * static_cast<double>(m_nSamples)) {
        return {};
    }
    const auto few = static_cast<std::ptrdiff_t>(subject.size() / 200);
    return {subject.begin() + few, subject.end() - few};
}

} // namespace kestrova::app
