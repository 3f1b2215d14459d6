#include "cameras/DepthRange.h"

#include "basics/AppError.h"
#include "basics/Line.h"

#include <algorithm>
#include <cmath>

namespace kestrova::app {

namespace {

constexpr int sk_nLargestWindow = 23;
constexpr int sk_nNarrowest = 16;       // a narrower range saves nothing
constexpr double sk_dNearer = 1.2;      // room for things nearer than the subject
constexpr double sk_dLeastNearer = 1.1; // if all behind it can be had for that
constexpr double sk_dFarther = 0.8;     // and behind it, at least, if there is not room for all

} // namespace

cv::Vec2i disparityOf(const DepthRange& rRange, double dFocalTimesBaseline, cv::Vec2i fallback)
{
    if (rRange.m_dNear && rRange.m_dFar && !(*rRange.m_dNear < *rRange.m_dFar)) {
        throw AppError("--near must be nearer than --far", ExitStatus::Usage);
    }
    if (!(dFocalTimesBaseline > 0.0)) {
        throw AppError("--near and --far take a focal length and a baseline, see --focal and --baseline",
                       ExitStatus::Usage);
    }
    const double dMin = rRange.m_dFar ? std::floor(dFocalTimesBaseline / *rRange.m_dFar) : 0.0;
    const double dMax =
        rRange.m_dNear ? std::ceil(dFocalTimesBaseline / *rRange.m_dNear) : std::max<double>(fallback[1], dMin + 1.0);
    if (dMax > sk_nLastDisparity || dMax - dMin > sk_nMostDisparities) {
        throw AppError(
            line("--near, --far: from %.0f to %.0f pixels of disparity; at most %d at a time and none above %d can "
                 "be searched, so choose a farther --near or a smaller image",
                 dMin, dMax, sk_nMostDisparities, sk_nLastDisparity),
            ExitStatus::Usage);
    }
    return {static_cast<int>(dMin), std::max(static_cast<int>(dMax), static_cast<int>(dMin) + 1)};
}

int largestDisparity(int nPixels)
{
    return std::clamp(nPixels - sk_nLargestWindow, 1, sk_nLastDisparity);
}

namespace {

// The stretch of sorted values, no wider than the library searches, that holds the most of them.
std::vector<double> fullestStretch(const std::vector<double>& rSorted)
{
    auto first = rSorted.begin();
    auto last = first;
    for (auto from = rSorted.begin(), to = from; to != rSorted.end(); ++to) {
        while (*to - *from > sk_nMostDisparities - 4) {
            ++from;
        }
        if (to - from >= last - first) {
            first = from;
            last = to;
        }
    }
    return {first, last + 1};
}

} // namespace

cv::Vec2i rangeAround(std::vector<double> disparities, int nLargest)
{
    std::sort(disparities.begin(), disparities.end());
    const std::vector<double> held = fullestStretch(disparities);
    const double dFirst = std::clamp(held.front(), 0.0, static_cast<double>(nLargest));
    const double dLast = std::clamp(held.back(), dFirst, static_cast<double>(nLargest));
    double dMin = sk_dFarther * dFirst;
    double dMax = std::clamp<double>(sk_dNearer * dLast + 2.0, std::min(sk_nNarrowest, nLargest), nLargest);
    if (sk_dLeastNearer * dLast + 2.0 <= sk_nMostDisparities) {
        dMax = std::min<double>(dMax, sk_nMostDisparities);
    }
    if (dMax - dMin > sk_nMostDisparities) { // both sides give way alike
        const double dGiven = (sk_nMostDisparities - 2 - (dLast - dFirst)) / (dFirst - dMin + dMax - dLast);
        dMin = dFirst - dGiven * (dFirst - dMin);
        dMax = dLast + dGiven * (dMax - dLast);
    }
    const int nMax = std::max(1, std::min(nLargest, static_cast<int>(std::ceil(dMax))));
    return {std::max(0, nMax - sk_nMostDisparities), nMax};
}

std::string rangeText(cv::Vec2i range, double dFocalTimesBaseline)
{
    const std::string pixels = line("%d to %d pixels", range[0], range[1]);
    if (!(dFocalTimesBaseline > 0.0)) {
        return pixels;
    }
    const std::string nearest = line(" (%.3g m to ", dFocalTimesBaseline / range[1]);
    return pixels + nearest + (range[0] == 0 ? "infinity)" : line("%.3g m)", dFocalTimesBaseline / range[0]));
}

} // namespace kestrova::app
