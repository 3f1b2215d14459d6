// Pictures for people: disparity in colour with a legend, and a rectified pair side by side.
//
// Colours follow a fixed scale, never one stretched per frame, so two pictures can be compared. They are never saved
// under the name of a data file.
#pragma once

#include "session/PixelMask.h"

#include <string>

namespace kestrova::app {

struct ColourScale
{
    double m_dMin = 0.0; // disparity in pixels
    double m_dMax = 64.0;
    double m_dFocalTimesBaseline = 0.0; // pixels times metres; 0 leaves the metres out of the legend
};

/** Near is red, far is blue; each reason for a missing disparity has a grey of its own. */
cv::Mat3b colourDisparity(const DisparityMap& rMap, const ColourScale& rScale);

/** The same with a title above and a legend beside it. Small images are enlarged by whole factors. */
cv::Mat3b disparityPicture(const DisparityMap& rMap, const ColourScale& rScale, const std::string& rTitle);

/**
 * Why pixels have no disparity: a colour for each reason over the faint image, and a legend with shares and the number
 * that stands for the reason in a map of reasons.
 */
cv::Mat3b reasonPicture(const DisparityMap& rMap, const cv::Mat1b& rImage, const std::string& rTitle);

/**
 * Left image at the left, right image at the right, with level lines: a good rectification has each detail on the same
 * line in both.
 */
cv::Mat3b sideBySide(const cv::Mat1b& rLeft, const cv::Mat1b& rRight);

/** As sideBySide: top image above the right one, with upright lines. */
cv::Mat3b oneAboveOther(const cv::Mat1b& rTop, const cv::Mat1b& rRight);

} // namespace kestrova::app
