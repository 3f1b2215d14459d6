// How one call of a fast correlator lays out its lanes: sizes and bounds only, worked out once, shared by all forms.
//
// A column of window sums has one lane per disparity, in whole groups. Lanes are summed in steps of eight (four at an
// odd end); where the highest disparity of a step has no window left in the search row, the whole step counts as
// 0xFFFF, so that it loses every comparison.
#pragma once

#include "image/Image.h"

#include <cstdint>
#include <optional>

namespace kestrova {

/** How a form of the correlator uses the lanes. */
struct LaneUse
{
    bool m_bTextureLane;    // lane 0 holds the texture measure, disparities begin at lane 1
    std::uint16_t m_uStart; // every lane before the first row; with 1 no lane ever holds a true 0
    unsigned m_uMost;       // disparities that fit
};

/** Lanes that are summed together: the first of them, how many, and for how many columns. */
struct LaneStep
{
    int m_nFirst;
    int m_nLanes;
    int m_nColumns;
};

class ColumnLayout
{
public:
    /**
     * None when the views do not suit each other, the mask or the output, or hold no group of lanes. Reads the SSE2
     * switch.
     */
    [[nodiscard]] static std::optional<ColumnLayout> make(const ImageDim& rOut, const ImageDim& rReference,
                                                          const ImageDim& rSearch, unsigned n, unsigned m,
                                                          const LaneUse& rUse);

    [[nodiscard]] int width() const { return m_reference.m_nCols; }
    [[nodiscard]] int searchWidth() const { return m_search.m_nCols; }
    [[nodiscard]] int nRows() const { return m_reference.m_nRows; }
    [[nodiscard]] int mask() const { return m_nMask; }
    [[nodiscard]] const LaneUse& use() const { return m_use; }
    /** Output pixels of a row. */
    [[nodiscard]] int nCount() const { return width() + 1 - m_nMask; }
    /** Search columns that the back-forth check looks back from. */
    [[nodiscard]] int nInverse() const { return width() - (m_nMask - 1) / 2; }
    /** Groups of a column: of 8 lanes with bSSE2, of 4 without. */
    [[nodiscard]] int nGroups() const { return m_nGroups; }
    /** Lanes of a column / 4. */
    [[nodiscard]] int nStride() const { return m_bSSE2 ? 2 * m_nGroups : m_nGroups; }
    [[nodiscard]] int nLanes() const { return nStride() * 4; }
    [[nodiscard]] bool bSSE2() const { return m_bSSE2; }
    /** The last lane that a result may come from; a search row too short for the range cuts it. */
    [[nodiscard]] unsigned lastLane() const { return m_uLastLane; }
    /** The step that begins at a lane. */
    [[nodiscard]] LaneStep step(int nFirstLane) const;

private:
    ColumnLayout(const ImageDim& rReference, const ImageDim& rSearch, int nMask, const LaneUse& rUse, bool bSSE2);
    void groupLanes(int nLanes);

    ImageDim m_reference;
    ImageDim m_search;
    LaneUse m_use;
    int m_nMask;
    bool m_bSSE2;
    int m_nGroups = 0;
    unsigned m_uLastLane = 0;
};

} // namespace kestrova
