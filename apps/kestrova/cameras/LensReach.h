// How far from its axis a lens model can be believed, and a smooth continuation beyond.
//
// A distortion polynomial is fitted to what the calibration saw. Further out it may fold back, so that two rays share a
// pixel and the inverse has no answer; a ray at a right angle to the axis has no place on the plane z = 1 either. Maps
// are fitted to the continued lens, which is the model within the reach. Beyond it the way to the raw frame leaves that
// frame quickly, while the way back goes on mildly: where the two disagree no pixel is to be believed.
#pragma once

#include "cameras/CameraModel.h"

#include <limits>

namespace kestrova::app {

struct LensReach
{
    double m_dRay = std::numeric_limits<double>::infinity(); // radius on the plane z = 1
    double m_dFold = m_dRay;                                 // where the polynomial turns back, if it does
    bool m_bFoldsInside = false;                             // the raw frame
    double m_dLeave = 0.0;                                   // cubic term of the way out of the raw frame
    double m_dMild = 0.0;                                    // that of the way back

    bool folds() const { return m_dFold < std::numeric_limits<double>::infinity(); }
    bool isLimited() const { return m_dRay < std::numeric_limits<double>::infinity(); }
};

/**
 * Unlimited when the model is one-to-one over the whole raw frame and some way around it, and sees less than 72
 * degrees from its axis.
 */
LensReach reachOf(const CameraModel& rCamera);

/** projectRays of the continued lens. A ray beyond the reach falls outside the raw frame after a short rim. */
Points projectContinued(const CameraModel& rCamera, const LensReach& rReach, const Points& rRays);

/** raysOfPixels of the continued lens. */
Points raysContinued(const CameraModel& rCamera, const LensReach& rReach, const Points& rPixels);

} // namespace kestrova::app
