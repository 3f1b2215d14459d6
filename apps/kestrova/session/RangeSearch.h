// Where is the subject? The library matches a frame once for each stretch of all the disparities that it can search,
// and what looks alike on both sides is counted.
#pragma once

#include "session/StereoSession.h"

namespace kestrova::app {

/** Frames are handed over one after the other; their counts add up. */
class RangeSearch
{
public:
    /** Settings of the session hold, except for range, threads and the way back, which are as before afterwards. */
    explicit RangeSearch(StereoSession& rSession) : m_rSession(rSession) {}

    /** Frames as StereoSession::preprocess takes them; the regions say where rectified images show something. */
    void add(const PerCamera<cv::Mat1b>& rFrames, const PerCamera<cv::Mat1b>& rRegions);

    /** Disparities of what stands out of chance, at least a hundredth of the pixels; empty when nothing does. */
    std::vector<double> subject() const;

private:
    void addStretch(cv::Vec2i stretch, const PerCamera<cv::Mat1b>& rImages, const PerCamera<cv::Mat1b>& rRegions,
                    cv::Mat1f& rBest, cv::Mat1f& rDisparity);

    StereoSession& m_rSession;
    std::vector<long> m_counts; // of samples at each whole disparity
    long m_nSamples = 0;
};

} // namespace kestrova::app
