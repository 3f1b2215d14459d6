// A calibration text on trial: the corners of the photos go through the library that has loaded it.
#pragma once

#include "boards/BoardFinder.h"
#include "cameras/RigBuilder.h"
#include "session/RowVerdict.h"
#include "session/StereoSession.h"

namespace kestrova::app {

struct PairProof
{
    RowErrors m_rows;
    double m_dSquare = 0.0;          // metres, from disparity: side of a square, by whole boards
    double m_dSquareSpread = 0.0;    // metres, standard deviation of the sides
    std::vector<double> m_adShotRms; // of each shot; negative when it is not used
};

/**
 * The other cameras of all sections of the text that the session has loaded, each against the right one. Corners that
 * land outside the rectified image are left out.
 */
PerCamera<PairProof> proveCorners(StereoSession& rSession, const Rig& rRig, const Shots& rShots);

/** Share of the raw image that lies inside a board of some used photo, 0 to 1. */
double coverage(const Shots& rShots, KestrovaCamera eCamera);

/**
 * What to multiply the other cameras' grey values by, from the mean grey of the boards. 1 where the photos do not
 * agree about it, as with automatic exposure.
 */
PerCamera<double> matchedGains(const Shots& rShots);

} // namespace kestrova::app
