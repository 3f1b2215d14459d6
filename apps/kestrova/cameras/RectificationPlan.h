// Where the rectified images of a set look: one common orientation, focal length and centre for all cameras.
//
// The focal length is the same along rows and columns and the centre the same in all images, because distance follows
// from disparity alone (z = f * B / d).
#pragma once

#include "cameras/CameraModel.h"

namespace kestrova::app {

struct RectificationPlan
{
    cv::Size m_canvas;
    double m_dFocal = 0.0; // pixels of the canvas
    cv::Point2d m_centre;
    double m_dBaseline = 0.0;           // metres, from the right camera to each other one
    PerCamera<cv::Matx33d> m_rotations; // camera frame to rectified frame
};

/// alpha 0 shows only what every ray reaches, 1 keeps each raw pixel. Throws AppError when a camera does not stand
/// where its name says, or when the two baselines of an L are not at a right angle or so unequal that one disparity
/// cannot serve both.
RectificationPlan planRectification(const CameraSet& rSet, cv::Size canvas, double dAlpha);

Points rawFromRectified(const CameraModel& rCamera, const cv::Matx33d& rRotation, const RectificationPlan& rPlan,
                        const Points& rPixels);
Points rectifiedFromRaw(const CameraModel& rCamera, const cv::Matx33d& rRotation, const RectificationPlan& rPlan,
                        const Points& rPixels);

} // namespace kestrova::app
