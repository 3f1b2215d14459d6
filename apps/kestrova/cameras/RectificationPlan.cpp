#include "cameras/RectificationPlan.h"

#include "basics/AppError.h"

#include <opencv2/calib3d.hpp>

#include <cmath>

namespace kestrova::app {

static cv::Point2d rotate(const cv::Matx33d& rRotation, const cv::Point2d& rRay)
{
    const cv::Vec3d turned = rRotation * cv::Vec3d(rRay.x, rRay.y, 1.0);
    return {turned[0] / turned[2], turned[1] / turned[2]};
}

// The right camera and one other.
static RectificationPlan planPair(const CameraSet& rSet, KestrovaCamera eOther, cv::Size canvas, double dAlpha)
{
    const MountedCamera& rOther = rSet.at(eOther);
    const CameraModel& rRight = rSet.at(KestrovaCamRight).m_model;
    RectificationPlan plan;
    plan.m_canvas = canvas;
    cv::Matx34d otherProjection;
    cv::Matx34d rightProjection;
    cv::Matx44d reprojection;
    cv::stereoRectify(rOther.m_model.m_K, rOther.m_model.m_adDistortion, rRight.m_K, rRight.m_adDistortion,
                      rRight.m_size, rOther.m_R, rOther.m_T, plan.m_rotations[eOther],
                      plan.m_rotations[KestrovaCamRight], otherProjection, rightProjection, reprojection,
                      cv::CALIB_ZERO_DISPARITY, dAlpha, canvas);
    const bool bUpright = rightProjection(1, 3) != 0.0;
    const double dShift = rightProjection(bUpright ? 1 : 0, 3);
    if (bUpright != (eOther == KestrovaCamTop) || dShift >= 0.0)
        throw AppError(std::string("the ") + cameraName(eOther) + " camera stands " +
                           (bUpright ? (dShift < 0.0 ? "above" : "below") : (dShift < 0.0 ? "left" : "right")) +
                           " of the right one",
                       ExitStatus::Unfit);
    plan.m_dFocal = rightProjection(0, 0);
    plan.m_centre = {rightProjection(0, 2), rightProjection(1, 2)};
    plan.m_dBaseline = -dShift / plan.m_dFocal;
    return plan;
}

// A pair leaves the turn about its baseline open; the top camera settles it. The view moves along, so that the images
// keep their place.
static void turnTowardsTop(RectificationPlan& rPlan, const MountedCamera& rTop)
{
    const cv::Vec3d seen = rPlan.m_rotations.at(KestrovaCamRight) * rTop.m_T;
    const double dUp = std::hypot(seen[1], seen[2]);
    if (seen[1] >= 0.0 || std::abs(seen[0]) > dUp * std::tan(0.5 * CV_PI / 180.0))
        throw AppError("the top camera does not stand at a right angle above the right one", ExitStatus::Unfit);
    const double dMaxDisparity = rPlan.m_canvas.width / 10.0;
    if (std::abs(dUp - rPlan.m_dBaseline) / rPlan.m_dBaseline * dMaxDisparity > 0.5)
        throw AppError("the two baselines of the L differ too much for one disparity", ExitStatus::Unfit);
    const double dCos = -seen[1] / dUp;
    const double dSin = seen[2] / dUp;
    const cv::Matx33d turn(1, 0, 0, 0, dCos, -dSin, 0, dSin, dCos);
    for (auto& [eCamera, rRotation] : rPlan.m_rotations)
        rRotation = turn * rRotation;
    rPlan.m_rotations[KestrovaCamTop] = rPlan.m_rotations.at(KestrovaCamRight) * rTop.m_R;
    rPlan.m_centre.y += rPlan.m_dFocal * dSin / dCos;
}

RectificationPlan planRectification(const CameraSet& rSet, cv::Size canvas, double dAlpha)
{
    const bool bL = configurationOf(rSet) == KestrovaCfg3CameraL;
    RectificationPlan plan = planPair(rSet, bL ? KestrovaCamLeft : rSet.rbegin()->first, canvas, dAlpha);
    if (bL)
        turnTowardsTop(plan, rSet.at(KestrovaCamTop));
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
