// Numbers that answer "is this calibration good?", each with its meaning and a verdict.
#pragma once

#include "boards/CornerProof.h"
#include "boards/SetCalibration.h"
#include "cameras/RigBuilder.h"

namespace kestrova::app {

enum class Verdict
{
    Told, // nothing to judge, or for the person to judge
    Excellent,
    Good,
    Fair,
    DoNotUse
};
const char* verdictName(Verdict eVerdict);

struct Finding
{
    std::string m_name;
    std::string m_value;
    std::string m_meaning;
    Verdict m_eVerdict = Verdict::Told;
};
using Findings = std::vector<Finding>;

/// Below 0.1 pixel excellent, below 0.25 good, above 0.5 do not use.
Verdict rowVerdict(double dRms);

Findings judgeCalibration(const Shots& rShots, const SetCalibration& rCalibration, const Rig& rRig,
                          const PerCamera<PairProof>& rProofs);

/// Columns of name, value, verdict and meaning, a line each.
std::string findingsTable(const Findings& rFindings);

/// The first that says not to use it, or null.
const Finding* worstOf(const Findings& rFindings);

} // namespace kestrova::app
