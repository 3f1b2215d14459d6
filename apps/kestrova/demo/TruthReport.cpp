#include "demo/TruthReport.h"

#include "basics/Line.h"

#include <algorithm>
#include <cmath>

namespace kestrova::app {

void Accuracy::add(float fMeasured, float fTrue, double dFocalTimesBaseline)
{
    ++m_nPixels;
    if (!std::isfinite(fMeasured)) {
        return;
    }
    ++m_nValid;
    const double dError = std::abs(static_cast<double>(fMeasured) - fTrue);
    if (dError > 1.0 || fMeasured <= 0.0f) {
        return;
    }
    ++m_nWithin1;
    m_dSumPixels += dError;
    m_dSumMetres += std::abs(dFocalTimesBaseline / fMeasured - dFocalTimesBaseline / fTrue);
}

Accuracy measureAccuracy(const DisparityMap& rMap, const SceneTruth& rTruth, const std::vector<Sight>& rSights,
                         double dFocalTimesBaseline, double dNear, double dFar)
{
    Accuracy accuracy;
    for (int nRow = 0; nRow < rMap.m_pixels.rows; ++nRow) {
        for (int nCol = 0; nCol < rMap.m_pixels.cols; ++nCol) {
            const auto sight = static_cast<Sight>(rTruth.m_sight(nRow, nCol));
            if (std::find(rSights.begin(), rSights.end(), sight) == rSights.end()) {
                continue;
            }
            const float fTrue = rTruth.m_disparity(nRow, nCol);
            const double dDepth = dFocalTimesBaseline / fTrue;
            if (dDepth >= dNear && dDepth < dFar) {
                accuracy.add(rMap.m_pixels(nRow, nCol), fTrue, dFocalTimesBaseline);
            }
        }
    }
    return accuracy;
}

namespace {

std::string verdict(const char* pszWhat, double dValue, const char* pszRule, bool bMet)
{
    return line("  %-46s %8.3f   %-12s %s\n", pszWhat, dValue, pszRule, bMet ? "met" : "NOT MET");
}

} // namespace

std::string accuracyTable(const StereoResult& rResult, const SceneTruth& rTruth)
{
    const double dScale = rResult.m_optics.m_fFocal * rResult.m_optics.m_fBaseline;
    const std::vector<Sight> textured{Sight::Textured};
    std::string text = "\nAgainst the true distances, at the pixels of the right rectified image that all cameras see\n"
                       "                                pixels   valid  within 1    mean error of those within 1\n"
                       "                                             %   % of valid      pixels     metres\n";
    const auto row = [&](const char* pszName, const Accuracy& rAccuracy) {
        text += line("  %-27s %8ld %7.1f %9.1f %12.3f %10.4f\n", pszName, rAccuracy.m_nPixels, rAccuracy.validShare(),
                     rAccuracy.within1Share(), rAccuracy.meanPixels(), rAccuracy.meanMetres());
    };
    const Accuracy all = measureAccuracy(rResult.m_map16, rTruth, textured, dScale);
    row("textured surfaces", all);
    row("  nearer than 2 m", measureAccuracy(rResult.m_map16, rTruth, textured, dScale, 0.0, 2.0));
    row("  2 m to 3 m", measureAccuracy(rResult.m_map16, rTruth, textured, dScale, 2.0, 3.0));
    row("  farther than 3 m", measureAccuracy(rResult.m_map16, rTruth, textured, dScale, 3.0, 1e9));
    row("  the same, 8-bit disparity", measureAccuracy(rResult.m_map8, rTruth, textured, dScale));
    row("board without texture", measureAccuracy(rResult.m_map16, rTruth, {Sight::Plain}, dScale));
    row("board with a repeated pattern", measureAccuracy(rResult.m_map16, rTruth, {Sight::Repeated}, dScale));
    text +=
        "  Matches on the two boards are chance: sensor noise passes the lowest texture thresholds, and a repeated\n"
        "  pattern matches once a period.\n";
    text += "\nWhat a healthy build shows on the textured surfaces\n";
    text += verdict("valid, %", all.validShare(), ">= 70", all.validShare() >= 70.0);
    text += verdict("of these within 1 disparity, %", all.within1Share(), ">= 95", all.within1Share() >= 95.0);
    text += verdict("mean error of those, pixels", all.meanPixels(), "< 0.2", all.meanPixels() < 0.2);
    for (const auto& [eCamera, rRows] : rResult.m_rectifiedRows) {
        text += verdict(
            line("%s difference of matched details, rectified", eCamera == KestrovaCamTop ? "column" : "row").c_str(),
            rRows.m_rows.m_dRms, "< 0.2", rRows.isEnough() && rRows.m_rows.m_dRms < 0.2);
    }
    return text;
}

std::string compareWithPair(const std::vector<PairAndL>& rRuns, const SceneTruth& rTruthOfL,
                            const SceneTruth& rTruthOfPair)
{
    std::string text = "\nThree cameras against the pair of two of them: the same frames and window\n"
                       "                                                pixels   valid  correct  mean error of these\n"
                       "                                                            %        %  pixels\n";
    for (const PairAndL& rRun : rRuns) {
        const double dScale = rRun.m_allThree.m_optics.m_fFocal * rRun.m_allThree.m_optics.m_fBaseline;
        text += " " + rRun.m_name + "\n";
        const auto rows = [&](const char* pszWhere, const SceneTruth& rTruth, Sight eSight) {
            std::array<double, 2> adCorrect{};
            for (const bool bL : {false, true}) {
                const DisparityMap& rMap = bL ? rRun.m_allThree.m_map16 : rRun.m_pair.m_map16;
                const Accuracy found = measureAccuracy(rMap, rTruth, {eSight}, dScale);
                text += line("  %-34s %-5s %11ld %7.1f %8.1f %8.3f\n", pszWhere, bL ? "L" : "pair", found.m_nPixels,
                             found.validShare(), found.correctShare(), found.meanPixels());
                adCorrect[bL] = found.correctShare();
            }
            return adCorrect;
        };
        const auto [dPair, dL] = rows("textured, seen by all three", rTruthOfL, Sight::Textured);
        text += line("    correct: L %.1f %%, pair %.1f %%: the %s is higher\n", dL, dPair, dL > dPair ? "L" : "pair");
        rows("repeated pattern, seen by all three", rTruthOfL, Sight::Repeated);
        rows("textured, seen by right and left", rTruthOfPair, Sight::Textured);
    }
    return text;
}

namespace {

// In the frame of the cloud.
FoundPlane planeOf(const Rectangle& rRectangle, const RectificationPlan& rPlan)
{
    const cv::Matx33d& rTurn = rPlan.m_rotations.at(KestrovaCamRight);
    FoundPlane plane;
    plane.m_normal = rTurn * rRectangle.m_across.cross(rRectangle.m_along);
    plane.m_dDistance = -plane.m_normal.dot(rTurn * rRectangle.m_corner);
    if (plane.m_dDistance < 0.0) {
        plane.m_normal *= -1.0;
        plane.m_dDistance *= -1.0;
    }
    return plane;
}

} // namespace

std::string planeErrors(const std::vector<FoundPlane>& rPlanes, const Scene& rScene, const RectificationPlan& rPlan)
{
    std::string text;
    for (const auto& [nSurface, pszName] : {std::pair(sk_nFloor, "floor"), std::pair(sk_nWall, "back wall")}) {
        const FoundPlane truth = planeOf(rScene.rectangle(nSurface), rPlan);
        const auto degrees = [&](const FoundPlane& rPlane) { // by the sine, which is exact for small angles
            return std::atan2(cv::norm(rPlane.m_normal.cross(truth.m_normal)), rPlane.m_normal.dot(truth.m_normal)) *
                   180.0 / CV_PI;
        };
        const auto found = std::min_element(rPlanes.begin(), rPlanes.end(),
                                            [&](const auto& a, const auto& b) { return degrees(a) < degrees(b); });
        if (found == rPlanes.end() || degrees(*found) > 5.0) {
            text += line("  %-9s is none of these\n", pszName);
        } else {
            text += line("  %-9s is plane %d: %.3f degrees off, distance %.2f mm off; %.2f mm at the middle of its "
                         "points\n",
                         pszName, static_cast<int>(found - rPlanes.begin()) + 1, degrees(*found),
                         1000.0 * std::abs(found->m_dDistance - truth.m_dDistance),
                         1000.0 * std::abs(truth.distanceTo(found->m_middle)));
        }
    }
    return text;
}

} // namespace kestrova::app
