// The proof of a written calibration: the library loads it and moves points as the lenses do.
#pragma once

#include "cameras/RigBuilder.h"

namespace kestrova::app {

struct RigProof
{
    double m_dRms = 0.0;   // pixels between the library's place of a raw point and the model's
    double m_dWorst = 0.0; // over all cameras and sections
    std::size_t m_nPoints = 0;
};

/** The size of the raw frames that come, of any shape, without a frame at hand. */
void expectFrames(KestrovaContext context, cv::Size raw);

/**
 * Pushes a grid of raw pixels, and the caller's raw points such as corners of boards, through kestrovaRectifyPixel.
 * Points that come to lie outside the rectified image are left out. Throws AppError above 0.1 pixel.
 */
RigProof proveRig(const std::filesystem::path& rFile, const Rig& rRig, const PerCamera<Points>& rCorners = {});

} // namespace kestrova::app
