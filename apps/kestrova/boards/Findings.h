// Numbers that answer "is this calibration good?", each with its meaning and a verdict.
#pragma once

#include "boards/CornerProof.h"
#include "boards/SetCalibration.h"
#include "cameras/RigBuilder.h"
#include "session/RowVerdict.h"

namespace kestrova::app {

struct Finding
{
    std::string m_name;
    std::string m_value;
    std::string m_meaning;
    Verdict m_eVerdict = Verdict::Told;
};
using Findings = std::vector<Finding>;

Findings judgeCalibration(const Shots& rShots, const SetCalibration& rCalibration, const Rig& rRig,
                          const PerCamera<PairProof>& rProofs);

/** Columns of name, value, verdict and meaning, a line each. */
std::string findingsTable(const Findings& rFindings);

/** The first that says not to use it, or null. */
const Finding* worstOf(const Findings& rFindings);

} // namespace kestrova::app
