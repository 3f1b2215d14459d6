// Compares disparity with a known picture of it, beside OpenCV's block matcher with the same window and range.
#pragma once

#include "session/PixelMask.h"

#include <array>
#include <cmath>
#include <optional>
#include <string>

namespace kestrova::app {

enum class TruthView
{
    Right,
    Left
};

/**
 * Disparity moved to the left image: column x goes to x + d, and the nearest surface wins a place. +inf where none is.
 */
cv::Mat1f toLeftView(const cv::Mat1f& rRightView);

/** The other way: column x of the left image goes to x - d. */
cv::Mat1f toRightView(const cv::Mat1f& rLeftView);

struct TruthShares
{
    long m_nKnown = 0; // pixels with a known disparity inside the searched range
    long m_nFound = 0;
    long m_nWithin1 = 0;
    long m_nWithin2 = 0;
    double m_dSumError = 0.0; // of those within 2
};

/** Truth: pixels of the same canvas, 0 where unknown. Disparity: +inf where there is none. */
TruthShares compareWithTruth(const cv::Mat1f& rDisparity, const cv::Mat1f& rTruth, cv::Vec2i range);

// ---- the measures of stereo benchmarks ----

inline constexpr std::array<double, 4> sk_adBad{0.5, 1.0, 2.0, 4.0}; // pixels

struct TruthErrors
{
    long m_nPixels = 0;
    long m_nKnown = 0;                           // pixels with a known disparity, inside the range if there is one
    long m_nBeyond = 0;                          // known, but outside the range: left out of all else
    long m_nFound = 0;                           // of the known ones
    std::array<long, sk_adBad.size()> m_anBad{}; // of those found: more than this off
    long m_nOutliers = 0; // of those found: more than 3 pixels and more than 5 % of the truth off
    double m_dSum = 0.0;  // of errors without sign, and of their squares
    double m_dSumSquares = 0.0;

    double foundShare() const { return share(m_nFound, m_nKnown); }
    double badOfFound(long nBad) const { return share(nBad, m_nFound); }
    /** A missing disparity is a bad one. */
    double badOfKnown(long nBad) const { return share(nBad + m_nKnown - m_nFound, m_nKnown); }
    double meanError() const { return m_nFound ? m_dSum / static_cast<double>(m_nFound) : 0.0; }
    double rmsError() const { return m_nFound ? std::sqrt(m_dSumSquares / static_cast<double>(m_nFound)) : 0.0; }

    static double share(long nPart, long nWhole)
    {
        return nWhole ? 100.0 * static_cast<double>(nPart) / static_cast<double>(nWhole) : 0.0;
    }
};

/** Neither image needs a range; in both, what is not finite or not above 0 is unknown. The images have one size. */
TruthErrors measureErrors(const cv::Mat1f& rDisparity, const cv::Mat1f& rTruth, std::optional<cv::Vec2i> range);

/**
 * The factor by which most disparities differ from the truth, as they do when one of the two has the wrong scale; none
 * when they do not, or when most are right as they are.
 */
std::optional<double> wrongFactor(const cv::Mat1f& rDisparity, const cv::Mat1f& rTruth);

std::string truthErrorsText(const TruthErrors& rErrors);

/** What is true where a reason took the disparity, one line for each reason that occurs. */
std::string truthByReasonText(const cv::Mat1b& rReasons, const cv::Mat1f& rTruth, std::optional<cv::Vec2i> range);

struct BlockMatchRequest
{
    cv::Vec2i m_range;
    int m_nWindow = 7;
    int m_nUniquenessRatio = 15; // the matcher's own defaults
    int m_nTextureThreshold = 10;
};

/** OpenCV's block matcher, seen from the left or the right image; +inf where it gives nothing. */
cv::Mat1f blockMatch(const cv::Mat1b& rRight, const cv::Mat1b& rLeft, const BlockMatchRequest& rRequest,
                     TruthView eView);

std::string truthTableHead();
std::string truthTableRow(const std::string& rName, const TruthShares& rShares);

} // namespace kestrova::app
