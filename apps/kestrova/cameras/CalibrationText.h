// Writes the calibration text of a set of two or three cameras.
//
// The text is read by line: no line may reach 4096 bytes or end in a backslash, and only coefficients may run over
// several lines. Numbers are printed with 17 digits and a dot, whatever the locale.
#pragma once

#include "cameras/SplineFit.h"

#include <string>

namespace kestrova::app {

struct CalibrationCamera
{
    SplineMap m_rawFromRectified = identitySplineMap();
    SplineMap m_rectifiedFromRaw = identitySplineMap();
    double m_dGain = 1.0;
};

struct CalibrationDescription
{
    cv::Size m_canvas;
    double m_dFocal = 0.0; // pixels of the canvas
    cv::Point2d m_centre;  // pixel of the canvas
    double m_dBaseline = 0.0;
    int m_nMinDisparity = 0;
    int m_nMaxDisparity = 0;
    int m_nSerialNumber = 0;
    bool m_bRectify = true;
    std::string m_note;                     // one line, goes into a comment
    PerCamera<CalibrationCamera> m_cameras; // their names give product, configuration and positions
};

std::string calibrationText(const CalibrationDescription& rDescription);

/**
 * A calibration for frames that are rectified already: identity maps, rectification off, centre in the middle,
 * disparity up to a fifth of the width.
 */
CalibrationDescription identityCalibration(cv::Size canvas, double dFocal, double dBaseline,
                                           KestrovaCameraConfiguration eConfiguration = KestrovaCfg2CameraHorizontal);

} // namespace kestrova::app
