// The page of one matched frame: rectified images, disparity, reasons of rejects, times, settings, and the cloud to
// turn with the mouse.
#pragma once

#include "outputs/Results.h"

namespace kestrova::app {

/**
 * rSettings: lines of name and value, as describeSettings gives them; they may be missing. Throws AppError when the
 * file cannot be written.
 */
void writeRunPage(const std::filesystem::path& rFile, const StereoResult& rResult, const std::string& rTitle,
                  const std::string& rSettings = {});

} // namespace kestrova::app
