#include "cameras/DepthRange.h"

#include "basics/AppError.h"
#include "basics/Line.h"

#include <cmath>

namespace kestrova::app {

static constexpr int sk_nMostDisparities = 240;
static constexpr int sk_nLastDisparity = 1024;

cv::Vec2i disparityOf(const DepthRange& rRange, double dFocalTimesBaseline, cv::Vec2i fallback)
{
    if (rRange.m_dNear && rRange.m_dFar && !(*rRange.m_dNear < *rRange.m_dFar))
        throw AppError("--near must be nearer than --far", ExitStatus::Usage);
    if (!(dFocalTimesBaseline > 0.0))
        throw AppError("--near and --far take a focal length and a baseline, see --focal and --baseline",
                       ExitStatus::Usage);
    const double dMin = rRange.m_dFar ? std::floor(dFocalTimesBaseline / *rRange.m_dFar) : 0.0;
    const double dMax =
        rRange.m_dNear ? std::ceil(dFocalTimesBaseline / *rRange.m_dNear) : std::max<double>(fallback[1], dMin + 1.0);
    if (dMax > sk_nLastDisparity || dMax - dMin > sk_nMostDisparities)
        throw AppError(
            line("--near, --far: from %.0f to %.0f pixels of disparity; at most %d at a time and none above %d can "
                 "be searched, so choose a farther --near or a smaller image",
                 dMin, dMax, sk_nMostDisparities, sk_nLastDisparity),
            ExitStatus::Usage);
    return {static_cast<int>(dMin), std::max(static_cast<int>(dMax), static_cast<int>(dMin) + 1)};
}

} // namespace kestrova::app
