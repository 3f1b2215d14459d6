// Where the rectified images of a pair look: one common orientation, focal length and centre for both cameras.
//
// The focal length is the same along rows and columns and the centre the same in both images, because distance follows
// from disparity alone (z = f * B / d).
#pragma once

#include "CameraModel.h"

namespace kestrova::app {

struct RectificationPlan
{
    cv::Size m_canvas;
    double m_dFocal = 0.0; // pixels of the canvas
    cv::Point2d m_centre;
    double m_dBaseline = 0.0;    // metres
    cv::Matx33d m_rightRotation; // camera frame to rectified frame
    cv::Matx33d m_leftRotation;
};

/// alpha 0 shows only what every ray reaches, 1 keeps each raw pixel. Throws AppError when the "left" camera stands to
/// the right of the other one, or above it.
RectificationPlan planRectification(const CameraPair& rPair, cv::Size canvas, double dAlpha);

Points rawFromRectified(const CameraModel& rCamera, const cv::Matx33d& rRotation, const RectificationPlan& rPlan,
                        const Points& rPixels);
Points rectifiedFromRaw(const CameraModel& rCamera, const cv::Matx33d& rRotation, const RectificationPlan& rPlan,
                        const Points& rPixels);

} // namespace kestrova::app
