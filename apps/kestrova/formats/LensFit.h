// A lens model from a map: which lens, turned how, shows each ray of a rectified view at the raw pixel of the map?
#pragma once

#include "cameras/CameraModel.h"

namespace kestrova::app {

struct LensFit
{
    CameraModel m_model;
    cv::Matx33d m_rotation = cv::Matx33d::eye(); // camera to rectified camera
    double m_dRms = 0.0;                         // raw pixels
    double m_dWorst = 1e300;
};

/**
 * Least squares over lens, centre, focal lengths and turn, from an ideal camera of the given focal length or from an
 * earlier fit. Rays are points of the plane z = 1 of the rectified camera.
 */
LensFit fitLens(const Points& rRays, const Points& rRaw, cv::Size raw, double dFocal, Lens eLens, std::size_t nTerms,
                const LensFit* pStart = nullptr);

} // namespace kestrova::app
