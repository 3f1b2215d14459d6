// One frame against a known truth, as run prints it.
#pragma once

#include "commands/RunOptions.h"

namespace kestrova::app {

/**
 * The result is as the right camera sees it. Rows with further thresholds match again, so the session's own images are
 * others afterwards.
 */
std::string compareTruth(const RunOptions& rOptions, const std::optional<FrameFit>& rFit, StereoSession& rSession,
                         const StereoResult& rResult);

} // namespace kestrova::app
