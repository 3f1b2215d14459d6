// The two passes over a frame that the general correlator makes for one disparity.
//
// The views are cut by the caller so that pixel (r, c) of all of them belongs together for this disparity; view 0 is
// the reference. The score of a pixel is the m by m sum of the differences of all other views from it. The differences
// of further views are added and stop at 255 in masks of up to 15, and are averaged in larger ones.
#pragma once

#include "image/Image.h"
#include "kernels/BoxFilter.h"

namespace kestrova {

/** The rows that a pass works in. A loop over disparities makes them once, as wide as its widest views. */
struct PassRows
{
    /** rDim bounds the views of every pass. */
    explicit PassRows(const ImageDim& rDim);

    Image<unsigned char> m_differences; // one row of storage each
    Image<unsigned short> m_scores;
    BoxFilter m_box;
};

/** Scores of the first disparity into rScore. Does nothing if K is below 2, views is null or m is 0. */
void stereoFirstStep(Image<unsigned short>& rScore, const Image<unsigned char>* pViews, int K, unsigned m);

/** What a pixel keeps of the disparities so far. The last three serve the fit; without it they stay untouched. */
struct RunningMinimum
{
    Image<unsigned short> m_best;
    Image<unsigned char> m_label;
    Image<unsigned short> m_before;
    Image<unsigned short> m_after;
    Image<unsigned short> m_last; // the scores of the latest disparity
};

/** One disparity: the views as they are cut for it, the first so many of the three, and what a better pixel shows. */
struct DisparityViews
{
    const Image<unsigned char>* m_pViews; // borrowed
    int m_nViews;
    unsigned m_uMask;
    unsigned char m_ucLabel;
};

/**
 * Scores of a further disparity, merged into best and label. With bSubpixel before, after and last are kept as
 * well, and last receives the new scores. Does nothing if there are no views or the mask is 0; views 0 and 1 are
 * compared in any case. Disparities come in ascending order: a tie keeps the lower one.
 *
 * The rows are the caller's: the first pass with some mask allocates the filter's ring, others nothing.
 */
void stereoStep(PassRows& rRows, RunningMinimum& rMinimum, const DisparityViews& rViews, bool bSubpixel);

/** The same as a list, in rows of its own. Nothing in the library calls it. */
void stereoStep(Image<unsigned short>& rBest, Image<unsigned char>& rLabel, Image<unsigned short>& rBefore,
                Image<unsigned short>& rAfter, Image<unsigned short>& rLast, const Image<unsigned char>* pViews, int K,
                unsigned m, unsigned char ucNewLabel, bool bSubpixel);

} // namespace kestrova
