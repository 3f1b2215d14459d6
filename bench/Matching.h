// What the comparisons of correlators share: edge images, and OpenCV's matcher on a pair of frames.
#pragma once

#include "Frames.h"

#include "image/Image.h"

#include <functional>

namespace bench {

/** Edge images: a rectified image against its surroundings, around 128, as a correlator sees it. */
kestrova::Image<unsigned char> edges(const cv::Mat& rImage);

std::function<void()> blockMatcher(const Frames& rFrames, const Size& rSize, int nMask, bool bChecks);

} // namespace bench
