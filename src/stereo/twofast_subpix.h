// The fast two-camera correlator with 16-bit output: disparity index times 256 plus a signed fraction.
#pragma once

#include "image/Image.h"
#include "stereo/cam2h_subpix.h"
#include "stereo/twofast.h"

namespace kestrova {

/**
 * As the 8-bit forms, with the fit of the fraction. Validation runs when a threshold is not 0; a test that is off
 * leaves its code to the one that is on. nMask below 1 is taken as 1.
 */
unsigned twofast_subpix_stereo(Image<unsigned short>& rOut, const Image<unsigned char>& rReference,
                               const Image<unsigned char>& rSearch, unsigned uMinDisparity, unsigned uOffset,
                               unsigned n, int nMask, const Validation& rValidation, bool bBackForth,
                               std::uint8_t ucBackForthMapping, std::uint8_t ucSubpixelMapping);

} // namespace kestrova
