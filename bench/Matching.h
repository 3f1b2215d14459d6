// What the comparisons of correlators share: edge images, OpenCV's matcher on a pair of frames, and medians of
// processor time.
#pragma once

#include "Frames.h"

#include "image/Image.h"

#include <functional>
#include <vector>

namespace bench {

struct Size
{
    int m_nRows;
    int m_nCols;
    int m_nDisparities;
};

/** Edge images: a rectified image against its surroundings, around 128, as a correlator sees it. */
kestrova::Image<unsigned char> edges(const cv::Mat& rImage);

std::function<void()> blockMatcher(const Frames& rFrames, const Size& rSize, int nMask, bool bChecks);

/** Median seconds of every piece of work; all in turn, so that a drift of the machine falls on each. */
std::vector<double> medians(const std::vector<std::function<void()>>& rWorks, double dMaxSeconds);

} // namespace bench
