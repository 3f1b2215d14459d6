// Columns of the sum table: what the forms take and give. See mongo.h and mincorr.h for the entries.
#pragma once

#include "kernels/mincorr.h"
#include "kernels/mongo.h"

#include <cstddef>

namespace kestrova {

constexpr int sk_nMostInverse = 256; // disparities of a search
constexpr int sk_nInverseSlack = 8;  // columns that a search may use on either side of best and winner

/**
 * A search for the inverse disparity: for each of m_nColumns search columns r the index d, from 0 to the smaller of r
 * and m_nDisparities - 1, with the lowest sum at reference column r - d; the lowest d wins a tie.
 */
struct InverseColumns
{
    const std::uint16_t* m_pTable; // disparity 0 of column 0
    int m_nColumns;
    int m_nDisparities;      // 1 to sk_nMostInverse
    std::ptrdiff_t m_nLanes; // from column to column
    // Both of m_nColumns + sk_nMostInverse + 2 * sk_nInverseSlack entries, filled anew.
    std::uint16_t* m_pBest; // scratch
    std::uint16_t* m_pWinner;
};

/** One way to work on columns. Results are those of the plain one. */
struct ColumnForm
{
    decltype(&kestrova::mongo_row) mongo_row;
    decltype(&kestrova::mongo_val_row) mongo_val_row;
    decltype(&kestrova::mincorr_row) mincorr_row;
    decltype(&kestrova::mincorr_val_row) mincorr_val_row;
    void (*findInverse)(const InverseColumns& rColumns);
};

extern const ColumnForm g_columnsPlain;
extern const ColumnForm g_columnsSse2;

} // namespace kestrova
