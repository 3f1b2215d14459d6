// From double to int, for any double.
#pragma once

#include <limits>

namespace kestrova {

/** Truncates; what does not fit gives the lowest integer, as the processor's own conversion does. */
inline int truncateToInt(double dValue)
{
    constexpr double dEnd = 2147483648.0;
    return dValue > -dEnd - 1 && dValue < dEnd ? static_cast<int>(dValue) : std::numeric_limits<int>::min();
}

} // namespace kestrova
