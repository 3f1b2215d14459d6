// The camera and warp blocks of a calibration section.
#pragma once

#include "calibration/tokens.h"

#include <array>
#include <cstdint>
#include <vector>

namespace kestrova {

/** Channel of a camera block that carries colour; the others are 0 red, 1 green, 2 blue. */
inline constexpr std::int32_t sk_nColorChannel = 100;

/**
 * One spline. parseWarp only gives finite numbers, in sets of lists that the spline can read without running past an
 * end and evaluate in the time of their length.
 */
struct WarpData
{
    std::int32_t m_nId = -1;
    std::int32_t m_nNumKnots = 0;
    std::int32_t m_nNumCoefsX = 0; // per axis; both are equal
    std::int32_t m_nNumCoefsY = 0;
    std::vector<double> m_knotsX;
    std::vector<double> m_knotsY;
    std::vector<double> m_coefs; // in the order of the text
};

struct CameraData
{
    std::int32_t m_nId = -1;
    std::int32_t m_nChannel = 0;
    std::array<std::int32_t, 3> m_anPosition{}; // on the grid of the set
    double m_dGain = 1.0;
    std::array<double, 2> m_adRectFactor{}; // x, y
    std::array<double, 2> m_adRawFactor{};
    std::array<std::int32_t, 2> m_anWarpIds{}; // x, y spline of the forward map
    std::array<std::int32_t, 2> m_anIwarpIds{};
    std::array<WarpData, 4> m_warps; // forward x, y, inverse x, y
};

/** The first warp block of that id; false if there is none or it is bad. Blocks end with ENDWARP or the next one. */
[[nodiscard]] bool parseWarp(CalibrationLines lines, std::int32_t nId, WarpData* pWarp);

/** The first camera block of that id with its four warp blocks; false if any of these is missing or bad. */
[[nodiscard]] bool parseCamera(CalibrationLines lines, std::int32_t nId, CameraData* pCamera);

} // namespace kestrova
