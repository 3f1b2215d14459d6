// Depths to search, told in disparities.
#pragma once

#include <opencv2/core.hpp>

#include <optional>
#include <string>
#include <vector>

namespace kestrova::app {

struct DepthRange
{
    std::optional<double> m_dNear; // metres; without it the disparity ends where the default does
    std::optional<double> m_dFar;  // without it the disparity begins at 0
};

/**
 * The whole pixels of disparity that hold the range: z = f * B / d. Throws AppError that names --near or --far when
 * the library cannot search it: more than 240 pixels, or beyond 1024.
 */
cv::Vec2i disparityOf(const DepthRange& rRange, double dFocalTimesBaseline, cv::Vec2i fallback);

inline constexpr int sk_nMostDisparities = 240; // that the library searches at a time
inline constexpr int sk_nLastDisparity = 1024;

/** The largest disparity that images of so many pixels along the baseline leave room for, whatever the window. */
int largestDisparity(int nPixels);

/**
 * The range to search for a subject at these disparities: room for nearer things, and for all that lies behind it, as
 * far as the library can search. If it cannot hold all of them, those of the widest range that holds the most. There
 * must be one.
 */
cv::Vec2i rangeAround(std::vector<double> disparities, int nLargest);

/** "0 to 96 pixels (0.65 m to infinity)"; pixels alone without a scale. */
std::string rangeText(cv::Vec2i range, double dFocalTimesBaseline);

} // namespace kestrova::app
