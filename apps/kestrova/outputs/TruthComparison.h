// Compares disparity with a known picture of it, beside OpenCV's block matcher with the same window and range.
#pragma once

#include "session/PixelMask.h"

#include <string>

namespace kestrova::app {

enum class TruthView
{
    Right,
    Left
};

/// Disparity moved to the left image: column x goes to x + d, and the nearest surface wins a place. +inf where none is.
cv::Mat1f toLeftView(const cv::Mat1f& rRightView);

struct TruthShares
{
    long m_nKnown = 0; // pixels with a known disparity inside the searched range
    long m_nFound = 0;
    long m_nWithin1 = 0;
    long m_nWithin2 = 0;
    double m_dSumError = 0.0; // of those within 2
};

/// Truth: pixels of the same canvas, 0 where unknown. Disparity: +inf where there is none.
TruthShares compareWithTruth(const cv::Mat1f& rDisparity, const cv::Mat1f& rTruth, cv::Vec2i range);

struct BlockMatchRequest
{
    cv::Vec2i m_range;
    int m_nWindow = 7;
    int m_nUniquenessRatio = 15; // the matcher's own defaults
    int m_nTextureThreshold = 10;
};

/// OpenCV's block matcher, seen from the left or the right image; +inf where it gives nothing.
cv::Mat1f blockMatch(const cv::Mat1b& rRight, const cv::Mat1b& rLeft, const BlockMatchRequest& rRequest,
                     TruthView eView);

std::string truthTableHead();
std::string truthTableRow(const std::string& rName, const TruthShares& rShares);

} // namespace kestrova::app
