// The fast two-camera correlator with 16-bit output: disparity index times 256 plus a signed fraction.
#pragma once

#include "image/Image.h"
#include "stereo/cam2h_subpix.h"
#include "stereo/twofast.h"

namespace kestrova {

/** What pixels show: the disparity, less an offset, or a code. */
struct SubpixLabels
{
    unsigned m_uMinDisparity;
    unsigned m_uOffset;
    bool m_bBackForth;
    std::uint8_t m_ucBackForthMapping;
    std::uint8_t m_ucSubpixelMapping;
};

/**
 * As the 8-bit forms, with the fit of the fraction. Validation runs when a threshold is not 0; a test that is off
 * leaves its code to the one that is on. A mask below 1 is taken as 1.
 */
unsigned twofast_subpix_stereo(Image<unsigned short>& rOut, const ViewPair& rViews, const SubpixLabels& rLabels,
                               const Validation& rValidation);

} // namespace kestrova
