// The periodic error of subpixel disparity: it repeats with every pixel, and shows as furrows on slanted surfaces.
//
// Measured on the floor of the demo's room, where true disparity takes every fraction of a pixel alike.
#pragma once

#include "demo/SceneRenderer.h"
#include "outputs/Results.h"

namespace kestrova::app {

struct FurrowCurve
{
    static constexpr int sk_nBins = 16;
    std::array<double, sk_nBins> m_adError{}; // mean of measured less true disparity, by the fraction of the true one
    std::array<long, sk_nBins> m_anPixels{};

    double amplitude() const; // of the part that repeats once a pixel: the curve's first harmonic
    double halfRange() const; // half of largest less smallest mean, chance in the bins included
};

struct FurrowComparison
{
    FurrowCurve m_standard, m_enhanced;
};

/** Of the floor's pixels that both maps have within one disparity of the truth. */
FurrowComparison compareFurrows(const DisparityMap& rStandard, const DisparityMap& rEnhanced, const SceneTruth& rTruth);

std::string furrowTable(const FurrowComparison& rCurves);
cv::Mat3b furrowPicture(const FurrowComparison& rCurves);

} // namespace kestrova::app
