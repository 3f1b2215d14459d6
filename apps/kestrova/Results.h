// One frame pair all the way through the library, and the files that come of it.
#pragma once

#include "CloudWriter.h"
#include "OutputFolder.h"
#include "RowAgreement.h"
#include "StereoSession.h"

namespace kestrova::app {

struct StageTime
{
    std::string m_stage;
    double m_dMilliseconds = 0.0;
};

struct StereoResult
{
    cv::Mat1b m_rawRight, m_rawLeft;
    cv::Mat1b m_rectifiedRight, m_rectifiedLeft;
    cv::Mat1b m_edgeRight, m_edgeLeft; // empty while edge correlation is off
    cv::Mat1w m_disparity16;           // as the library gave it, except that the region outside is marked too
    cv::Mat1b m_disparity8;
    DisparityMap m_map16, m_map8; // the same, read
    std::vector<CloudPoint> m_cloud;
    Optics m_optics;
    cv::Vec2i m_range;
    int m_nOffset = 0;
    RowAgreement m_rawRows, m_rectifiedRows;
    std::vector<StageTime> m_times;
};

/// Where each camera's rectified image shows something; empty images stand for what the maps say.
struct ShownRegions
{
    cv::Mat1b m_right, m_left;
};

StereoResult runStereo(StereoSession& rSession, const cv::Mat1b& rRight, const cv::Mat1b& rLeft,
                       const ShownRegions& rShown);

/// Writes all images, both disparities as data and in colour, and the cloud. rSource goes into the cloud's header.
void writeResult(const OutputFolder& rFolder, const StereoResult& rResult, const std::string& rSource);

void writeImage(const std::filesystem::path& rFile, const cv::Mat& rImage);
void writeText(const std::filesystem::path& rFile, const std::string& rText);

/// Any image file as grey. Throws AppError that names the file.
cv::Mat1b readGrey(const std::filesystem::path& rFile);

} // namespace kestrova::app
