// Fits a rectified frame of any shape to the 4 by 3 canvas that stereo works on, without distortion.
//
// The frame is scaled alike along both axes and set into the canvas; what is left over is plain grey and masked.
#pragma once

#include <opencv2/core.hpp>

#include <optional>
#include <string>

namespace kestrova::app {

struct FrameFit
{
    cv::Size m_frame; // as it came
    double m_dScale = 1.0;
    cv::Rect m_place; // of the scaled frame on the canvas
    cv::Size m_canvas;

    std::string describe() const;
    cv::Mat1b region() const; // 255 where the frame lies
};

/**
 * Without a wish the canvas is the smallest one that holds the frame as it is. Throws AppError for a wish that is not
 * 4 by 3.
 */
FrameFit planFrameFit(cv::Size frame, std::optional<cv::Size> wish);

/** A frame of bytes, in grey or colour. */
cv::Mat fitFrame(const cv::Mat& rFrame, const FrameFit& rFit);

/**
 * A map of disparities measured at the frame's own size, brought to the canvas: values scale with the width. Pixels
 * without a value (0) are taken over as such and never mixed with neighbours.
 */
cv::Mat1f fitDisparity(const cv::Mat1f& rDisparity, const FrameFit& rFit);

} // namespace kestrova::app
