// Factors of the row operations: 16.16 fixed point, made from doubles.
#pragma once

#include <limits>

namespace kestrova {

/** Truncates; what does not fit gives the lowest integer, as the processor's own conversion does. */
inline int truncateToInt(double dValue)
{
    constexpr double dEnd = 2147483648.0;
    return dValue > -dEnd - 1 && dValue < dEnd ? static_cast<int>(dValue) : std::numeric_limits<int>::min();
}

/** The factor that turns the sum of a box into its average times gain. */
inline int averageScale(double dGain, unsigned uMaskRows, unsigned uMaskCols)
{
    return truncateToInt(dGain * 65536.0 / (static_cast<double>(uMaskRows) * uMaskCols));
}

} // namespace kestrova
