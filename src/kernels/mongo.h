// The column sums of the fast correlator: every window sum of every disparity, updated by one image row at a time.
//
// The sum table holds the lanes of a column side by side, 4 * stride of them, one 16-bit sum per disparity, modulo
// 65536. A ring row holds the absolute differences that an image row added to the sums, so that they can leave again m
// rows later: group g begins at byte 4 * g * (width + mask), with 4 bytes (8 in an eight-lane step) per reference
// column. Cost per pixel and disparity does not depend on the mask. Sums wrap for masks above 16: 17 * 17 * 255 >
// 65535.
//
// No loop reads a reference or search pixel outside its row: rows in memory of a caller need no slack.
#pragma once

#include "image/pixels.h"

#include <cstddef>
#include <cstdint>

namespace kestrova {

/** The rows that one update works on. */
struct MongoRow
{
    const std::uint8_t* m_pReference; // m_nWidth pixels
    const std::uint8_t* m_pSearch;    // m_nSearchWidth pixels
    const std::uint8_t* m_pOldRing;   // differences of the row that leaves; zeros as long as none does
    std::uint8_t* m_pNewRing;
    std::uint16_t* m_pTable;
    int m_nWidth;
    int m_nSearchWidth;
    int m_nMask;
    int m_nGroups; // groups of four lanes to a column, which is also the stride of the table in groups
};

/**
 * Adds a row to all window sums, lane d holding disparity index d. With bFirstRow the columns whose windows leave the
 * search row get 0xFFFF for good, so that they lose every comparison.
 *
 * @return the number of lanes updated
 */
unsigned mongo_row(const MongoRow& rRow, bool bFirstRow);

/**
 * As mongo_row for the validating forms: lane 0 holds the texture measure, the sum of distances from sk_ucEdgeZero, and
 * lane d + 1 disparity index d.
 */
unsigned mongo_val_row(const MongoRow& rRow, bool bFirstRow);

} // namespace kestrova
