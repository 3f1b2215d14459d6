// One row of 16-bit disparity out of scores that were kept per pixel: the fit of the general correlator, which divides.
#pragma once

#include <cstdint>

namespace kestrova {

/** What row_interpolation rejects, and the codes it shows. */
struct RowInterpolation
{
    std::uint16_t m_uTextureFlag; // a validation value below it fails as texture
    int m_nUniquenessScale;       // 16.16 factor on the validation value; 0 and below: no test
    std::uint8_t m_ucFirstIndex;  // labels on the rims of the range; a first index of 0 is no rim
    std::uint8_t m_ucLastIndex;
    std::uint8_t m_ucHigh; // high byte of every reject
    std::uint8_t m_ucTextureMapping;
    std::uint8_t m_ucUniquenessMapping;
    std::uint8_t m_ucSubpixelMapping;
};

/**
 * Fits a V through the best score and its neighbours in disparity, for n pixels. A score of 32767 or more means that
 * the neighbour was never seen.
 *
 * There is no loose form: the checks are the strict ones, whatever the strict setting says.
 */
void row_interpolation(std::uint16_t* pOut, int n, const std::uint16_t* pBest, const std::uint16_t* pBefore,
                       const std::uint16_t* pAfter, const std::uint8_t* pLabels, const std::uint16_t* pValidation,
                       const RowInterpolation& rSettings);

} // namespace kestrova
