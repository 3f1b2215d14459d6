// Whole rows of the fast correlator: what the forms for wider registers take and give.
//
// Column sums stand in a table, one per column and disparity, and window sums run along the row in registers, so no
// history of differences is kept: what a row added is worked out again when it leaves. Lanes here are disparity
// indices from 0 on; a texture lane is no lane of the table but a row of its own, and joins when the winner is known.
//
// Plain data and function pointers only. A form is compiled for a processor of its own: what it includes must not
// define anything that another form could be linked to.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kestrova {

constexpr int sk_nChunk = 64;      // columns whose window sums are kept at a time
constexpr int sk_nMaskWord = 64;   // lanes to a word of comparison bits
constexpr int sk_nLaneSlack = 128; // lanes that may be read, never used, on either side of rows and window sums

/** Columns up to an end in which as many lanes hold sums; all others count as 0xFFFF. */
struct ColumnRange
{
    int m_nEnd;
    int m_nLanes;
};

/** The pixels that a row of windows gains, and those that it loses; none as long as no row leaves. */
struct PixelRows
{
    const std::uint8_t* m_pReference;
    const std::uint8_t* m_pSearch;
    const std::uint8_t* m_pReferenceLeaving;
    const std::uint8_t* m_pSearchLeaving;
};

// A seed that no sum can beat, not even a 0.
constexpr std::uint32_t sk_uRejectedSeed = 0x80000000U;

constexpr std::uint16_t sk_uNotLowest = 0x100;

/** How the lane of a pixel becomes a label. Lane numbers count a texture lane. */
struct LabelRow
{
    const std::uint16_t* m_pLabels; // by lane, with a mark where some higher lane has a lower label
    const std::uint32_t* m_pSeeds;  // what lane 0 competes as, with bits for lane 1 above 16; null: no such lane
    int m_nGroup;                   // lane positions that decide ties: 8 or 4
    std::uint8_t* m_pOut;
};

/** The row as a fit needs it. Sums carry the form's bias. */
struct NeighbourRow
{
    std::uint16_t* m_pLanes;
    std::uint64_t* m_pSums; // from the lane in front of the best on, the first in the lowest bits
};

/** The best match of every search column so far: its sum, and the reference column that it lies in. */
struct InverseSearch
{
    std::uint16_t* m_pBest;
    std::uint16_t* m_pColumn;
    int m_nCandidates; // disparities that take part, none in a range of one; below 0: no search at all
};

struct WholeRow
{
    // The whole call.
    int m_nMask;
    int m_nWidth;
    int m_nLanes;
    int m_nVectors; // of a column
    std::uint16_t m_uStart;
    const ColumnRange* m_pRanges; // in ascending order, the last ends with the row
    int m_nRanges;
    // Pixels in pairs, entering and leaving side by side: reference pairs twice, for a broadcast of 32 bits.
    std::uint32_t* m_pReferencePairs;
    std::uint16_t* m_pSearchPairs;
    // Kept from row to row.
    std::uint16_t* m_pColumnSums;
    // Scratch.
    std::uint16_t* m_pRunning;
    std::uint16_t* m_pWindows; // sk_nChunk columns
    int m_nWindowStride;       // lanes; with an inverse search a vector of 0xFFFF lies before each column
    std::uint16_t* m_pMinima;
    InverseSearch m_inverse;
};

/** What the fit of a row needs beside the neighbours. Lane numbers count a texture lane. */
struct FitRow
{
    NeighbourRow m_neighbours;
    const std::uint16_t* m_pTexture; // null: no texture lane
    const std::uint8_t* m_pInverse;  // of each pixel's match; null: no back-forth check
    int m_nCount;
    unsigned m_uMinDisparity;
    unsigned m_uOffset;
    unsigned m_uLastLane;
    std::uint32_t m_uScale; // of the texture measure, in 1/4096
    std::uint32_t m_uLeast; // scaled measure below which texture is too weak
    std::uint8_t m_ucTextureMapping;
    std::uint8_t m_ucUniquenessMapping;
    std::uint8_t m_ucBackForthMapping;
    std::uint8_t m_ucSubpixelMapping;
};

/** One way to work out whole rows. */
struct WholeRowForm
{
    int m_nVectorLanes;
    /** Pairs the pixels of a row: m_nWidth of the reference, nSearch of the search row. */
    void (*pair)(const WholeRow& rRow, const PixelRows& rPixels, int nSearch);
    /** Adds the paired pixels to the column sums. */
    void (*add)(const WholeRow& rRow);
    /** The same, with all window sums of the row, their best lanes, and the inverse search. */
    void (*findLabels)(const WholeRow& rRow, const LabelRow& rLabels);
    void (*findNeighbours)(const WholeRow& rRow, const NeighbourRow& rNeighbours);
    /** The disparity index, plus nFirst, of the best match of each of nCount search columns. */
    void (*invert)(std::uint8_t* pOut, const WholeRow& rRow, int nCount, int nFirst);
    void (*fit)(std::uint16_t* pOut, const FitRow& rFit);
    /** Window sums of nCount columns, uStart more each. Up to 7 columns behind the last are read and written. */
    void (*sumWindows)(std::uint16_t* pOut, const std::uint16_t* pColumns, int nMask, unsigned uStart, int nCount);
};

// Wider sets take it too: it waits for its own results, not for width.
void sumWindowsSse2(std::uint16_t* pOut, const std::uint16_t* pColumns, int nMask, unsigned uStart, int nCount);

extern const WholeRowForm g_wholeRowSse2;
extern const WholeRowForm g_wholeRowAvx2;
extern const WholeRowForm g_wholeRowAvx512;
} // namespace kestrova
