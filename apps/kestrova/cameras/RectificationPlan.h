// Where the rectified images of a set look: one common orientation, focal length and centre for all cameras.
//
// The focal length is the same along rows and columns and the centre the same in all images, because distance follows
// from disparity alone (z = f * B / d).
#pragma once

#include "cameras/CameraModel.h"

#include <optional>
#include <string>

namespace kestrova::app {

struct RectificationPlan
{
    cv::Size m_canvas;
    double m_dFocal = 0.0; // pixels of the canvas
    cv::Point2d m_centre;
    double m_dBaseline = 0.0;           // metres, from the right camera to each other one
    PerCamera<cv::Matx33d> m_rotations; // camera frame to rectified frame
};

/**
 * What keeps an L from being matched as one set, for a largest disparity; empty when one disparity serves both pairs.
 */
std::string flawOfL(const CameraSet& rSet, double dMaxDisparity);

/**
 * alpha 0 shows only what every ray reaches, 1 keeps each raw pixel. Throws AppError when a camera does not stand
 * where its name says, or when the two baselines of an L are not at a right angle or so unequal that one disparity
 * cannot serve both up to a disparity, a tenth of the width if none is given. No view is wider than 120 degrees along
 * rows or columns.
 */
RectificationPlan planRectification(const CameraSet& rSet, cv::Size canvas, double dAlpha,
                                    std::optional<double> maxDisparity = {});

/** The ray, as a point of the plane z = 1 of the camera itself, that a rectified pixel shows, and the other way. */
Points raysOfRectified(const cv::Matx33d& rRotation, const RectificationPlan& rPlan, const Points& rPixels);
Points rectifiedFromRays(const cv::Matx33d& rRotation, const RectificationPlan& rPlan, Points rays);

} // namespace kestrova::app
