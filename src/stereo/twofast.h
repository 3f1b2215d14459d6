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

/** What a call compares: two views, so many disparities, windows of mask by mask. */
struct ViewPair
{
    Image<unsigned char> m_reference;
    Image<unsigned char> m_search;
    unsigned m_uDisparities;
    int m_nMask;
};

/** What pixels show: the label of the best disparity, and with back-forth a code where the way back leads elsewhere. */
struct PairLabels
{
    LabelTable m_labels;
    std::uint8_t m_ucInvalid;
    bool m_bBackForth;
    std::uint8_t m_ucBackForthMapping;
};

/** One way or both, as the labels ask for. */
unsigned twofast_stereo(Image<unsigned char>& rOut, const ViewPair& rViews, const PairLabels& rLabels);

unsigned twofast_oneway_stereo(Image<unsigned char>& rOut, const ViewPair& rViews, const LabelTable& rLabels);

unsigned twofast_twoway_stereo(Image<unsigned char>& rOut, const ViewPair& rViews, const PairLabels& rLabels);

/** What a validating form rejects, and how it shows. A threshold that is negative or 0 switches its test off. */
struct Validation
{
    double m_dTexture;    // mean distance from grey 128 that a window must exceed
    double m_dUniqueness; // share of the texture measure that the best sum must stay under
    std::uint8_t m_ucTextureMapping;
    std::uint8_t m_ucUniquenessMapping;
};

/** As twofast_stereo, with the texture and uniqueness tests. Both show the texture mapping when both run. */
unsigned twofast_validate_stereo(Image<unsigned char>& rOut, const ViewPair& rViews, const PairLabels& rLabels,
                                 const Validation& rValidation);

unsigned twofast_oneway_validate_stereo(Image<unsigned char>& rOut, const ViewPair& rViews, const PairLabels& rLabels,
                                        const Validation& rValidation);

unsigned twofast_twoway_validate_stereo(Image<unsigned char>& rOut, const ViewPair& rViews, const PairLabels& rLabels,
                                        const Validation& rValidation);

} // namespace kestrova
