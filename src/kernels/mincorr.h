// The best lane of every column of the sum table, as its label.
//
// Inside a lane position the lower group wins a tie; among lane positions the numerically lowest label does. How many
// lane positions there are, 8 with bSSE2 and 4 without, is therefore part of the result.
#pragma once

#include <cstdint>

namespace kestrova {

/**
 * @param pTable   columns of nGroups groups of 8 (bSSE2) or 4 lanes
 * @param pLabels  one byte per lane
 * @param nCount   columns
 */
void mincorr_row(std::uint8_t* pOut, const std::uint16_t* pTable, const std::uint8_t* pLabels, int nCount, int nGroups,
                 bool bSSE2);

/**
 * As mincorr_row, with lane 0 the texture measure, which competes as the value that a match must beat: 0 when the
 * texture is too weak. The table itself is not changed.
 *
 * @param uTexture     texture threshold, summed over the window
 * @param uUniqueness  uniqueness threshold times 4096; 0 for no such test
 */
void mincorr_val_row(std::uint8_t* pOut, const std::uint16_t* pTable, const std::uint8_t* pLabels, int nCount,
                     int nGroups, unsigned uTexture, unsigned uUniqueness, bool bSSE2);

} // namespace kestrova
