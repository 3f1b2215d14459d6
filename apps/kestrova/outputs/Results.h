// One frame of each camera all the way through the library.
#pragma once

#include "basics/ImageFiles.h"
#include "outputs/CloudWriter.h"
#include "outputs/StageTime.h"
#include "session/FrameReader.h"
#include "session/PairCheck.h"
#include "session/RowAgreement.h"
#include "session/StereoSession.h"

namespace kestrova::app {

struct StereoResult
{
    PerCamera<cv::Mat1b> m_raw, m_rectified;
    PerCamera<cv::Mat1b> m_edge;  // empty while edge correlation is off, or unless wished for
    cv::Mat3b m_colour;           // rectified, of the right camera; empty for grey frames
    cv::Mat1w m_disparity16;      // as the library gave it, except that the region outside is marked too
    cv::Mat1b m_disparity8;       // empty unless wished for
    DisparityMap m_map16, m_map8; // the same, read
    std::vector<CloudPoint> m_cloud;
    Optics m_optics;
    cv::Vec2i m_range;
    int m_nOffset = 0;
    bool m_bSeenFromLeft = false;      // 16-bit disparity, its map and the cloud, see outputs/LeftView.h
    PerCamera<RowAgreement> m_rawRows; // right to left by rows, right to top by columns
    PerCamera<PairCheck> m_rectifiedRows;
    std::vector<StageTime> m_times;

    double focalTimesBaseline() const { return static_cast<double>(m_optics.m_fFocal) * m_optics.m_fBaseline; }
};

/** What a result holds beside the rectified images and 16-bit disparity. All of it takes time. */
struct ResultWishes
{
    bool m_bBytes = true;  // 8-bit disparity, which takes another match
    bool m_bImages = true; // raw frames and edge images
    bool m_bRows = true;   // row agreement, raw and rectified
    bool m_bCloud = true;  // only if there is a baseline
    bool m_bTwice = true;  // rectify twice, to tell the building of the tables from what a further frame takes
};

/**
 * Frame after frame through one session. Settings are applied with the first; what the maps say of the region is kept.
 */
class StereoRun
{
public:
    StereoRun(StereoSession& rSession, const SettingWishes& rSettings, const ResultWishes& rWishes)
        : m_rSession(rSession), m_settings(rSettings), m_wishes(rWishes)
    {}

    /** Throws AppError when the settings do not fit. Goes by itself with the first frame. */
    void prepare(KestrovaCameraConfiguration eConfiguration);

    StereoResult operator()(const Frames& rFrames);

    /** Where the rectified images of these frames show something. */
    const PerCamera<cv::Mat1b>& regionsOf(const Frames& rFrames);

private:
    StereoSession& m_rSession;
    SettingWishes m_settings;
    ResultWishes m_wishes;
    bool m_bPrepared = false;
    cv::Size m_regionSize; // of the raw frames that the regions are for
    PerCamera<cv::Mat1b> m_regions;
};

/** Matches the cameras that there are frames of, with the given settings. */
StereoResult runStereo(StereoSession& rSession, const Frames& rFrames, const SettingWishes& rWishes);

} // namespace kestrova::app
