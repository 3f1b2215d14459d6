#include "cameras/LensReach.h"

#include <algorithm>
#include <cmath>

namespace kestrova::app {

namespace {

constexpr int sk_nDirections = 48;
constexpr double sk_dStep = 0.01;            // of the radius, in the search for a fold
const double sk_dWidest = std::tan(1.2566);  // 72 degrees
constexpr double sk_dShareOfFold = 0.87;     // nearer to the fold the inverse is too steep for a spline
constexpr double sk_dDerivativeStep = 0.001; // of second differences: errors stay below 1e-6 pixel

cv::Point2d normalised(const CameraModel& rCamera, const cv::Point2d& rPixel)
{
    return {(rPixel.x - rCamera.m_cameraMatrix(0, 2)) / rCamera.m_cameraMatrix(0, 0),
            (rPixel.y - rCamera.m_cameraMatrix(1, 2)) / rCamera.m_cameraMatrix(1, 1)};
}

bool isInFrame(const CameraModel& rCamera, const cv::Point2d& rPixel)
{
    return rPixel.x >= -0.5 && rPixel.y >= -0.5 && rPixel.x <= rCamera.m_size.width - 0.5 &&
           rPixel.y <= rCamera.m_size.height - 0.5;
}

// Radii at which the image of a ray that moves outwards stops or turns, and leaves the frame. Behind the frame it is
// followed as far as the corners of a rectified image of another shape reach: a lens that turns back there would show
// them pixels of the frame.
struct Course
{
    bool m_bFolds = false;
    double m_dFold = 0.0;
    double m_dExit = std::numeric_limits<double>::infinity();
};

Course follow(const CameraModel& rCamera, const cv::Point2d& rDirection)
{
    constexpr double dBehind = 1.6;
    Points rays;
    for (double dRadius = 0.0; dRadius < sk_dWidest; dRadius += sk_dStep) {
        rays.push_back(rDirection * dRadius);
    }
    const Points pixels = projectRays(rCamera, rays);
    Course course;
    for (std::size_t i = 1; i < pixels.size(); ++i) {
        const double dRadius = static_cast<double>(i) * sk_dStep;
        if (dRadius > dBehind * course.m_dExit) {
            break;
        }
        const double dGain = (normalised(rCamera, pixels[i]) - normalised(rCamera, pixels[i - 1])).dot(rDirection);
        const bool bAcross = normalised(rCamera, pixels[i]).dot(rDirection) > 0.0; // else the way across turned over
        if (!(dGain > 0.0) || !bAcross) {
            course.m_bFolds = true;
            course.m_dFold = dRadius;
            break;
        }
        if (!isInFrame(rCamera, pixels[i])) {
            course.m_dExit = std::min(course.m_dExit, dRadius);
        }
    }
    return course;
}

// Place, slope and bend along the radius where the reach ends.
struct Rim
{
    cv::Point2d m_at, m_slope, m_bend; // pixels
};

std::vector<Rim> rims(const CameraModel& rCamera, double dRadius, const Points& rDirections)
{
    Points rays;
    for (const cv::Point2d& rDirection : rDirections) {
        for (double dStep : {-sk_dDerivativeStep, 0.0, sk_dDerivativeStep}) {
            rays.push_back(rDirection * (dRadius + dStep));
        }
    }
    const Points pixels = projectRays(rCamera, rays);
    std::vector<Rim> found;
    for (std::size_t i = 0; i < pixels.size(); i += 3) {
        found.push_back(
            {pixels[i + 1], (pixels[i + 2] - pixels[i]) / (2.0 * sk_dDerivativeStep),
             (pixels[i + 2] - 2.0 * pixels[i + 1] + pixels[i]) / (sk_dDerivativeStep * sk_dDerivativeStep)});
    }
    return found;
}

void chooseContinuation(const CameraModel& rCamera, LensReach& rReach)
{
    double dCorner = 0.0;
    for (const cv::Point2d& rCorner :
         {cv::Point2d(0, 0), cv::Point2d(rCamera.m_size.width, 0), cv::Point2d(0, rCamera.m_size.height),
          cv::Point2d(rCamera.m_size.width, rCamera.m_size.height)}) {
        dCorner = std::max(dCorner, cv::norm(normalised(rCamera, rCorner)));
    }
    const Rim rim = rims(rCamera, rReach.m_dRay, {cv::Point2d(1.0, 0.0)})[0];
    const double dFx = rCamera.m_cameraMatrix(0, 0);
    const double dSlope = rim.m_slope.x / dFx;
    const double dBend = rim.m_bend.x / dFx;
    rReach.m_dMild = dBend * dBend / (6.0 * dSlope); // twice what keeps the slope above zero
    const double dRim = rReach.m_dRay * (1.0 / sk_dShareOfFold - 1.0);
    const double dMissing = std::max(0.0, dCorner - normalised(rCamera, rim.m_at).x);
    rReach.m_dLeave = rReach.folds() ? rReach.m_dMild + 1.05 * dMissing / (dRim * dRim * dRim) : rReach.m_dMild;
}

} // namespace

LensReach reachOf(const CameraModel& rCamera)
{
    LensReach reach;
    for (int i = 0; i < sk_nDirections; ++i) {
        const double dAngle = 2.0 * CV_PI * i / sk_nDirections;
        const Course course = follow(rCamera, {std::cos(dAngle), std::sin(dAngle)});
        if (course.m_bFolds) {
            reach.m_dFold = std::min(reach.m_dFold, course.m_dFold);
        }
        const bool bInside = course.m_dExit == std::numeric_limits<double>::infinity();
        reach.m_bFoldsInside = reach.m_bFoldsInside || (course.m_bFolds && bInside);
        if (course.m_bFolds || bInside) {
            reach.m_dRay = std::min(reach.m_dRay, course.m_bFolds ? sk_dShareOfFold * course.m_dFold : sk_dWidest);
        }
    }
    if (reach.isLimited()) {
        chooseContinuation(rCamera, reach);
    }
    return reach;
}

namespace {

Points project(const CameraModel& rCamera, const LensReach& rReach, const Points& rRays, double dCubic)
{
    Points pixels = projectRays(rCamera, rRays);
    if (!rReach.isLimited()) {
        return pixels;
    }
    Points directions;
    std::vector<std::size_t> beyond;
    for (std::size_t i = 0; i < rRays.size(); ++i) {
        if (const double dRadius = cv::norm(rRays[i]); !(dRadius <= rReach.m_dRay)) {
            beyond.push_back(i);
            directions.push_back(rRays[i] / dRadius);
        }
    }
    const std::vector<Rim> found = rims(rCamera, rReach.m_dRay, directions);
    for (std::size_t k = 0; k < beyond.size(); ++k) {
        const double d = cv::norm(rRays[beyond[k]]) - rReach.m_dRay;
        const cv::Point2d outwards(directions[k].x * rCamera.m_cameraMatrix(0, 0),
                                   directions[k].y * rCamera.m_cameraMatrix(1, 1));
        pixels[beyond[k]] =
            found[k].m_at + d * found[k].m_slope + 0.5 * d * d * found[k].m_bend + (dCubic * d * d * d) * outwards;
    }
    return pixels;
}

} // namespace

Points projectContinued(const CameraModel& rCamera, const LensReach& rReach, const Points& rRays)
{
    return project(rCamera, rReach, rRays, rReach.m_dLeave);
}

namespace {

// Radius of a ray by that of its pixel, for a start: both rise together.
std::vector<double> radialTable(const CameraModel& rCamera, const LensReach& rReach, const Points& rRays)
{
    std::vector<double> table;
    for (const cv::Point2d& rPixel : project(rCamera, rReach, rRays, rReach.m_dMild)) {
        table.push_back(normalised(rCamera, rPixel).x);
    }
    return table;
}

// Newton steps with the slopes along and across the radius; the tangential terms are too small to matter for a slope.
Points solve(const CameraModel& rCamera, const LensReach& rReach, const Points& rPixels)
{
    Points line;
    for (int i = 0; i < 2000; ++i) {
        line.emplace_back(i * sk_dStep, 0.0);
    }
    const std::vector<double> table = radialTable(rCamera, rReach, line);
    Points rays;
    std::vector<cv::Vec2d> slopes;
    for (const cv::Point2d& rPixel : rPixels) {
        const cv::Point2d at = normalised(rCamera, rPixel);
        const double dRaw = cv::norm(at);
        auto above = std::lower_bound(table.begin() + 1, table.end() - 1, dRaw);
        const double dSlope = (*above - *(above - 1)) / sk_dStep;
        const double dRadius =
            (static_cast<double>(above - table.begin()) + (dRaw - *above) / dSlope / sk_dStep) * sk_dStep;
        rays.push_back(dRaw > 0.0 ? at * (dRadius / dRaw) : at);
        slopes.emplace_back(dSlope, dRadius > 0.0 ? dRaw / dRadius : 1.0);
    }
    for (int nRound = 0; nRound < 12; ++nRound) {
        const Points now = project(rCamera, rReach, rays, rReach.m_dMild);
        for (std::size_t i = 0; i < rays.size(); ++i) {
            const cv::Point2d miss = normalised(rCamera, rPixels[i]) - normalised(rCamera, now[i]);
            const double dRadius = std::max(cv::norm(rays[i]), 1e-12);
            const cv::Point2d outwards = rays[i] / dRadius;
            const double dAlong = miss.dot(outwards);
            rays[i] += outwards * (dAlong / slopes[i][0]) + (miss - outwards * dAlong) / slopes[i][1];
        }
    }
    return rays;
}

} // namespace

Points raysContinued(const CameraModel& rCamera, const LensReach& rReach, const Points& rPixels)
{
    Points rays = raysOfPixels(rCamera, rPixels);
    if (!rReach.isLimited()) {
        return rays;
    }
    const Points back = projectRays(rCamera, rays);
    Points open;
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < rays.size(); ++i) {
        if (!(cv::norm(rays[i]) <= rReach.m_dRay && cv::norm(back[i] - rPixels[i]) < 1e-3)) {
            open.push_back(rPixels[i]);
            places.push_back(i);
        }
    }
    const Points solved = solve(rCamera, rReach, open);
    for (std::size_t k = 0; k < places.size(); ++k) {
        rays[places[k]] = solved[k];
    }
    return rays;
}

} // namespace kestrova::app
