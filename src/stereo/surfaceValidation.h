// Removes small surfaces from a finished disparity image: wrong matches rarely agree with their neighbours.
#pragma once

namespace kestrova {

class StereoContext;

/**
 * Rejects every surface of fewer pixels than the settings ask for, in the disparity image that they produce, 16-bit or
 * 8-bit. Runs on whole frames, after all bands: surfaces cross them.
 *
 * @return false for a null context only
 */
bool validateSurfaces(StereoContext* pContext);

} // namespace kestrova
