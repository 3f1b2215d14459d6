#include "commands/RunTruth.h"

#include "basics/Line.h"
#include "outputs/TruthComparison.h"

#include <cstdio>
#include <limits>

namespace kestrova::app {

namespace {

cv::Mat1f readTruth(const RunOptions& rOptions, const std::optional<FrameFit>& rFit, cv::Size canvas)
{
    const cv::Mat1b stored = readGrey(*rOptions.m_truth);
    cv::Mat1f truth;
    stored.convertTo(truth, CV_32F, rOptions.m_dTruthScale);
    return fitDisparity(truth, rFit ? *rFit : planFrameFit(stored.size(), canvas));
}

} // namespace

std::string compareTruth(const RunOptions& rOptions, const std::optional<FrameFit>& rFit, StereoSession& rSession,
                         const StereoResult& rResult)
{
    const TruthView eView = rOptions.m_truthView == "left" ? TruthView::Left : TruthView::Right;
    const cv::Mat1f truth = readTruth(rOptions, rFit, rResult.m_map16.m_pixels.size());
    const auto row = [&](const std::string& rName, const cv::Mat1f& rDisparity) {
        return truthTableRow(rName, compareWithTruth(rDisparity, truth, rResult.m_range));
    };
    const auto ours = [&](const std::string& rName, const DisparityMap& rMap) {
        return row(rName, eView == TruthView::Left ? toLeftView(rMap.m_pixels) : rMap.m_pixels);
    };
    std::string text = "\nAgainst " + *rOptions.m_truth + ", values scaled with the width of the image\n";
    if (eView == TruthView::Left) {
        text += "The truth is seen from the left image: our pixels at column x move to column x + d, the nearest "
                "surface wins.\n";
    }
    text += truthTableHead() + ours("kestrova, settings as given", rResult.m_map16);
    const cv::Mat1f& rOurs = rResult.m_map16.m_pixels;
    if (const auto factor = wrongFactor(eView == TruthView::Left ? toLeftView(rOurs) : rOurs, truth)) {
        text += line("  most disparities are %.4g times the truth, so its scale is wrong; say --truth-scale %.4g\n",
                     *factor, rOptions.m_dTruthScale * *factor);
    }
    const cv::Mat outside = rResult.m_map16.m_reject == static_cast<unsigned char>(Reject::Outside);
    for (double dThreshold : rOptions.m_adUniqueness) {
        SettingWishes wishes;
        char acThreshold[32];
        std::snprintf(acThreshold, sizeof acThreshold, "%g", dThreshold);
        wishes.m_values["uniqueness-threshold"] = acThreshold;
        applySettings(rSession.handle(), wishes);
        DisparityMap map = rSession.read16(rSession.matchTo16());
        map.m_pixels.setTo(std::numeric_limits<float>::infinity(), outside);
        text += ours(std::string("kestrova, uniqueness ") + acThreshold, map);
    }
    if (rOptions.m_bCompareBlockMatcher) {
        int nWindow = 0;
        kestrovaGetStereoMask(rSession.handle(), &nWindow);
        text += row("OpenCV block matcher, defaults",
                    blockMatch(rResult.m_rectified.at(KestrovaCamRight), rResult.m_rectified.at(KestrovaCamLeft),
                               {rResult.m_range, nWindow}, eView));
    }
    return text;
}

} // namespace kestrova::app
