// Files that other programs read: point clouds as PLY, disparity in floating point as PFM and NPY.
#pragma once

#include <opencv2/core.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace kestrova::app {

/** Metres: x right, y down, z forward. */
struct CloudPoint
{
    cv::Point3f m_position;
    cv::Vec3b m_colour; // red, green, blue
    float m_fDisparity = 0.0f;
};

/**
 * Binary little endian, no faces. The frame names the camera at its origin. Throws AppError when the file cannot be
 * written.
 */
void writeCloud(const std::filesystem::path& rFile, const std::vector<CloudPoint>& rPoints, const std::string& rSource,
                const std::string& rFrame = "right_rectified_optical");

/** One channel, rows from bottom to top, +inf for unknown, as the format has it. */
void writePfm(const std::filesystem::path& rFile, const cv::Mat1f& rImage);

/** An array of float32, rows from top to bottom, with NaN in place of what is not finite. */
void writeNpy(const std::filesystem::path& rFile, const cv::Mat1f& rImage);

} // namespace kestrova::app
