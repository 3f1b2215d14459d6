#include "cameras/RectificationPlan.h"

#include "basics/AppError.h"
#include "basics/Line.h"
#include "cameras/LensReach.h"

#include <opencv2/calib3d.hpp>

#include <algorithm>
#include <cmath>

namespace kestrova::app {

namespace {

constexpr double sk_dLeastDepth = 0.02;                   // of a turned ray: flatter ones point past any image
const double sk_dWidest = std::tan(60.0 * CV_PI / 180.0); // half of the widest view along rows or columns

cv::Point2d rotate(const cv::Matx33d& rRotation, const cv::Point2d& rRay)
{
    const cv::Vec3d turned = rRotation * cv::Vec3d(rRay.x, rRay.y, 1.0);
    const double dDepth = std::max(turned[2], sk_dLeastDepth);
    return {turned[0] / dDepth, turned[1] / dDepth};
}

// ---- orientation ----

// Both cameras turn half of the way to each other, then together until the baseline lies along rows or columns.
void turnPair(RectificationPlan& rPlan, const MountedCamera& rOther, KestrovaCamera eOther)
{
    cv::Vec3d whole;
    cv::Rodrigues(rOther.m_rotation, whole);
    cv::Matx33d half;
    cv::Rodrigues(-0.5 * whole, half);
    const cv::Vec3d baseline = half * rOther.m_translation;
    const int nAxis = std::abs(baseline[0]) > std::abs(baseline[1]) ? 0 : 1;
    cv::Vec3d axis;
    axis[nAxis] = baseline[nAxis] > 0.0 ? 1.0 : -1.0;
    cv::Vec3d turn = baseline.cross(axis);
    if (const double dLength = cv::norm(turn); dLength > 0.0) {
        turn *= std::acos(std::min(1.0, std::abs(baseline[nAxis]) / cv::norm(baseline))) / dLength;
    }
    cv::Matx33d level;
    cv::Rodrigues(turn, level);
    rPlan.m_rotations[eOther] = level * half.t();
    rPlan.m_rotations[KestrovaCamRight] = level * half;
    rPlan.m_dBaseline = cv::norm(rOther.m_translation);
    const bool bUpright = nAxis == 1;
    if (bUpright != (eOther == KestrovaCamTop) || axis[nAxis] > 0.0) {
        throw AppError(std::string("the ") + cameraName(eOther) + " camera stands " +
                           (bUpright ? (axis[1] < 0.0 ? "above" : "below") : (axis[0] < 0.0 ? "left" : "right")) +
                           " of the right one",
                       ExitStatus::Unfit);
    }
}

// ---- view ----

// The sides of a raw frame, seen from the rectified camera: rays to pixels along each of them.
struct Sides
{
    Points m_left, m_right, m_top, m_bottom;
};

Sides sidesOf(const CameraModel& rCamera, const cv::Matx33d& rRotation)
{
    constexpr int nSteps = 32;
    const LensReach reach = reachOf(rCamera);
    const auto side = [&](cv::Point2d from, cv::Point2d to) {
        Points pixels;
        for (int i = 0; i <= nSteps; ++i) {
            pixels.push_back(from + (to - from) * (static_cast<double>(i) / nSteps));
        }
        Points rays = raysContinued(rCamera, reach, pixels);
        for (cv::Point2d& rRay : rays) {
            if (const double dRadius = cv::norm(rRay); dRadius > reach.m_dRay) {
                rRay *= reach.m_dRay / dRadius;
            }
            rRay = rotate(rRotation, rRay);
            rRay = {std::clamp(rRay.x, -sk_dWidest, sk_dWidest), std::clamp(rRay.y, -sk_dWidest, sk_dWidest)};
        }
        return rays;
    };
    const double dLast = rCamera.m_size.width - 1.0;
    const double dBottom = rCamera.m_size.height - 1.0;
    return {side({0, 0}, {0, dBottom}), side({dLast, 0}, {dLast, dBottom}), side({0, 0}, {dLast, 0}),
            side({0, dBottom}, {dLast, dBottom})};
}

// Focal length in canvas pixels at which the window between the centre and the sides fills the canvas: the largest of
// those that keep every canvas pixel inside (alpha 0), the smallest of those that lose no ray (alpha 1).
struct FocalRange
{
    double m_dInside = 0.0;
    double m_dOutside = 1e300;

    void take(const Points& rSide, double dSign, bool bRows, double dPixels)
    {
        double dNearest = 1e300;
        double dFarthest = -1e300;
        for (const cv::Point2d& rRay : rSide) {
            const double dDistance = dSign * (bRows ? rRay.y : rRay.x);
            dNearest = std::min(dNearest, dDistance);
            dFarthest = std::max(dFarthest, dDistance);
        }
        m_dInside = dNearest > 0.0 ? std::max(m_dInside, dPixels / dNearest) : 1e300;
        m_dOutside = std::min(m_dOutside, dPixels / dFarthest);
    }
};

// The middle of the four corners of a frame comes to the middle of the image; the mean of both cameras is the centre.
cv::Point2d centreOf(const std::vector<Sides>& rSides, cv::Size raw, double dFocal)
{
    cv::Point2d centre;
    for (const Sides& rOne : rSides) {
        const cv::Point2d middle =
            0.25 * (rOne.m_left.front() + rOne.m_left.back() + rOne.m_right.front() + rOne.m_right.back());
        centre += cv::Point2d((raw.width - 1) / 2.0, (raw.height - 1) / 2.0) - dFocal * middle;
    }
    return centre / static_cast<double>(rSides.size());
}

// The right camera and one other.
RectificationPlan planPair(const CameraSet& rSet, KestrovaCamera eOther, cv::Size canvas, double dAlpha)
{
    RectificationPlan plan;
    plan.m_canvas = canvas;
    turnPair(plan, rSet.at(eOther), eOther);
    std::vector<Sides> sides;
    double dRawFocal = 0.0;
    for (const auto& [eCamera, rRotation] : plan.m_rotations) {
        const CameraModel& rModel = rSet.at(eCamera).m_model;
        sides.push_back(sidesOf(rModel, rRotation));
        dRawFocal += 0.5 * rModel.m_cameraMatrix(eOther == KestrovaCamTop ? 0 : 1, eOther == KestrovaCamTop ? 0 : 1);
    }
    const cv::Size raw = rSet.at(KestrovaCamRight).m_model.m_size;
    const cv::Point2d centre = centreOf(sides, raw, dRawFocal);
    plan.m_centre = {(centre.x + 0.5) / raw.width * canvas.width - 0.5,
                     (centre.y + 0.5) / raw.height * canvas.height - 0.5};
    FocalRange focal;
    for (const Sides& rOne : sides) {
        focal.take(rOne.m_left, -1.0, false, plan.m_centre.x);
        focal.take(rOne.m_right, 1.0, false, canvas.width - 1 - plan.m_centre.x);
        focal.take(rOne.m_top, -1.0, true, plan.m_centre.y);
        focal.take(rOne.m_bottom, 1.0, true, canvas.height - 1 - plan.m_centre.y);
    }
    if (!(focal.m_dInside < 1e6 && focal.m_dOutside > 0.0)) {
        throw AppError("the cameras have no view in common; check R and T, or which files belong together",
                       ExitStatus::Unfit);
    }
    plan.m_dFocal = focal.m_dInside * (1.0 - dAlpha) + focal.m_dOutside * dAlpha;
    return plan;
}

// A pair leaves the turn about its baseline open; the top camera settles it. The view moves along, so that the images
// keep their place.
void turnTowardsTop(RectificationPlan& rPlan, const MountedCamera& rTop)
{
    const cv::Vec3d seen = rPlan.m_rotations.at(KestrovaCamRight) * rTop.m_translation;
    const double dUp = std::hypot(seen[1], seen[2]);
    const double dCos = -seen[1] / dUp;
    const double dSin = seen[2] / dUp;
    const cv::Matx33d turn(1, 0, 0, 0, dCos, -dSin, 0, dSin, dCos);
    for (auto& [eCamera, rRotation] : rPlan.m_rotations) {
        rRotation = turn * rRotation;
    }
    rPlan.m_rotations[KestrovaCamTop] = rPlan.m_rotations.at(KestrovaCamRight) * rTop.m_rotation;
    rPlan.m_centre.y += rPlan.m_dFocal * dSin / dCos;
}

} // namespace

std::string flawOfL(const CameraSet& rSet, double dMaxDisparity)
{
    const cv::Vec3d& rTop = rSet.at(KestrovaCamTop).m_translation;
    const cv::Vec3d& rLeft = rSet.at(KestrovaCamLeft).m_translation;
    const double dUp = cv::norm(rTop);
    const double dAside = cv::norm(rLeft);
    const double dAngle = std::acos(std::clamp(rTop.dot(rLeft) / dUp / dAside, -1.0, 1.0)) * 180.0 / CV_PI;
    if (rTop[1] >= 0.0 || std::abs(dAngle - 90.0) > 0.5) {
        return line("the top camera does not stand at a right angle above the right one (%.2f degrees between the "
                    "baselines, 90 +- 0.5 are wanted)",
                    dAngle);
    }
    const double dApart = std::abs(dUp - dAside) / dAside * dMaxDisparity;
    if (dApart > 0.5) {
        return line("the two baselines of the L, %.2f and %.2f mm, differ too much for one disparity: by %.2f pixel at "
                    "disparity %.0f, 0.5 is the limit",
                    1000.0 * dAside, 1000.0 * dUp, dApart, dMaxDisparity);
    }
    return "";
}

RectificationPlan planRectification(const CameraSet& rSet, cv::Size canvas, double dAlpha,
                                    std::optional<double> maxDisparity)
{
    const bool bL = configurationOf(rSet) == KestrovaCfg3CameraL;
    RectificationPlan plan = planPair(rSet, bL ? KestrovaCamLeft : rSet.rbegin()->first, canvas, dAlpha);
    if (bL) {
        if (const std::string flaw = flawOfL(rSet, maxDisparity.value_or(canvas.width / 10.0)); !flaw.empty()) {
            throw AppError(flaw, ExitStatus::Unfit);
        }
        turnTowardsTop(plan, rSet.at(KestrovaCamTop));
    }
    return plan;
}

Points raysOfRectified(const cv::Matx33d& rRotation, const RectificationPlan& rPlan, const Points& rPixels)
{
    Points rays;
    rays.reserve(rPixels.size());
    for (const cv::Point2d& rPixel : rPixels) {
        rays.push_back(rotate(rRotation.t(), (rPixel - rPlan.m_centre) / rPlan.m_dFocal));
    }
    return rays;
}

Points rectifiedFromRays(const cv::Matx33d& rRotation, const RectificationPlan& rPlan, Points rays)
{
    for (cv::Point2d& rRay : rays) {
        rRay = rotate(rRotation, rRay) * rPlan.m_dFocal + rPlan.m_centre;
    }
    return rays;
}

} // namespace kestrova::app
