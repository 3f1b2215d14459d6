// Reads a calibration text for people: what it holds, or the first key that keeps it from being used.
//
// The library loads a text or refuses it, without saying why. This reader names the file and the key, and it gives the
// maps, from which the programs know where a rectified image shows no raw pixel.
#pragma once

#include "cameras/SplineFit.h"

#include <filesystem>
#include <optional>
#include <string>

namespace kestrova::app {

struct OutlineCamera
{
    int m_nId = 0;
    cv::Vec3i m_position;
    std::string m_channel; // upper case
    double m_dGain = 1.0;
    cv::Vec2d m_rectFactor; // x, y: adjustments of the maps
    cv::Vec2d m_rawFactor;
    SplineMap m_rawFromRectified;
    SplineMap m_rectifiedFromRaw;

    /** Raw pixel behind a rectified one; outside the raw frame where the map leaves it. */
    cv::Point2d rawPosition(const cv::Point2d& rPixel, cv::Size canvas, cv::Size raw) const;

    /** The other way, by the map of its own that the text has for it. */
    cv::Point2d rectifiedPosition(const cv::Point2d& rRaw, cv::Size canvas, cv::Size raw) const;

    /**
     * The raw pixel, but only inside the raw frame and where the way back ends within a pixel of the start. Maps of a
     * lens contradict each other beyond the reach of its model.
     */
    std::optional<cv::Point2d> believedPosition(const cv::Point2d& rPixel, cv::Size canvas, cv::Size raw) const;
};

struct OutlineSection
{
    std::string m_version;
    std::string m_product;
    std::string m_configuration;
    int m_nSerialNumber = 0;
    double m_dBaseline = 0.0;
    cv::Vec2d m_focalLength; // fractions of the columns and of the rows
    cv::Vec2i m_disparity;
    std::vector<OutlineCamera> m_cameras;

    /** Null when no camera stands there: the right one has 0 0 0, the left one -1 0 0, a top one 0 -1 0. */
    const OutlineCamera* camera(cv::Vec3i position) const;
};

/** All sections. Throws AppError that names the file and, where it can, the key. */
std::vector<OutlineSection> readOutline(const std::filesystem::path& rFile);

} // namespace kestrova::app
