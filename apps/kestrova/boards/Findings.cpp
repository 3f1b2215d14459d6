#include "boards/Findings.h"

#include "basics/Line.h"

#include <algorithm>
#include <cmath>

namespace kestrova::app {

namespace {

// Up to the three limits, which may fall for values that are better the larger they are.
Verdict grade(double dValue, double dExcellent, double dGood, double dFair)
{
    const double dSign = dExcellent < dFair ? 1.0 : -1.0;
    const auto within = [&](double dLimit) { return dSign * dValue <= dSign * dLimit; }; // false for not-a-number
    return within(dExcellent) ? Verdict::Excellent
           : within(dGood)    ? Verdict::Good
           : within(dFair)    ? Verdict::Fair
                              : Verdict::DoNotUse;
}

Verdict notWorseThan(Verdict eWorst, Verdict eVerdict)
{
    return std::min(eWorst, eVerdict);
}

void judgeLens(Findings& rFindings, const Shots& rShots, const SetCalibration& rCalibration, KestrovaCamera eCamera)
{
    const std::string name = cameraName(eCamera);
    const double dPerPixel = std::max(1.0, rShots.m_size.width / 1280.0); // corners blur over more of the finer pixels
    const double dError = rCalibration.m_lensErrors.at(eCamera);
    rFindings.push_back({name + " camera: reprojection", line("%.3f px RMS", dError),
                         "corners against this lens alone; large when the board is bent or blurred",
                         grade(dError / dPerPixel, 0.2, 0.5, 1.5)});
    const double dSpread = 100.0 * rCalibration.m_focalSpreads.at(eCamera);
    if (dSpread > 0.0) {
        rFindings.push_back(
            {name + " camera: focal length",
             line("%.1f px +- %.2f %%", rCalibration.m_set.at(eCamera).m_model.m_cameraMatrix(0, 0), dSpread),
             "how well the photos fix it; tilt the board more when it is loose", grade(dSpread, 0.3, 1.0, 5.0)});
    }
    const double dCovered = 100.0 * coverage(rShots, eCamera);
    rFindings.push_back({name + " camera: board coverage", line("%.0f %% of the image", dCovered),
                         "where no board was, the lens is a guess; photograph it at the edges too",
                         notWorseThan(Verdict::Fair, grade(dCovered, 80.0, 60.0, 0.0))});
}

void judgePair(Findings& rFindings, const Shots& rShots, const SetCalibration& rCalibration, KestrovaCamera eOther,
               const PairProof& rProof)
{
    const std::string pair = std::string("right and ") + cameraName(eOther);
    const char* pszWhat = eOther == KestrovaCamTop ? "column error" : "row error";
    const double dPerPixel = std::max(1.0, rShots.m_size.width / 1280.0);
    const double dError = rCalibration.m_setErrors.at(eOther);
    rFindings.push_back({pair + ": stereo reprojection", line("%.3f px RMS", dError),
                         "corners against both cameras together", grade(dError / dPerPixel, 0.25, 0.6, 1.5)});
    rFindings.push_back(
        {pair + ": " + pszWhat, line("%.3f px RMS", rProof.m_rows.m_dRms),
         line("%d corners through the library: a match must lie in the same line", rProof.m_rows.m_nCount),
         rowVerdict(rProof.m_rows.m_dRms)});
    rFindings.push_back({pair + ": " + pszWhat + ", 95 of 100", line("below %.3f px", rProof.m_rows.m_dWorst5th),
                         "the same, worst corners left out", grade(rProof.m_rows.m_dWorst5th, 0.2, 0.5, 1.0)});
    const double dSquare = rShots.m_board.m_dSquare;
    const double dOff = 100.0 * (rProof.m_dSquare / dSquare - 1.0);
    rFindings.push_back(
        {pair + ": square re-measured",
         line("%.3f mm +- %.3f (%+.2f %%)", 1000.0 * rProof.m_dSquare, 1000.0 * rProof.m_dSquareSpread, dOff),
         line("sides from disparity, where --square says %.6g mm", 1000.0 * dSquare),
         grade(std::abs(dOff), 0.5, 1.0, 3.0)});
    const double dBaseline = cv::norm(rCalibration.m_set.at(eOther).m_translation);
    rFindings.push_back({pair + ": baseline", line("%.2f mm", 1000.0 * dBaseline),
                         dBaseline < 0.010 || dBaseline > 3.0
                             ? "unusual: is the unit of --square right? Does this match your ruler?"
                             : "from lens to lens: does this match your ruler?",
                         Verdict::Told});
}

} // namespace

Findings judgeCalibration(const Shots& rShots, const SetCalibration& rCalibration, const Rig& rRig,
                          const PerCamera<PairProof>& rProofs)
{
    Findings findings;
    for (const auto& [eCamera, rCamera] : rCalibration.m_set) {
        judgeLens(findings, rShots, rCalibration, eCamera);
    }
    for (const auto& [eOther, rProof] : rProofs) {
        judgePair(findings, rShots, rCalibration, eOther, rProof);
    }
    findings.push_back({"spline fit", line("%.4f px at most", rRig.worstFit()),
                        "maps of the text against the lens model, both ways", grade(rRig.worstFit(), 0.02, 0.05, 0.1)});
    return findings;
}

std::string findingsTable(const Findings& rFindings)
{
    std::string text;
    for (const Finding& rFinding : rFindings) {
        text += line("  %-36s %-28s %-11s %s\n", rFinding.m_name.c_str(), rFinding.m_value.c_str(),
                     verdictName(rFinding.m_eVerdict), rFinding.m_meaning.c_str());
    }
    return text;
}

const Finding* worstOf(const Findings& rFindings)
{
    for (const Finding& rFinding : rFindings) {
        if (rFinding.m_eVerdict == Verdict::DoNotUse) {
            return &rFinding;
        }
    }
    return nullptr;
}

} // namespace kestrova::app
