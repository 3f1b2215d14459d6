// Depths to search, told in disparities.
#pragma once

#include <opencv2/core.hpp>

#include <optional>

namespace kestrova::app {

struct DepthRange
{
    std::optional<double> m_dNear; // metres; without it the disparity ends where the default does
    std::optional<double> m_dFar;  // without it the disparity begins at 0
};

/// The whole pixels of disparity that hold the range: z = f * B / d. Throws AppError that names --near or --far when
/// the library cannot search it: more than 240 pixels, or beyond 1024.
cv::Vec2i disparityOf(const DepthRange& rRange, double dFocalTimesBaseline, cv::Vec2i fallback);

} // namespace kestrova::app
