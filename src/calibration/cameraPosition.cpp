#include "calibration/cameraPosition.h"

namespace kestrova {

namespace {

constexpr std::array<std::int32_t, 3> sk_right = {0, 0, 0};
constexpr std::array<std::int32_t, 3> sk_top = {0, -1, 0};
constexpr std::array<std::int32_t, 3> sk_left = {-1, 0, 0};

} // namespace

int getCameraIdFromPosition(StereoProduct eProduct, const std::array<std::int32_t, 3>& rPosition)
{
    const bool bHasTop = eProduct == ProductHalvorine || eProduct == ProductTandrell;
    const bool bHasLeft = eProduct == ProductHalvorine || eProduct == ProductPemberlow;
    if (rPosition == sk_right && (bHasTop || bHasLeft)) {
        return 0;
    }
    if (rPosition == sk_top && bHasTop) {
        return 1;
    }
    if (rPosition == sk_left && bHasLeft) {
        return bHasTop ? 2 : 1;
    }
    return -1;
}

} // namespace kestrova
