// Raw frames of a scene as the cameras of a set take them, and the disparity that a perfect matcher would find.
#pragma once

#include "cameras/RectificationPlan.h"
#include "demo/Scene.h"

namespace kestrova::app {

struct SensorModel
{
    double m_dGain = 1.0;
    double m_dNoise = 0.0; // standard deviation in grey levels
    std::uint32_t m_uSeed = 0;
};

/** Where a camera stands: its centre, and the turn from its own frame to the scene's. */
struct Pose
{
    cv::Vec3d m_centre;
    cv::Matx33d m_rotation = cv::Matx33d::eye();
};

struct RawFrame
{
    cv::Mat1b m_grey;
    cv::Mat3b m_colour; // blue, green, red: the grey frame in the colours of the surfaces
};

/** nSamples by nSamples rays a pixel, spread evenly over the pixel. */
RawFrame renderRaw(const Scene& rScene, const CameraModel& rCamera, const Pose& rPose, const SensorModel& rSensor,
                   int nSamples = 4);

/** What is true at each pixel of the right rectified image. */
enum class Sight : unsigned char
{
    NotByAll = 0,
    Textured = 1,
    Plain = 2,
    Repeated = 3
};

struct SceneTruth
{
    cv::Mat1f m_disparity; // pixels, by the ray through the pixel's centre
    cv::Mat1b m_sight;     // a Sight: what the pixel shows, if all cameras of the set have it in view
    cv::Mat1b m_floor;     // 255 on the slanted floor
};

SceneTruth truthOf(const Scene& rScene, const CameraSet& rSet, const RectificationPlan& rPlan);

} // namespace kestrova::app
