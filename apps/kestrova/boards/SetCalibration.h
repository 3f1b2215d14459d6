// From corners to cameras: each lens by itself, one order of corners for all, then where the cameras stand.
//
// Photos that do not fit are dropped by name, one at a time, and the work is done again.
#pragma once

#include "boards/BoardLens.h"

namespace kestrova::app {

struct SetCalibration
{
    CameraSet m_set;
    LensChoice m_eChoice = LensChoice::Plain; // never Auto
    std::string m_whyThisLens;                // a line, when the choice was Auto
    PerCamera<double> m_lensErrors;           // pixels RMS of all used corners, each camera by itself
    PerCamera<double> m_focalSpreads;         // how well the focal length is known, share of it
    PerCamera<double> m_setErrors;            // of the other cameras: pixels RMS of both photos of the pair
};

/**
 * Marks the photos that it drops. Throws AppError when too few are left, when two cameras are one, when they are
 * swapped, or when the boards fix no lens.
 */
SetCalibration calibrateSet(Shots& rShots, LensChoice eChoice);

} // namespace kestrova::app
