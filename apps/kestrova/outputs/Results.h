// One frame of each camera all the way through the library, and the files that come of it.
#pragma once

#include "basics/OutputFolder.h"
#include "outputs/CloudWriter.h"
#include "session/RowAgreement.h"
#include "session/StereoSession.h"

namespace kestrova::app {

struct StageTime
{
    std::string m_stage;
    double m_dMilliseconds = 0.0;
};

struct StereoResult
{
    PerCamera<cv::Mat1b> m_raw, m_rectified;
    PerCamera<cv::Mat1b> m_edge; // empty while edge correlation is off
    cv::Mat3b m_colour;          // rectified, of the right camera; empty for grey frames
    cv::Mat1w m_disparity16;     // as the library gave it, except that the region outside is marked too
    cv::Mat1b m_disparity8;
    DisparityMap m_map16, m_map8; // the same, read
    std::vector<CloudPoint> m_cloud;
    Optics m_optics;
    cv::Vec2i m_range;
    int m_nOffset = 0;
    PerCamera<RowAgreement> m_rawRows, m_rectifiedRows; // right to left by rows, right to top by columns
    std::vector<StageTime> m_times;
};

struct Frames
{
    PerCamera<cv::Mat1b> m_grey;
    cv::Mat3b m_colour = {};             // of the right camera; may be empty
    PerCamera<cv::Mat1b> m_regions = {}; // where rectified images show something; without them the maps say it
};

/// Matches the cameras that there are frames of, with the given settings.
StereoResult runStereo(StereoSession& rSession, const Frames& rFrames, const SettingWishes& rWishes);

/// Writes all images, both disparities as data and in colour, and the cloud. rSource goes into the cloud's header.
void writeResult(const OutputFolder& rFolder, const StereoResult& rResult, const std::string& rSource);

void writeImage(const std::filesystem::path& rFile, const cv::Mat& rImage);
void writeText(const std::filesystem::path& rFile, const std::string& rText);

/// Any image file, read as the flags of cv::imread say. One thread at a time: standard error is shut meanwhile, as
/// decoders write there. Throws AppError that names the file.
cv::Mat readImage(const std::filesystem::path& rFile, int nHow);

/// Any image file as grey. Throws AppError that names the file.
cv::Mat1b readGrey(const std::filesystem::path& rFile);

/// The same file in colour, or an empty image if it has none.
cv::Mat3b readColour(const std::filesystem::path& rFile);

} // namespace kestrova::app
