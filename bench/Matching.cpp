#include "Matching.h"

#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

namespace bench {

kestrova::Image<unsigned char> edges(const cv::Mat& rImage)
{
    cv::Mat mean;
    cv::boxFilter(rImage, mean, CV_16S, {7, 7});
    kestrova::Image<unsigned char> out(rImage.rows, rImage.cols);
    for (int y = 0; y < rImage.rows; ++y) {
        for (int x = 0; x < rImage.cols; ++x) {
            out[y][x] = cv::saturate_cast<unsigned char>(rImage.at<unsigned char>(y, x) - mean.at<short>(y, x) + 128);
        }
    }
    return out;
}

std::function<void()> blockMatcher(const Frames& rFrames, const Size& rSize, int nMask, bool bChecks)
{
    const auto matcher = cv::StereoBM::create(rSize.m_nDisparities, nMask);
    matcher->setTextureThreshold(bChecks ? 10 : 0);
    matcher->setUniquenessRatio(bChecks ? 15 : 0);
    // A block matcher measures from the left image; mirrored and swapped, it measures from the right one as we do.
    cv::Mat left;
    cv::Mat right;
    cv::flip(rFrames.m_right, left, 1);
    cv::flip(rFrames.m_left, right, 1);
    return [=, out = cv::Mat()]() mutable { matcher->compute(left, right, out); };
}

} // namespace bench
