#include "cameras/CameraModel.h"

#include <opencv2/calib3d.hpp>

namespace kestrova::app {

Points projectRays(const CameraModel& rCamera, const Points& rRays)
{
    if (rRays.empty()) {
        return {};
    }
    std::vector<cv::Point3d> points;
    points.reserve(rRays.size());
    for (const cv::Point2d& rRay : rRays) {
        points.emplace_back(rRay.x, rRay.y, 1.0);
    }
    Points pixels;
    if (rCamera.m_eLens == Lens::Equidistant) {
        cv::fisheye::projectPoints(points, pixels, cv::Vec3d(), cv::Vec3d(), rCamera.m_cameraMatrix,
                                   rCamera.m_adDistortion);
    } else {
        cv::projectPoints(points, cv::Vec3d(), cv::Vec3d(), rCamera.m_cameraMatrix, rCamera.m_adDistortion, pixels);
    }
    return pixels;
}

Points raysOfPixels(const CameraModel& rCamera, const Points& rPixels)
{
    if (rPixels.empty()) {
        return {};
    }
    Points rays;
    // The default of five rounds leaves hundredths of a pixel in the corners of a wide lens.
    const cv::TermCriteria until(cv::TermCriteria::COUNT | cv::TermCriteria::EPS, 60, 1e-12);
    if (rCamera.m_eLens == Lens::Equidistant) {
        cv::fisheye::undistortPoints(rPixels, rays, rCamera.m_cameraMatrix, rCamera.m_adDistortion, cv::noArray(),
                                     cv::noArray(), until);
    } else {
        cv::undistortPoints(rPixels, rays, rCamera.m_cameraMatrix, rCamera.m_adDistortion, cv::noArray(), cv::noArray(),
                            until);
    }
    return rays;
}

const char* cameraName(KestrovaCamera eCamera)
{
    return eCamera == KestrovaCamTop ? "top" : eCamera == KestrovaCamLeft ? "left" : "right";
}

std::vector<KestrovaCamera> camerasOf(KestrovaCameraConfiguration eConfiguration)
{
    switch (eConfiguration) {
    case KestrovaCfg3CameraL:
        return {KestrovaCamRight, KestrovaCamTop, KestrovaCamLeft};
    case KestrovaCfg2CameraVertical:
        return {KestrovaCamRight, KestrovaCamTop};
    default:
        return {KestrovaCamRight, KestrovaCamLeft};
    }
}

CameraSet exampleCameraSet(cv::Size size, KestrovaCameraConfiguration eConfiguration)
{
    const double dScale = size.width / 640.0;
    const auto camera = [&](double dFx, double dFy, double dCx, double dCy, std::vector<double> distortion) {
        const cv::Matx33d K(dFx * dScale, 0, (dCx + 0.5) * dScale - 0.5, 0, dFy * dScale, (dCy + 0.5) * dScale - 0.5, 0,
                            0, 1);
        return CameraModel{size, K, std::move(distortion), Lens::Polynomial};
    };
    const auto turn = [](double dX, double dY, double dZ) {
        cv::Matx33d R;
        cv::Rodrigues(cv::Vec3d(dX, dY, dZ), R);
        return R;
    };
    const cv::Vec3d toLeft(-0.1200, 0.0016, -0.0011);
    const cv::Vec3d toTop = cv::norm(toLeft) * cv::normalize(cv::Vec3d(0.0, 0.02, 1.0).cross(toLeft));
    const CameraSet all{
        {KestrovaCamRight,
         {camera(560.0, 561.2, 324.3, 236.1, {-0.270, 0.105, 0.0008, -0.0006, -0.018}), cv::Matx33d::eye(), {}}},
        {KestrovaCamTop,
         {camera(553.5, 554.1, 317.2, 240.9, {-0.262, 0.098, 0.0003, 0.0005, -0.016}), turn(-0.011, 0.015, -0.009),
          toTop}},
        {KestrovaCamLeft,
         {camera(548.0, 548.9, 313.8, 243.6, {-0.255, 0.092, -0.0005, 0.0009, -0.014}), turn(0.014, -0.018, 0.012),
          toLeft}}};
    CameraSet set;
    for (KestrovaCamera eCamera : camerasOf(eConfiguration)) {
        set.insert(*all.find(eCamera));
    }
    return set;
}

} // namespace kestrova::app
