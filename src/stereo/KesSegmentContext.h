// Cuts a disparity image into regions of connected pixels with smoothly varying values, and rejects the small ones.
//
// One raster pass cuts rows into runs of connected pixels, gives them provisional labels and notes in a table which of
// those turned out to be one region; a pass over the table then sums the sizes, and one over the runs rejects. Pixels
// are looked at once, 64 at a time, as bits. The tables stay with the object: frames after the first allocate nothing.
//
// Label 0 is the background, and a region that joins it is never rejected, whatever its size. A pixel joins it by
// having nearly the value of a neighbour outside the range, or of one that the pass does not label: see the two forms.
#pragma once

#include "image/Image.h"
#include "stereo/KesUIntVector.h"
#include "stereo/surface_bits.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <vector>

namespace kestrova {

/** Largest and latest number of labels of any pass in the process, for a look from a debugger. */
extern std::atomic<unsigned> g_nPeakTableSize;
extern std::atomic<unsigned> g_nLastTableSize;

class KesSegmentContext
{
public:
    /** Step to a neighbour. */
    struct Increment
    {
        std::int32_t m_nCol;
        std::int32_t m_nRow;
    };

    // The neighbours that a raster scan has passed. They document the two usual rules; regions connect by the second.
    static constexpr std::array<Increment, 4> m_g8ConnectedNeighIncs = {{{-1, 0}, {0, -1}, {-1, -1}, {1, -1}}};
    static constexpr std::array<Increment, 2> m_g4ConnectedNeighIncs = {{{-1, 0}, {0, -1}}};

    KesSegmentContext();
    virtual ~KesSegmentContext() = default;

    /**
     * Values from ucMinValue to ucMaxValue take part; neighbours connect when they differ by dDifference or less, which
     * is rounded. Pixels of regions with fewer than uMinSize pixels become ucInvalid.
     *
     * Column 0 counts down the image by itself, below the corner. Its pixels are never rejected there, and what
     * connects to one of them from column 1 is background.
     *
     * @return the number of labels marked as rejected
     */
    unsigned SegmentIntoRegions(Image<unsigned char>& rImage, double dDifference, std::uint8_t ucMinValue,
                                std::uint8_t ucMaxValue, unsigned uMinSize, std::uint8_t ucInvalid);

    /**
     * As above for values in 1/256, with the difference in whole units; values below 0xFF00 take part. A margin of half
     * of uBorder, rounded up and at least 1, is neither labelled nor changed; what connects to it is background.
     */
    unsigned SegmentIntoRegions(Image<unsigned short>& rImage, double dDifference, unsigned uMinSize,
                                std::uint16_t uInvalid, unsigned uBorder);

    /**
     * Sums the sizes of labels that are one region. Afterwards the table holds 0 for each label of a region of at least
     * uMinSize pixels or of the background, and something else for the others.
     *
     * @return the number of labels below uMinSize. Labels of the background are among them when it is that small.
     */
    static unsigned compressLabels(KesUIntVector& rTable, KesUIntVector& rSizes, unsigned uMinSize);

    /** Result of the last segmentation. */
    [[nodiscard]] unsigned regionCount() const { return m_nRegionCount; }

private:
    class Pass;

    /** Pixels of a row that connect side by side. */
    struct Run
    {
        int m_nRow;
        int m_nBegin;
        int m_nEnd;
        unsigned m_nLabel;
    };

    /** 64 pixels of the row above: which have a label, and where runs begin. */
    struct UpperRow
    {
        std::uint64_t m_uValid = 0;
        std::uint64_t m_uStarts = 0;
    };

    template<typename T>
    unsigned reject(Pass& rPass, Image<T>& rImage, unsigned uMinSize, T invalid);

    unsigned m_nRegionCount = 0;
    KesUIntVector m_labelTable; // for each label the one it was merged into, itself for a root
    KesUIntVector m_sizeTable;  // pixels of each label
    std::vector<Run> m_runs;
    std::vector<SurfaceBits> m_bits;
    std::vector<UpperRow> m_upperRow;
};

} // namespace kestrova
