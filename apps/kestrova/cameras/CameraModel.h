// A lens and sensor in the usual pinhole form, and two or three of them mounted together.
//
// Pixel centres are at whole numbers. Points are metres in the camera's frame: x right, y down, z forward.
#pragma once

#include <kestrova.h>
#include <opencv2/core.hpp>

#include <map>
#include <string>
#include <vector>

namespace kestrova::app {

using Points = std::vector<cv::Point2d>;

enum class Lens
{
    Polynomial, // radial and tangential terms on the plane z = 1
    Equidistant // four terms in the angle from the axis, for wide lenses
};

struct CameraModel
{
    cv::Size m_size;
    cv::Matx33d m_cameraMatrix = cv::Matx33d::eye();
    std::vector<double> m_adDistortion =
        {}; // k1 k2 p1 p2 [k3 [k4 k5 k6 [s1 ... s4 [tx ty]]]], empty for none; equidistant: k1 k2 k3 k4
    Lens m_eLens = Lens::Polynomial;
};

/** Something of each camera of a set, the right one first. Besides it a set has a left camera, a top one, or both. */
template<typename Thing>
using PerCamera = std::map<KestrovaCamera, Thing>;

const char* cameraName(KestrovaCamera eCamera); // right, left, top
std::vector<KestrovaCamera> camerasOf(KestrovaCameraConfiguration eConfiguration);

/** The way in which the cameras of a set are matched. */
template<typename Thing>
KestrovaCameraConfiguration configurationOf(const PerCamera<Thing>& rSet)
{
    if (!rSet.contains(KestrovaCamTop)) {
        return KestrovaCfg2CameraHorizontal;
    }
    return rSet.contains(KestrovaCamLeft) ? KestrovaCfg3CameraL : KestrovaCfg2CameraVertical;
}

struct MountedCamera
{
    CameraModel m_model;
    cv::Matx33d m_rotation = cv::Matx33d::eye(); // x_right = R * x_camera + T
    cv::Vec3d m_translation;                     // so it is also where the camera stands, seen from the right one
    std::string m_name = {};                     // of its source, for messages
};
using CameraSet = PerCamera<MountedCamera>;

/** Pixels at which the camera sees points of the plane z = 1. */
Points projectRays(const CameraModel& rCamera, const Points& rRays);

/** The rays, as points of the plane z = 1, that reach the pixels: inverse of projectRays to below 1e-6 pixel. */
Points raysOfPixels(const CameraModel& rCamera, const Points& rPixels);

/**
 * A set like those sold for small robots: unlike focal lengths, barrel distortion with a tangential part, cameras
 * turned by about a degree. In an L both baselines are equal and at a right angle. Scaled from 640 by 480.
 */
CameraSet exampleCameraSet(cv::Size size, KestrovaCameraConfiguration eConfiguration = KestrovaCfg2CameraHorizontal);

} // namespace kestrova::app
