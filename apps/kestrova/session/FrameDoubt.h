// What is probably wrong when frames and a calibration do not lead to a result: measured on one frame, said in one
// line.
#pragma once

#include "session/PairCheck.h"
#include "session/StereoSession.h"

namespace kestrova::app {

/**
 * Of the pixels that show something, with a disparity. Frames that have nothing to do with each other reach 2 of 100
 * by chance.
 */
inline constexpr double sk_dUsableShare = 0.03;

struct FrameDoubt
{
    std::string m_text = {};  // empty when all is well
    bool m_bHopeless = false; // whatever was found is wrong
};

struct FrameFacts
{
    PerCamera<cv::Mat1b> m_frames;  // as StereoSession::preprocess takes them
    PerCamera<cv::Mat1b> m_regions; // where rectified images show something
    DisparityMap m_map;
    double m_dFound = 0.0; // share, see above
};

/** Rectified details of the right camera and one other; for a top camera transposed. */
Details detailsOf(StereoSession& rSession, const PerCamera<cv::Mat1b>& rFrames, KestrovaCamera eOther,
                  const cv::Mat1b& rRightRegion);

/** Whether the two frames stand in each other's place. */
bool isSwapped(StereoSession& rSession, const PerCamera<cv::Mat1b>& rFrames, KestrovaCamera eOther,
               const cv::Mat1b& rRightRegion, const PairCheck& rCheck);

std::string swappedText(KestrovaCamera eOther);

/** Whether raw frames of this size have another shape than those of the calibration; empty when not. */
std::string shapeDoubt(const StereoSession& rSession, cv::Size raw);

/** The session's images are of other frames afterwards. */
FrameDoubt doubtOf(StereoSession& rSession, const FrameFacts& rFacts);

} // namespace kestrova::app
