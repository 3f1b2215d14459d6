// Cameras as files of other systems have them, in one form for all, and the way from there to a set of ours.
#pragma once

#include "cameras/RectificationPlan.h"

#include <filesystem>
#include <optional>

namespace kestrova::app {

/** What the files may leave open. */
struct SourceFacts
{
    std::optional<cv::Size> m_size;
    std::optional<double> m_dUnit; // metres
    std::optional<bool> m_fisheye; // whether four coefficients of an OpenCV file are those of cv::fisheye
};

struct SourceCamera
{
    std::string m_name;
    CameraModel m_model;
    cv::Matx33d m_rotation = cv::Matx33d::eye(); // x_this = R * x_first + T, in metres
    cv::Vec3d m_translation;
    std::optional<cv::Matx33d> m_rectification; // camera to rectified camera
    std::optional<cv::Matx34d> m_projection;    // rectified camera to pixels
};

struct SourceRig
{
    std::string m_source; // the files, for messages
    std::string m_format;
    std::vector<SourceCamera> m_cameras;     // two or three
    std::vector<std::string> m_remarks = {}; // for the person who asked
};

using Paths = std::vector<std::filesystem::path>;

SourceRig readOpenCv(const Paths& rFiles, const SourceFacts& rFacts);
SourceRig readRos(const Paths& rFiles, const SourceFacts& rFacts);
SourceRig readKalibr(const Paths& rFiles, const SourceFacts& rFacts);

/** opencv, ros, kalibr or auto, which goes by the keys. A folder stands for the YAML and XML files in it. */
SourceRig readSource(const std::string& rFormat, const Paths& rPlaces, const SourceFacts& rFacts);

/**
 * Two cameras: the first as left, the second as right, whatever the geometry says. Three: an L by geometry, or the
 * nearest to one.
 */
CameraSet cameraSetOf(const SourceRig& rSource);

/**
 * The rectified view of a pair that the source brings, under the names of cameraSetOf. Throws AppError when it has
 * none or one that we cannot keep.
 */
RectificationPlan givenView(const SourceRig& rSource);

} // namespace kestrova::app
