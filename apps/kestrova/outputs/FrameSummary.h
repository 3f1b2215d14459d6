// One frame as a line of JSON, for scripts that watch over many.
#pragma once

#include "outputs/Results.h"

namespace kestrova::app {

/** Shares are of all pixels, from 0 to 1; density and those of the reasons sum up to 1. What is not known is null. */
std::string frameSummary(const FrameNames& rNames, const StereoResult& rResult);

/** A frame that was left out, with what was wrong. */
std::string frameFailure(const FrameNames& rNames, const std::string& rError);

} // namespace kestrova::app
