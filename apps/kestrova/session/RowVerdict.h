// How well the rows of two rectified images agree, and what to think of it: one measure and one scale of verdicts for
// boards, frames and reports.
#pragma once

#include <vector>

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

/** How far apart two images are in the rows that must agree; columns for a top camera. */
struct RowErrors
{
    int m_nCount = 0;
    double m_dRms = 0.0;      // pixels
    double m_dWorst5th = 0.0; // 95 of 100 are below
};
RowErrors rowErrors(std::vector<double> differences);

inline constexpr double sk_dUsableRows = 0.5; // pixels RMS

/** Below 0.1 pixel excellent, below 0.25 good, above 0.5 do not use. */
Verdict rowVerdict(double dRms);

} // namespace kestrova::app
