// The fast two-camera correlator with 8-bit output: one walk over the image, all disparities of a pixel side by side.
//
// The search view begins at the first disparity of the range, so disparity index d compares reference column x with
// search column x + d. Output pixel (y, x) belongs to the m by m window whose top-left corner is (y, x) of the
// reference view. Views that are too small for the mask, an output too small for the result, or a range too wide for
// the lanes make every form return 0 and write nothing; otherwise the result is the number of lanes updated, a
// statistic.
#pragma once

#include "image/Image.h"
#include "stereo/labels.h"

#include <cstdint>

namespace kestrova {

/** The label of the best disparity per pixel; with bBackForth checked from the search image back. */
unsigned twofast_stereo(Image<unsigned char>& rOut, const Image<unsigned char>& rReference,
                        const Image<unsigned char>& rSearch, const LabelTable& rLabels, unsigned n, unsigned m,
                        bool bBackForth, std::uint8_t ucInvalid, std::uint8_t ucBackForthMapping);

unsigned twofast_oneway_stereo(Image<unsigned char>& rOut, const Image<unsigned char>& rReference,
                               const Image<unsigned char>& rSearch, const LabelTable& rLabels, unsigned n, unsigned m);

unsigned twofast_twoway_stereo(Image<unsigned char>& rOut, const Image<unsigned char>& rReference,
                               const Image<unsigned char>& rSearch, const LabelTable& rLabels, unsigned n, unsigned m,
                               std::uint8_t ucInvalid, std::uint8_t ucBackForthMapping);

/** What a validating form rejects, and how it shows. A threshold that is negative or 0 switches its test off. */
struct Validation
{
    double m_dTexture;    // mean distance from grey 128 that a window must exceed
    double m_dUniqueness; // share of the texture measure that the best sum must stay under
    std::uint8_t m_ucTextureMapping;
    std::uint8_t m_ucUniquenessMapping;
};

/** As twofast_stereo, with the texture and uniqueness tests. Both show the texture mapping when both run. */
unsigned twofast_validate_stereo(Image<unsigned char>& rOut, const Image<unsigned char>& rReference,
                                 const Image<unsigned char>& rSearch, const LabelTable& rLabels, unsigned n, unsigned m,
                                 const Validation& rValidation, std::uint8_t ucInvalid, bool bBackForth,
                                 std::uint8_t ucBackForthMapping);

unsigned twofast_oneway_validate_stereo(Image<unsigned char>& rOut, const Image<unsigned char>& rReference,
                                        const Image<unsigned char>& rSearch, const LabelTable& rLabels, unsigned n,
                                        unsigned m, const Validation& rValidation, std::uint8_t ucInvalid);

unsigned twofast_twoway_validate_stereo(Image<unsigned char>& rOut, const Image<unsigned char>& rReference,
                                        const Image<unsigned char>& rSearch, const LabelTable& rLabels, unsigned n,
                                        unsigned m, const Validation& rValidation, std::uint8_t ucInvalid,
                                        std::uint8_t ucBackForthMapping);

} // namespace kestrova
