// Factors of the row operations: 16.16 fixed point, made from doubles.
#pragma once

#include "numerics/truncateToInt.h"

namespace kestrova {

/** The factor that turns the sum of a box into its average times gain. */
inline int averageScale(double dGain, unsigned uMaskRows, unsigned uMaskCols)
{
    return truncateToInt(dGain * 65536.0 / (static_cast<double>(uMaskRows) * uMaskCols));
}

} // namespace kestrova
