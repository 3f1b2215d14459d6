// The report of a calibration: what to trust, and what to photograph again.
#pragma once

#include "boards/Findings.h"
#include "pages/HtmlPage.h"

namespace kestrova::app {

struct CalibrationStory
{
    const Shots& m_rShots;
    const Findings& m_rFindings;
    const PerCamera<PairProof>& m_rProofs;
    std::vector<std::string> m_remarks;
    PerCamera<cv::Mat1b> m_rectified; // one shot; empty when there is none
    std::string m_shotName;
};

HtmlPage calibrationPage(const CalibrationStory& rStory);

} // namespace kestrova::app
