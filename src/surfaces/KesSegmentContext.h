// Cuts a disparity image into regions of connected pixels with smoothly varying values, and rejects the small ones.
//
// One raster pass gives provisional labels and notes in a table which of them turned out to be one region; a pass over
// the table then sums the sizes, and one over the pixels rejects. The plain instruction set labels pixel by pixel, the
// others by runs: labels, tables and results are the same. The tables stay with the object: frames after the first
// allocate nothing.
//
// Label 0 is the background, and a region that joins it is never rejected, whatever its size. A pixel joins it by
// having nearly the value of a neighbour outside the range, or of one that the pass does not label: see the two forms.
#pragma once

#include "image/Image.h"
#include "surfaces/KesUIntVector.h"
#include "surfaces/SurfaceRuns.h"
#include "surfaces/SurfaceTables.h"

#include <array>
#include <atomic>
#include <cstdint>

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
     * @param rLabels  as large as the image; receives the labels as they were before any two became one, 0 for
     *                 background, for pixels that do not take part, and for column 0 below the corner
     * @return the number of labels marked as rejected
     */
    unsigned SegmentIntoRegions(Image<unsigned char>& rImage, Image<unsigned int>& rLabels, double dDifference,
                                std::uint8_t ucMinValue, std::uint8_t ucMaxValue, unsigned uMinSize,
                                std::uint8_t ucInvalid);

    /**
     * As above for values in 1/256, with the difference in whole units; values below 0xFF00 take part. A margin of half
     * of uBorder, rounded up and at least 1, is neither labelled nor changed; what connects to it is background.
     */
    unsigned SegmentIntoRegions(Image<unsigned short>& rImage, Image<unsigned int>& rLabels, double dDifference,
                                unsigned uMinSize, std::uint16_t uInvalid, unsigned uBorder);

    /**
     * Sums the sizes of labels that are one region. Afterwards the table holds 0 for each label of a region of at least
     * uMinSize pixels or of the background, and something else for the others.
     *
     * @return the number of labels below uMinSize. Labels of the background are among them when it is that small.
     */
    static unsigned compressLabels(KesUIntVector& rTable, KesUIntVector& rSizes, unsigned uMinSize);

    /** Result of the last segmentation. */
    [[nodiscard]] unsigned regionCount() const { return m_nRegionCount; }
    /** For each label of the last segmentation what compressLabels left. */
    [[nodiscard]] const KesUIntVector& labelTable() const { return m_labelTable; }
    [[nodiscard]] const KesUIntVector& sizeTable() const { return m_sizeTable; }
    /** Kept for the next frame beside the label image, in bytes. */
    [[nodiscard]] std::size_t bytes() const;

private:
    /** Rows and columns whose pixels look at their left and their upper neighbours. */
    template<typename T>
    void label(const Image<T>& rImage, Image<unsigned int>& rLabels, const ImageROI& rInner,
               const SurfaceRange<T>& rRange, SurfaceTables& rTables);
    template<typename T>
    void labelByRuns(const Image<T>& rImage, Image<unsigned int>& rLabels, const ImageROI& rInner,
                     const SurfaceRange<T>& rRange, SurfaceTables& rTables);
    template<typename T>
    void rejectMarked(Image<T>& rImage, const Image<unsigned int>& rLabels, const ImageROI& rInner, T invalid);
    unsigned compress(SurfaceTables& rTables, unsigned uMinSize);

    unsigned m_nRegionCount = 0;
    KesUIntVector m_labelTable; // for each label the one it was merged into, itself for a root
    KesUIntVector m_sizeTable;  // pixels of each label
    SurfaceRuns m_runs;
    bool m_bByRuns = false; // the form of the pass at work
};

} // namespace kestrova
