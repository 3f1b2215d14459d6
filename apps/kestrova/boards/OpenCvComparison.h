// The same calibration rectified by OpenCV, beside the library: boards are looked for again in both.
#pragma once

#include "boards/CornerProof.h"
#include "cameras/RigBuilder.h"

namespace kestrova::app {

struct RectifierComparison
{
    int m_nShots = 0; // in which the board was found in all four pictures
    RowErrors m_ours, m_theirs;
};

/** The right camera and one other. */
RectifierComparison compareRectifiers(StereoSession& rSession, const Shots& rShots, const Rig& rRig, double dAlpha,
                                      KestrovaCamera eOther);

/** Both rectified pictures of a shot, by the library. */
PerCamera<cv::Mat1b> rectifiedShot(StereoSession& rSession, const Shot& rShot);

} // namespace kestrova::app
