// The camera sets that a calibration can name.
#pragma once

#include <cstdint>

namespace kestrova {

/** Indexes kesProductStr. No calibration keyword leads to the last one; its cameras have no order. */
enum StereoProduct : std::int32_t
{
    ProductHalvorine = 0, // three cameras in an L
    ProductPemberlow = 1, // right and left
    ProductTandrell = 2,  // right and top
    ProductSelvane4 = 3,
};

} // namespace kestrova
