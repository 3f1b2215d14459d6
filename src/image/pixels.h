// Pixel types with lanes, and the two small records that describe where an image lies.
#pragma once

#include "kestrova.h"

#include <cstdint>

namespace kestrova {

using ImageROI = ::KestrovaROI;
using Pixel8x4 = ::Pixel8x4;

/** What an edge image shows where there is no edge: texture is measured from it. */
constexpr std::uint8_t sk_ucEdgeZero = 128;

struct ImageDim
{
    std::int32_t m_nRows;
    std::int32_t m_nCols;

    friend bool operator==(const ImageDim&, const ImageDim&) = default;
};

struct Pixel8x8
{
    std::uint8_t m_aLanes[8];
};

struct Pixel16x4
{
    std::uint16_t m_aLanes[4];
};

struct Pixel16x8
{
    std::uint16_t m_aLanes[8];
};

} // namespace kestrova
