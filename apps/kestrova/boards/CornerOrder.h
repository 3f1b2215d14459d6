// One order of corners for all cameras.
//
// Boards may be read turned by half in one camera and not in the other. A lens does not notice, a pair is ruined, so
// the order is chosen by the one turn between the cameras that all shots agree about.
#pragma once

#include "boards/BoardFinder.h"

namespace kestrova::app {

/** Gives all cameras the order of the right one. */
void orderCorners(Shots& rShots, const PerCamera<CameraModel>& rLenses);

} // namespace kestrova::app
