// Where the cameras of a product stand, and which camera index that makes them.
#pragma once

#include "context/StereoProduct.h"

#include <array>
#include <cstdint>

namespace kestrova {

/** The camera index of a grid position, 0 being the right camera; -1 if the product has no camera there. */
[[nodiscard]] int getCameraIdFromPosition(StereoProduct eProduct, const std::array<std::int32_t, 3>& rPosition);

} // namespace kestrova
