// Window sums of the general correlator for all disparities of one row, taken on from row to row.
//
// A sum changes by what its row of pixels brings and by what the row that leaves takes with it. Both are differences
// that are worked out from the images, so no history is kept: one table of sums, a row for each view, which stays in
// the cache while the image goes by.
#pragma once

#include "image/Image.h"
#include "stereo/Scratch.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace kestrova {

/** Images as they are cut for one disparity, and the sums of the latest row of windows in them. */
struct SummedView
{
    static constexpr std::size_t sk_uMost = 3; // images
    struct Source
    {
        const std::uint8_t* m_pPixels;
        std::ptrdiff_t m_nRowDistance;
    };

    std::array<Source, sk_uMost> m_aSources; // the reference first
    int m_nSources;
    int m_nRows; // of the cut, as columns
    int m_nCols;
    int m_nSumRows; // of complete windows that are of use
    int m_nSumCols;
    std::uint16_t* m_pSums; // one for each window of the row; the next view's lie behind it
};

struct DifferenceRows;
struct KernelForm;

class ViewSums
{
public:
    /** Rows to work in, for windows of m by m in views of up to nCols columns. */
    template<typename Taker>
    void take(Taker& rTaker, int nCols)
    {
        m_pArriving = rTaker.template take<std::uint8_t>(padded(nCols));
        m_pLeaving = rTaker.template take<std::uint8_t>(padded(nCols));
        m_pNone = rTaker.template take<std::uint8_t>(padded(nCols));
        m_pRunning = rTaker.template take<std::uint16_t>(sk_nPadding + padded(nCols));
    }

    /** Room for a row of n values which may be worked on in whole registers. */
    [[nodiscard]] static constexpr std::size_t padded(int n) { return static_cast<std::size_t>(n + sk_nPadding); }

    /** Before the first row, once all memory is there. */
    void reset(int nMask, int nCols, bool bSSE2);
    void clear(SummedView& rView) const;

    /** Takes the sums from row nRow - 1 to row nRow. Complete windows are there from row mask - 1 on. */
    void add(SummedView& rView, int nRow) const;

private:
    static constexpr int sk_nPadding = 64;

    const std::uint8_t* differences(std::uint8_t* pOut, const SummedView& rView, int nRow) const;

    [[nodiscard]] DifferenceRows rows(const SummedView& rView, int nRow) const;

    int m_nMask = 1;
    const KernelForm* m_pKernels = nullptr;
    std::uint8_t* m_pArriving = nullptr;
    std::uint8_t* m_pLeaving = nullptr;
    std::uint8_t* m_pNone = nullptr;
    std::uint16_t* m_pRunning = nullptr; // changes of all columns in front; starts at a zero
};

} // namespace kestrova
