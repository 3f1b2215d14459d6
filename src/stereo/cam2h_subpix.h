// One row of 16-bit disparity out of the sum table: best lane, its neighbours, and a fit without a division.
#pragma once

#include "stereo/back_forth.h"

#include <cstdint>
#include <vector>

namespace kestrova {

/** What both loops need to know, and the buffers that they share from row to row. */
struct SubpixRow
{
    const std::uint16_t* m_pTable;
    unsigned m_uMinDisparity;
    unsigned m_uOffset; // what labels have subtracted from the disparity
    int m_nWidth;       // reference columns; the row has that plus 1 minus the mask pixels
    int m_nMask;
    int m_nGroups; // groups of 8 (bSSE2) or 4 lanes
    int m_nStride; // lanes of a column / 4
    int m_nDisparities;
    unsigned m_uLastLane;
    bool m_bSSE2;
    bool m_bBackForth;
    std::uint8_t m_ucBackForthMapping;
    std::uint8_t m_ucSubpixelMapping;
    std::uint8_t* m_pLanes; // scratch, one byte per pixel
    InverseRow* m_pInverse;
};

/** The scaled thresholds and the codes of the validating loop. */
struct SubpixValidation
{
    unsigned m_uTexture;
    unsigned m_uUniqueness; // times 4096; 0 for no such test
    std::uint8_t m_ucTextureMapping;
    std::uint8_t m_ucUniquenessMapping;
};

/** The thresholds as the texture measure is compared with them. */
struct SubpixThresholds
{
    std::uint32_t m_uScale; // of the measure, in 1/4096
    std::uint32_t m_uLeast; // scaled measure below which texture is too weak
};

[[nodiscard]] SubpixThresholds subpixThresholds(const SubpixValidation& rValidation);

constexpr int sk_nWidestValidated = 1280; // reference columns of a validated row

/** Lane d is disparity index d. Fractions round toward zero. */
void cam2h_subpix_interp(std::uint16_t* pOut, const SubpixRow& rRow);

/**
 * Lane 0 is the texture measure, lane j disparity index j - 1. Fractions round toward minus infinity. Writes nothing
 * for W above 1280.
 */
void cam2h_subpix_val_interp(std::uint16_t* pOut, const SubpixRow& rRow, const SubpixValidation& rValidation);

} // namespace kestrova
