// A calibration of ours as files of other systems: the lens models behind its maps, and the files.
//
// A calibration text has maps, not lenses, so a lens is fitted to the maps of each camera. Files of other systems go
// with the raw frames, and their rectified images have the size of those.
#pragma once

#include "cameras/CalibrationOutline.h"
#include "cameras/RectificationPlan.h"

#include <map>
#include <sstream>

namespace kestrova::app {

struct RigExport
{
    CameraSet m_set; // raw size in the models
    RectificationPlan m_plan;
    PerCamera<double> m_rms; // of the lens against the maps, raw pixels inside the view
    PerCamera<double> m_worst;
};

enum class LensTerms
{
    Any,      // 5 terms, 4 of a wide lens, or 8 terms: the first that follows the maps
    FourTerms // 4 terms of either kind
};

/**
 * From a section and its view, whose rotations are filled in. Throws AppError when no lens of the choice follows the
 * maps to 0.1 pixel.
 */
RigExport exportRig(const OutlineSection& rSection, const RectificationPlan& rView, cv::Size raw, LensTerms eChoice);

using TextFiles = std::map<std::string, std::string>; // by name
TextFiles writeOpenCv(const RigExport& rRig);
TextFiles writeRos(const RigExport& rRig);
TextFiles writeKalibr(const RigExport& rRig);

// ---- for the writers ----

/** The view with an image of the raw frame's size, of which the canvas is the scaled middle. */
RectificationPlan viewInRawSize(const RigExport& rRig);

/** The shift goes into the fourth column, along rows or, for cameras one above the other, along columns. */
cv::Matx34d projectionOf(const RectificationPlan& rView, double dShift, bool bUpright);

std::ostringstream plainStream(); // 17 digits, C locale

/** Row by row; rows of several columns are parted by the separator, all else by a comma and a blank. */
std::string numberList(const cv::Mat1d& rMatrix, const std::string& rSeparator);

} // namespace kestrova::app
