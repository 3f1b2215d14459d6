// Rows of the preprocessing stages in wide registers: what the forms take and give.
//
// Every form gives the bytes of the plain code (Warper3, row_pack_op, row_bandpass_op, unpack), the split of a row into
// groups and single pixels included. Box sums go down the columns first, since the image that is summed stands whole
// in memory: no history of row sums is kept, and along a row the window is summed from the columns at hand.
//
// Plain data and function pointers only. A form is compiled for a processor of its own: what it includes must not
// define anything that another form could be linked to.
#pragma once

#include "image/pixels.h"

#include <cstdint>

namespace kestrova {

constexpr int sk_nWindow = 8;       // destination pixels that share a window of the source
constexpr int sk_nWindowBytes = 16; // of each row of a narrow window; a wide one has twice as many
constexpr std::int32_t sk_nNoWindow = INT32_MIN;
constexpr std::uint8_t sk_uLowerRow = 0x80;

/** One destination row of a bilinear warp, from table column 0 on. */
struct WindowRow
{
    const std::int32_t* m_pBases;   // source index of each window's first pixel; of a wide one the complement
    const std::uint8_t* m_pIndices; // place in the window's row, with sk_uLowerRow for its second row
    const std::uint8_t* m_pRowFraction;
    const std::uint8_t* m_pColFraction;
    int m_nStride;
};

/** The window sums of a row of column sums. */
struct ColumnRow
{
    const std::uint16_t* m_pColumns;
    int m_nMaskCols;
    int m_nOut; // sums, so many columns less one mask and one more
};

/** Channels of a packed row that are wanted, in memory order; null: not this one. */
struct ChannelRows
{
    std::uint8_t* m_apOut[3];
};

struct WideRowsForm
{
    int m_nBlendStep; // destination pixels, a multiple of sk_nWindow; 0: no blendWindows
    /** From table column nCol on, a multiple of the step; stops at nEnd, or where a window is missing. The next column.
     */
    int (*blendWindows)(std::uint8_t* pDst, const std::uint8_t* pSrc, const WindowRow& rRow, int nCol, int nEnd);

    /** columns[i] = arriving[i] + (bFirst ? 0 : columns[i]) - (leaving ? leaving[i] : 0), wrapping. */
    void (*addRow)(std::uint16_t* pColumns, const std::uint8_t* pArriving, const std::uint8_t* pLeaving, bool bFirst,
                   int n);
    /** As row_pack_op of the window sums, for sums that lie 8-byte aligned. */
    void (*packSums)(std::uint8_t* pDst, const ColumnRow& rRow, int nScale);
    /** As row_bandpass_op of the window sums. */
    void (*bandpassSums)(std::uint8_t* pDst, const std::uint8_t* pSrc, int nCentreFactor, const ColumnRow& rRow,
                         int nSumFactor);

    int m_nExtractLeast; // pixels; 0: no extract
    void (*extract)(const ChannelRows& rOut, int n, const std::uint8_t* pPacked);
};

extern const WideRowsForm g_wideRowsSse2;
extern const WideRowsForm g_wideRowsAvx2;
extern const WideRowsForm g_wideRowsAvx512;

/** Wider masks than this are summed by BoxFilter, whose cost does not depend on the mask. */
constexpr int sk_nWidestColumnMask = 16;

} // namespace kestrova
