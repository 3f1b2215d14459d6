// The page of one matched frame: rectified images, disparity, reasons of rejects, times, settings, and the cloud to
// turn with the mouse.
//
// The cloud is drawn by pages/cloudViewer.js, which is part of the page like all else. Above sk_nMostPagePoints it is
// thinned evenly, and the page says so.
#pragma once

#include "outputs/Results.h"

namespace kestrova::app {

inline constexpr std::size_t sk_nMostPagePoints = 300'000; // 15 bytes each, 20 as text

/// rSettings: lines of name and value, as describeSettings gives them; they may be missing. eView: the camera, right or
/// left, whose rectified image disparity and cloud belong to. Throws AppError when the file cannot be written.
void writeRunPage(const std::filesystem::path& rFile, const StereoResult& rResult, const std::string& rTitle,
                  const std::string& rSettings = {}, KestrovaCamera eView = KestrovaCamRight);

} // namespace kestrova::app
