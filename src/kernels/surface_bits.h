// Which pixels of a row may belong to a surface, and which of them are close to their neighbours, as bits.
#pragma once

#include <cstdint>

namespace kestrova {

/** 64 pixels of a row, the first in the lowest bit. Pixels out of range are close to none. */
struct SurfaceBits
{
    std::uint64_t m_uValid;
    std::uint64_t m_uLeft; // close to the pixel on the left
    std::uint64_t m_uUp;   // close to the pixel above
};

/** What takes part, and the most that close neighbours differ by; below 0 nothing is close. */
template<typename T>
struct SurfaceRange
{
    T m_min;
    T m_max;
    int m_nThreshold;
};

[[nodiscard]] constexpr int surfaceWords(int nPixels)
{
    return (nPixels + 63) / 64;
}

/**
 * Bits of pixels nBegin to nEnd - 1 of a row, surfaceWords of them. The pixel left of nBegin is read, but for column 0,
 * whose left bit means nothing.
 */
void surfaceBits(SurfaceBits* pOut, const std::uint16_t* pRow, const std::uint16_t* pUp, int nBegin, int nEnd,
                 const SurfaceRange<std::uint16_t>& rRange);
void surfaceBits(SurfaceBits* pOut, const std::uint8_t* pRow, const std::uint8_t* pUp, int nBegin, int nEnd,
                 const SurfaceRange<std::uint8_t>& rRange);

} // namespace kestrova
