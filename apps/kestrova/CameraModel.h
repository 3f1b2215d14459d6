// A lens and sensor in the usual pinhole form, and two of them mounted together.
//
// Pixel centres are at whole numbers. Points are metres in the camera's frame: x right, y down, z forward.
#pragma once

#include <opencv2/core.hpp>

#include <vector>

namespace kestrova::app {

using Points = std::vector<cv::Point2d>;

struct CameraModel
{
    cv::Size m_size;
    cv::Matx33d m_K = cv::Matx33d::eye();
    std::vector<double> m_adDistortion; // k1 k2 p1 p2 [k3 ...], empty for none
};

struct CameraPair
{
    CameraModel m_right;
    CameraModel m_left;
    cv::Matx33d m_R = cv::Matx33d::eye(); // x_right = R * x_left + T
    cv::Vec3d m_T;                        // so it is also where the left camera stands, seen from the right one
};

/// Pixels at which the camera sees points of the plane z = 1.
Points projectRays(const CameraModel& rCamera, const Points& rRays);

/// The rays, as points of the plane z = 1, that reach the pixels: inverse of projectRays to below 1e-6 pixel.
Points raysOfPixels(const CameraModel& rCamera, const Points& rPixels);

/// A pair like those sold for small robots: unlike focal lengths, barrel distortion with a tangential part, the left
/// camera turned by about a degree. Scaled from 640 by 480.
CameraPair exampleCameraPair(cv::Size size);

} // namespace kestrova::app
