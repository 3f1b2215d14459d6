// The cloud of a result as a figure of a page, drawn by pages/cloudViewer.js, which is part of the page like all else.
#pragma once

#include "outputs/Pictures.h"
#include "outputs/Results.h"
#include "pages/HtmlPage.h"

namespace kestrova::app {

inline constexpr std::size_t sk_nMostPagePoints = 300'000; // 15 bytes each, 20 as text

/**
 * A larger cloud is thinned evenly, and the page says so. A sentence stands for a cloud that is not there. eView: the
 * camera whose frame the points are in.
 */
void addCloud(HtmlPage& rPage, const StereoResult& rResult, const ColourScale& rScale, KestrovaCamera eView);

/** 256 colours, from the smallest disparity of the scale to the largest; blue, green, red. */
cv::Mat3b paletteOf(const ColourScale& rScale);

} // namespace kestrova::app
