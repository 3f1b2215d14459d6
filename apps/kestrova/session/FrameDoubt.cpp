#include "session/FrameDoubt.h"

#include "basics/Line.h"
#include "basics/Statistics.h"
#include "cameras/DepthRange.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace kestrova::app {

namespace {

cv::Mat1b upright(const cv::Mat1b& rImage, KestrovaCamera eOther)
{
    return eOther == KestrovaCamTop ? cv::Mat1b(rImage.t()) : rImage;
}

std::string pairOptions(KestrovaCamera eOther)
{
    return std::string("--right and --") + cameraName(eOther);
}

} // namespace

Details detailsOf(StereoSession& rSession, const PerCamera<cv::Mat1b>& rFrames, KestrovaCamera eOther,
                  const cv::Mat1b& rRightRegion)
{
    rSession.preprocess(rFrames, FrameForm::Planes);
    return findDetails(upright(rSession.image(KestrovaImgRectified, KestrovaCamRight), eOther),
                       upright(rSession.image(KestrovaImgRectified, eOther), eOther),
                       upright(wellInside(rRightRegion), eOther));
}

bool isSwapped(StereoSession& rSession, const PerCamera<cv::Mat1b>& rFrames, KestrovaCamera eOther,
               const cv::Mat1b& rRightRegion, const PairCheck& rCheck)
{
    if (rCheck.m_dBehind > 0.6 && rCheck.m_rows.m_nCount >= sk_nFewestDetails / 3) {
        return true;
    }
    if (rCheck.isEnough()) {
        return false;
    }
    PerCamera<cv::Mat1b> exchanged = rFrames;
    std::swap(exchanged.at(KestrovaCamRight), exchanged.at(eOther));
    const PairCheck other = judgeDetails(detailsOf(rSession, exchanged, eOther, rRightRegion));
    return other.isEnough() && other.m_rows.m_dRms < 1.0 && other.m_dBehind < 0.2;
}

std::string swappedText(KestrovaCamera eOther)
{
    return pairOptions(eOther) +
           ": the two frames are swapped, matches lie at negative disparity, behind infinity; hand "
           "them over the other way round";
}

// ---- range ----

namespace {

double scaleOf(const StereoSession& rSession)
{
    const Optics optics = rSession.optics();
    return static_cast<double>(optics.m_fFocal) * optics.m_fBaseline;
}

std::string insteadOf(const StereoSession& rSession, const std::vector<double>& rSubject)
{
    const cv::Size canvas = rSession.canvas();
    const bool bRows = rSession.configuration() != KestrovaCfg2CameraHorizontal;
    const cv::Vec2i range = rangeAround(rSubject, largestDisparity(bRows ? canvas.height : canvas.width));
    return line("--disparity %d %d, or --range auto", range[0], range[1]);
}

// Details are looked for far outside the range too.
std::string rangeDoubt(const StereoSession& rSession, std::vector<double> disparities)
{
    const cv::Vec2i range = rSession.disparityRange();
    std::erase_if(disparities, [](double dDisparity) { return dDisparity < 0.0; });
    std::sort(disparities.begin(), disparities.end());
    const auto nearer = disparities.end() - std::lower_bound(disparities.begin(), disparities.end(), range[1] - 0.5);
    const auto farther =
        range[0] == 0 ? 0
                      : std::upper_bound(disparities.begin(), disparities.end(), range[0] + 0.5) - disparities.begin();
    if (const auto outside = nearer + farther; outside < 8 || 10 * outside < std::ssize(disparities)) {
        return {};
    }
    const auto few = static_cast<std::ptrdiff_t>(disparities.size() / 50); // wrong ones may be among them
    const std::vector<double> subject(disparities.begin() + few, disparities.end() - few);
    return line("the range misses %s of the subject: of %zu matched details %ld stand nearer and %ld farther than the "
                "searched %s; they reach from %.0f to %.0f pixels, so say %s",
                2 * (nearer + farther) > std::ssize(disparities) ? "most" : "part", disparities.size(),
                static_cast<long>(nearer), static_cast<long>(farther), rangeText(range, scaleOf(rSession)).c_str(),
                subject.front(), subject.back(), insteadOf(rSession, subject).c_str());
}

// Where surfaces go on beyond an end, what was found crowds there.
std::string crowdDoubt(const StereoSession& rSession, const DisparityMap& rMap)
{
    const cv::Vec2i range = rSession.disparityRange();
    const double dBand = std::max(2.0, 0.04 * (range[1] - range[0]));
    std::vector<double> found;
    long nNear = 0;
    long nFar = 0;
    for (const float fDisparity : rMap.m_pixels) {
        if (std::isfinite(fDisparity)) {
            found.push_back(static_cast<double>(fDisparity));
            nNear += found.back() > range[1] - dBand;
            nFar += range[0] > 0 && found.back() < range[0] + dBand;
        }
    }
    const bool bNear = nNear >= nFar;
    const double dShare =
        static_cast<double>(std::max(nNear, nFar)) / static_cast<double>(std::max<std::size_t>(found.size(), 1));
    if (found.size() < 100 || dShare < std::max(0.08, 2.5 * dBand / (range[1] - range[0]))) {
        return {};
    }
    const double dMore = 0.4 * (range[1] - range[0]);
    found.push_back(bNear ? range[1] + dMore : std::max(0.0, range[0] - dMore));
    return line("%.0f %% of what was found crowds at the %s end of the searched %s, so more may lie beyond; try %s",
                100.0 * dShare, bNear ? "near" : "far", rangeText(range, scaleOf(rSession)).c_str(),
                insteadOf(rSession, {found.back(), bNear ? range[1] : range[0] + 0.0, medianOf(found)}).c_str());
}

// ---- texture, shape ----

bool isPlain(const cv::Mat1b& rImage)
{
    cv::Mat1f image, fine, coarse;
    rImage.convertTo(image, CV_32F);
    cv::GaussianBlur(image, fine, {0, 0}, 2.0);
    cv::GaussianBlur(image, coarse, {0, 0}, 8.0);
    const cv::Mat strong = cv::abs(fine - coarse) > 2.0;
    return cv::countNonZero(strong) < 0.02 * static_cast<double>(strong.total());
}

} // namespace

// A calibration holds the shape of its frames: pixels are square, and the maps go in shares of columns and rows.
std::string shapeDoubt(const StereoSession& rSession, cv::Size raw)
{
    const std::optional<double> shape = rSession.rawShape();
    const double dShape = static_cast<double>(raw.width) / raw.height;
    if (!shape || std::abs(dShape / *shape - 1.0) < 0.06) {
        return {};
    }
    return line("the frames of %dx%d are %.2f times as wide as high, but the calibration was made with frames of %.2f "
                "times; hand over whole frames as they were calibrated, neither cut nor squeezed",
                raw.width, raw.height, dShape, *shape);
}

// ---- raw frames ----

namespace {

// Details of the raw frames, looked for many rows apart, in pixels of the frames.
Details rawDetails(const PerCamera<cv::Mat1b>& rFrames, KestrovaCamera eOther)
{
    const auto small = [&](KestrovaCamera eCamera) {
        const cv::Mat1b& rFrame = rFrames.at(eCamera);
        cv::Mat shrunk = rFrame;
        if (rFrame.cols > 480) {
            cv::resize(rFrame, shrunk, {}, 400.0 / rFrame.cols, 400.0 / rFrame.cols, cv::INTER_AREA);
        }
        return upright(shrunk, eOther);
    };
    const cv::Mat1b right = small(KestrovaCamRight);
    const double dScale =
        rFrames.at(KestrovaCamRight).cols / static_cast<double>(eOther == KestrovaCamTop ? right.rows : right.cols);
    Details details = findDetails(right, small(eOther), {}, right.rows / 6);
    for (Detail& rDetail : details) {
        for (cv::Point2d* pAt : {&rDetail.m_right, &rDetail.m_other}) {
            if (eOther == KestrovaCamTop) {
                std::swap(pAt->x, pAt->y);
            }
            *pAt = (*pAt + cv::Point2d(0.5, 0.5)) * dScale - cv::Point2d(0.5, 0.5);
        }
    }
    return details;
}

// By how many rows the rectified details differ, if the frames were that share of the ones calibrated with.
std::vector<double> rowsAtShare(const StereoSession& rSession, const Details& rDetails, KestrovaCamera eOther,
                                cv::Size raw, double dShare)
{
    const cv::Point2d middle((raw.width - 1) / 2.0, (raw.height - 1) / 2.0);
    std::vector<double> rows;
    for (const Detail& rDetail : rDetails) {
        const cv::Point2d right =
            rSession.rectified(KestrovaCamRight, middle + (rDetail.m_right - middle) * dShare, raw);
        const cv::Point2d other = rSession.rectified(eOther, middle + (rDetail.m_other - middle) * dShare, raw);
        rows.push_back((eOther == KestrovaCamTop ? other.x - right.x : other.y - right.y) / dShare);
    }
    return rows;
}

double usualOf(std::vector<double> rows)
{
    for (double& rRow : rows) {
        rRow = std::abs(rRow);
    }
    return medianOf(std::move(rows));
}

// What is left of the rows if the other frame is only shifted across the disparity.
double usualIfShifted(const StereoSession& rSession, Details details, KestrovaCamera eOther, cv::Size raw)
{
    for (int nRound = 0; nRound < 4; ++nRound) {
        const double dShift = medianOf(rowsAtShare(rSession, details, eOther, raw, 1.0));
        for (Detail& rDetail : details) {
            (eOther == KestrovaCamTop ? rDetail.m_other.x : rDetail.m_other.y) -= dShift;
        }
    }
    return usualOf(rowsAtShare(rSession, details, eOther, raw, 1.0));
}

// A shift of all rows looks much like a scale; what explains the rows better is said.
std::string cutDoubt(const StereoSession& rSession, const Details& rDetails, KestrovaCamera eOther, cv::Size raw)
{
    const double dNow = usualOf(rowsAtShare(rSession, rDetails, eOther, raw, 1.0));
    const double dShifted = usualIfShifted(rSession, rDetails, eOther, raw);
    double dBest = dNow;
    double dShare = 1.0;
    for (double dTry = 0.4; dTry < 2.5; dTry *= 1.02) {
        if (const double dRows = usualOf(rowsAtShare(rSession, rDetails, eOther, raw, dTry)); dRows < dBest) {
            dBest = dRows;
            dShare = dTry;
        }
    }
    if (dNow < 1.0 || dBest > 0.25 * dNow || dBest > 0.6 || dBest > 0.7 * dShifted || std::abs(dShare - 1.0) < 0.1) {
        return {};
    }
    return line("the frames are of another scale than the calibration: their rows agree best if they show %.0f %% of "
                "the width of the frames calibrated with; hand over whole frames of that camera mode, or calibrate in "
                "this one",
                100.0 * dShare);
}

// Rows that differ evenly over the image are those of two cameras that have moved; rows at random are of nothing.
std::optional<double> evenRows(const Details& rDetails, const std::vector<double>& rRows)
{
    cv::Mat1d A(static_cast<int>(rRows.size()), 3);
    cv::Mat1d b(static_cast<int>(rRows.size()), 1);
    cv::Mat1d weights(b.size(), 1.0);
    cv::Mat1d off;
    for (int nRound = 0; nRound < 20; ++nRound) {
        for (int i = 0; i < b.rows; ++i) {
            const cv::Point2d& rAt = rDetails[static_cast<std::size_t>(i)].m_right;
            A(i, 0) = weights(i);
            A(i, 1) = weights(i) * rAt.x;
            A(i, 2) = weights(i) * rAt.y;
            b(i) = weights(i) * rRows[static_cast<std::size_t>(i)];
        }
        cv::Mat1d plane;
        cv::solve(A, b, plane, cv::DECOMP_SVD);
        off = A * plane - b;
        for (int i = 0; i < b.rows; ++i) {
            off(i) = std::abs(off(i) / weights(i));
            weights(i) = 1.0 / std::sqrt(std::max(off(i), 0.1));
        }
    }
    const int nEven = cv::countNonZero(off < 2.0);
    if (nEven < sk_nFewestDetails || nEven < 0.5 * b.rows) {
        return std::nullopt;
    }
    return usualOf(rRows);
}

std::string movedText(KestrovaCamera eOther, double dRows)
{
    return line("%s: the %ss of the rectified frames are %.1f px apart: the cameras were moved or refocused since they "
                "were calibrated, or these are other cameras; calibrate again",
                pairOptions(eOther).c_str(), eOther == KestrovaCamTop ? "column" : "row", dRows);
}

FrameDoubt doubtOfRaw(StereoSession& rSession, const FrameFacts& rFacts, KestrovaCamera eOther)
{
    const cv::Size raw = rFacts.m_frames.at(KestrovaCamRight).size();
    const Details details = rawDetails(rFacts.m_frames, eOther);
    if (std::ssize(details) >= sk_nFewestDetails) {
        if (const std::string text = cutDoubt(rSession, details, eOther, raw); !text.empty()) {
            return {text, true};
        }
        const auto rows = evenRows(details, rowsAtShare(rSession, details, eOther, raw, 1.0));
        if (rows && *rows > 2.0) {
            return {movedText(eOther, *rows), true};
        }
        if (rows) {
            return {};
        }
    }
    if (rFacts.m_dFound >= sk_dUsableShare) {
        return {};
    }
    return {pairOptions(eOther) +
                ": the two frames have hardly a detail in common: they do not belong together, or the "
                "calibration is of other cameras",
            false};
}

// ---- all together ----

FrameDoubt doubtOfPair(StereoSession& rSession, const FrameFacts& rFacts, KestrovaCamera eOther)
{
    const cv::Mat1b& rRegion = rFacts.m_regions.at(KestrovaCamRight);
    const PairCheck check = judgeDetails(detailsOf(rSession, rFacts.m_frames, eOther, rRegion));
    const bool bPlain = isPlain(rFacts.m_frames.at(KestrovaCamRight)) || isPlain(rFacts.m_frames.at(eOther));
    if (!bPlain && isSwapped(rSession, rFacts.m_frames, eOther, rRegion, check)) {
        return {swappedText(eOther), true};
    }
    const std::string shape = shapeDoubt(rSession, rFacts.m_frames.at(KestrovaCamRight).size());
    if (!shape.empty()) {
        return {shape, false};
    }
    if (check.isEnough()) {
        if (check.m_rows.m_dRms > sk_dUsableRows) {
            const bool bHopeless = check.m_rows.m_dRms > 2.0;
            if (bHopeless) {
                if (const FrameDoubt raw = doubtOfRaw(rSession, rFacts, eOther); !raw.m_text.empty()) {
                    return raw;
                }
            }
            return {movedText(eOther, check.m_rows.m_dRms), bHopeless};
        }
        return {rangeDoubt(rSession, check.m_disparities), false};
    }
    if (bPlain) {
        return {rFacts.m_dFound < sk_dUsableShare ? "the frames show hardly any texture, and plain surfaces cannot be "
                                                    "matched: add light or a pattern, or check exposure and lens cap"
                                                  : "",
                false};
    }
    if (check.m_rows.m_nCount >= sk_nFewestDetails / 4 && check.m_rows.m_dRms <= sk_dUsableRows) {
        return {}; // few, but chance does not agree like that
    }
    return rSession.rawShape() ? doubtOfRaw(rSession, rFacts, eOther) : FrameDoubt{};
}

} // namespace

FrameDoubt doubtOf(StereoSession& rSession, const FrameFacts& rFacts)
{
    for (const auto& [eOther, rFrame] : rFacts.m_frames) {
        if (eOther != KestrovaCamRight) {
            if (const FrameDoubt doubt = doubtOfPair(rSession, rFacts, eOther); !doubt.m_text.empty()) {
                return doubt;
            }
        }
    }
    if (rFacts.m_dFound < sk_dUsableShare) {
        return {};
    }
    return {crowdDoubt(rSession, rFacts.m_map), false};
}

} // namespace kestrova::app
