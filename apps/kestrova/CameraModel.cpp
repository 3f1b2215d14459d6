#include "CameraModel.h"

#include <opencv2/calib3d.hpp>

namespace kestrova::app {

Points projectRays(const CameraModel& rCamera, const Points& rRays)
{
    if (rRays.empty())
        return {};
    std::vector<cv::Point3d> points;
    points.reserve(rRays.size());
    for (const cv::Point2d& rRay : rRays)
        points.emplace_back(rRay.x, rRay.y, 1.0);
    Points pixels;
    cv::projectPoints(points, cv::Vec3d(), cv::Vec3d(), rCamera.m_K, rCamera.m_adDistortion, pixels);
    return pixels;
}

Points raysOfPixels(const CameraModel& rCamera, const Points& rPixels)
{
    if (rPixels.empty())
        return {};
    Points rays;
    // The default of five rounds leaves hundredths of a pixel in the corners of a wide lens.
    const cv::TermCriteria until(cv::TermCriteria::COUNT | cv::TermCriteria::EPS, 60, 1e-12);
    cv::undistortPoints(rPixels, rays, rCamera.m_K, rCamera.m_adDistortion, cv::noArray(), cv::noArray(), until);
    return rays;
}

CameraPair exampleCameraPair(cv::Size size)
{
    const double dScale = size.width / 640.0;
    const auto camera = [&](double dFx, double dFy, double dCx, double dCy, std::vector<double> distortion) {
        const cv::Matx33d K(dFx * dScale, 0, (dCx + 0.5) * dScale - 0.5, 0, dFy * dScale, (dCy + 0.5) * dScale - 0.5, 0,
                            0, 1);
        return CameraModel{size, K, std::move(distortion)};
    };
    CameraPair pair;
    pair.m_right = camera(560.0, 561.2, 324.3, 236.1, {-0.270, 0.105, 0.0008, -0.0006, -0.018});
    pair.m_left = camera(548.0, 548.9, 313.8, 243.6, {-0.255, 0.092, -0.0005, 0.0009, -0.014});
    cv::Rodrigues(cv::Vec3d(0.014, -0.018, 0.012), pair.m_R);
    pair.m_T = cv::Vec3d(-0.1200, 0.0016, -0.0011);
    return pair;
}

} // namespace kestrova::app
