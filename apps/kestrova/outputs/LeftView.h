// Results as the left camera sees them, for the many programs that take the left camera as the reference.
#pragma once

#include "outputs/Results.h"

namespace kestrova::app {

/**
 * Column x goes to x + d, and the nearest surface wins a place. Slopes, of which the left camera sees more columns,
 * are closed. Any other place that nothing goes to is taken for part of the farther one of its neighbours in the row;
 * the pixel of the right image that this leads to gives the reason. One that was found there belongs elsewhere: the
 * place is hidden from the right camera.
 */
DisparityMap mapFromLeft(const DisparityMap& rRightView);

/** 16-bit disparity, its map and the cloud. The rest stays as it is. */
StereoResult seenFromLeft(StereoResult result, const RejectCodes& rCodes);

} // namespace kestrova::app
