// From lenses and places of cameras, however they became known, to a calibration text.
//
// calibrate and import end here, and so does the demo: plan the rectified view, fit the maps, describe the set.
#pragma once

#include "cameras/CalibrationText.h"
#include "cameras/DepthRange.h"

#include <optional>

namespace kestrova::app {

struct RigWishes
{
    std::optional<cv::Size> m_canvas;     // 4 by 3; without it the size of the raw frames, cut to this shape
    double m_dAlpha = 0.0;                // 0 shows only what every ray reaches, 1 keeps each raw pixel
    std::optional<cv::Vec2i> m_disparity; // default: 0 to a tenth of the width
    DepthRange m_depth;                   // another way to say the disparity
    PerCamera<double> m_gains;            // 1 where none is given
    int m_nSerialNumber = 0;
    std::string m_note; // one line, a comment of the text
};

struct Rig
{
    CameraSet m_set;
    RectificationPlan m_plan;
    PerCamera<CameraMaps> m_maps;
    CalibrationDescription m_description;
    std::vector<std::string> m_remarks; // for the person who asked, a line each

    std::string text() const { return calibrationText(m_description); }
    double worstFit() const; // largest error of the maps, in pixels
};

/// Throws AppError when no rig comes of it.
Rig buildRig(const CameraSet& rSet, const RigWishes& rWishes);

} // namespace kestrova::app
