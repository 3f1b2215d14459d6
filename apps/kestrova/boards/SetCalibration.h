// From corners to cameras: each lens by itself, one order of corners for all, then where the cameras stand.
//
// Boards may be read turned by half in one camera and not in the other. A lens does not notice, a pair is ruined, so
// the order is chosen by the one turn between the cameras that all shots agree about. Photos that do not fit are
// dropped by name, one at a time, and the work is done again.
#pragma once

#include "boards/BoardFinder.h"

namespace kestrova::app {

enum class LensChoice
{
    Auto,       // the fewest of the polynomial ones that explain the photos
    Plain,      // k1 k2 p1 p2
    Plumb,      // and k3
    Rational,   // and k4 k5 k6
    Equidistant // for wide lenses
};

struct SetCalibration
{
    CameraSet m_set;
    LensChoice m_eChoice = LensChoice::Plain; // never Auto
    PerCamera<double> m_lensErrors;           // pixels RMS of all used corners, each camera by itself
    PerCamera<double> m_focalSpreads;         // how well the focal length is known, share of it; 0 where it is not told
    PerCamera<double> m_setErrors;            // of the other cameras: pixels RMS of both photos of the pair
};

inline constexpr std::size_t sk_uFewestShots = 6;

/// Marks the photos that it drops. Throws AppError when too few are left, when two cameras are one, when they are
/// swapped, or when the boards fix no lens.
SetCalibration calibrateSet(Shots& rShots, LensChoice eChoice);

/// Shared with the tests: gives all cameras the order of the right one.
void orderCorners(Shots& rShots, const PerCamera<CameraModel>& rLenses);

} // namespace kestrova::app
