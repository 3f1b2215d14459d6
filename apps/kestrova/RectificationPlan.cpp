#include "RectificationPlan.h"

#include "AppError.h"

#include <opencv2/calib3d.hpp>

namespace kestrova::app {

static cv::Point2d rotate(const cv::Matx33d& rRotation, const cv::Point2d& rRay)
{
    const cv::Vec3d turned = rRotation * cv::Vec3d(rRay.x, rRay.y, 1.0);
    return {turned[0] / turned[2], turned[1] / turned[2]};
}

RectificationPlan planRectification(const CameraPair& rPair, cv::Size canvas, double dAlpha)
{
    RectificationPlan plan;
    plan.m_canvas = canvas;
    cv::Matx33d leftRotation;
    cv::Matx33d rightRotation;
    cv::Matx34d leftProjection;
    cv::Matx34d rightProjection;
    cv::Matx44d reprojection;
    cv::stereoRectify(rPair.m_left.m_K, rPair.m_left.m_adDistortion, rPair.m_right.m_K, rPair.m_right.m_adDistortion,
                      rPair.m_left.m_size, rPair.m_R, rPair.m_T, leftRotation, rightRotation, leftProjection,
                      rightProjection, reprojection, cv::CALIB_ZERO_DISPARITY, dAlpha, canvas);
    if (rightProjection(1, 3) != 0.0)
        throw AppError("the two cameras stand one above the other; a side by side pair is needed");
    if (rightProjection(0, 3) >= 0.0)
        throw AppError("the left camera stands to the right of the right one; exchange the two");
    plan.m_dFocal = rightProjection(0, 0);
    plan.m_centre = {rightProjection(0, 2), rightProjection(1, 2)};
    plan.m_dBaseline = -rightProjection(0, 3) / plan.m_dFocal;
    plan.m_rightRotation = rightRotation;
    plan.m_leftRotation = leftRotation;
    return plan;
}

Points rawFromRectified(const CameraModel& rCamera, const cv::Matx33d& rRotation, const RectificationPlan& rPlan,
                        const Points& rPixels)
{
    Points rays;
    rays.reserve(rPixels.size());
    for (const cv::Point2d& rPixel : rPixels)
        rays.push_back(rotate(rRotation.t(), (rPixel - rPlan.m_centre) / rPlan.m_dFocal));
    return projectRays(rCamera, rays);
}

Points rectifiedFromRaw(const CameraModel& rCamera, const cv::Matx33d& rRotation, const RectificationPlan& rPlan,
                        const Points& rPixels)
{
    Points pixels = raysOfPixels(rCamera, rPixels);
    for (cv::Point2d& rPixel : pixels)
        rPixel = rotate(rRotation, rPixel) * rPlan.m_dFocal + rPlan.m_centre;
    return pixels;
}

} // namespace kestrova::app
