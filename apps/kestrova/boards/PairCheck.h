// Is a calibration still good for its cameras? Told from one frame of each, of anything with detail; no board needed.
#pragma once

#include "boards/CornerProof.h"

namespace kestrova::app {

struct PairCheck
{
    RowErrors m_rows;       // of the details that agree with the others
    double m_dMiddle = 0.0; // median of the differences with their sign: the other image stands lower
    int m_nStrays = 0;      // details left out, wrong matches most likely
    double m_dBehind = 0.0; // share of details at negative disparity, where nothing real can be
    double m_dGain = 0.0;   // mean grey of the details, right over other
};

inline constexpr int sk_nFewestDetails = 20;

/// Both images are rectified. For a top camera hand over both transposed. The mask is of the right image.
PairCheck checkPair(const cv::Mat1b& rRight, const cv::Mat1b& rOther, const cv::Mat1b& rMask);

} // namespace kestrova::app
