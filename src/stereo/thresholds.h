// The thresholds of the two-camera correlator as integers. A test that is off has threshold 0.
#pragma once

#include <cstdint>

namespace kestrova {

/** Mean distance from the zero level, summed over the window; negative gives 0. */
[[nodiscard]] inline unsigned scaledTexture(double dThreshold, unsigned m)
{
    const double dSum = dThreshold * m * m;
    return dSum < 1 ? 0 : static_cast<unsigned>(static_cast<std::int64_t>(dSum));
}

/** In units of 1/4096; negative gives 0. */
[[nodiscard]] inline unsigned scaledUniqueness(double dThreshold)
{
    const double dScaled = dThreshold * 4096.0 + 0.5;
    return dScaled < 1 ? 0 : static_cast<unsigned>(static_cast<std::int64_t>(dScaled));
}

} // namespace kestrova
