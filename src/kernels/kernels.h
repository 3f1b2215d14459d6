// Row kernels: absolute differences, running box sums, the per-pixel minimum, sums turned into pixels.
//
// Plain functions on raw rows; they own nothing and keep no state. Three of them (acc_abs_diff, acc_abs_diff_over2,
// row_pack_op) saturate in the groups of their body and wrap in the pixels before and after it, and the label of
// stereo_min depends on the lane: where a body starts is part of the result, and disparity maps depend on it.
//
// Rows may have any alignment that their type allows. No kernel reads or writes an element outside the counts told
// here, so rows in memory of a caller need no slack. A count below 1 writes nothing. Rows must not overlap unless
// a kernel says otherwise.
#pragma once

#include "image/pixels.h"
#include "kernels/row_interpolation.h"

#include <cstdint>

namespace kestrova {

/** out[i] = abs(a[i] - b[i]). */
void abs_diff(std::uint8_t* pOut, const std::uint8_t* pA, const std::uint8_t* pB, int n);

/**
 * Adds abs(a[i] - b[i]) to acc[i]. From 16 pixels on, groups of 16 that start where acc is 16-byte aligned stop at
 * 255; all other pixels wrap.
 */
void acc_abs_diff(std::uint8_t* pAcc, const std::uint8_t* pA, const std::uint8_t* pB, int n);

/**
 * Averages abs(a[i] - b[i]) into acc[i]. From 8 pixels on, groups of 8 that start where acc is 8-byte aligned stop at
 * 255 before halving, so they end at 127 or below; all other pixels halve the full sum.
 */
void acc_abs_diff_over2(std::uint8_t* pAcc, const std::uint8_t* pA, const std::uint8_t* pB, int n);

/** out[i] = a[i] + b[i], wrapping. out may be a or b. */
void row_add(std::uint16_t* pOut, const std::uint16_t* pA, const std::uint16_t* pB, int n);

void row_copy16(std::uint16_t* pOut, const std::uint16_t* pIn, int n);

/** out[i] = start + the sum of add[j] - sub[j] for j = 0 to i, wrapping. add and sub may overlap each other. */
void box_add_sub16(std::uint16_t* pOut, unsigned uStart, const std::uint8_t* pAdd, const std::uint8_t* pSub, int n,
                   bool bSSE2);

/** out[i] = in[i] + add[i] - sub[i], wrapping. out may be in. */
void box_add_sub8ptr(std::uint16_t* pOut, const std::uint16_t* pIn, const std::uint8_t* pAdd, const std::uint8_t* pSub,
                     int n);
void box_add_sub16ptr(std::uint16_t* pOut, const std::uint16_t* pIn, const std::uint16_t* pAdd,
                      const std::uint16_t* pSub, int n);

/**
 * Box sums of w neighbouring pixels, per lane: n outputs from n + w - 1 pixels. Writes nothing unless n is at least 1
 * and at least w.
 */
void box8x4_hfilter(Pixel16x4* pOut, const Pixel8x4* pIn, unsigned n, unsigned w);

/**
 * Keeps the lowest score per pixel with its label. Strictly lower wins, so a tie keeps the earlier label.
 *
 * With bSSE2, from 8 pixels on, groups of 8 start where best is 16-byte aligned; an improvement in lanes 4 to 7 of
 * such a group stores label 0.
 */
void stereo_min(std::uint16_t* pBest, std::uint8_t* pLabel, const std::uint16_t* pScores, std::uint8_t ucNewLabel,
                int n, bool bSSE2);

/**
 * As stereo_min, and keeps the best score's neighbours in disparity: an improvement takes last[i] as before[i], and a
 * pixel whose label is newLabel - 1 takes its score as after[i]. newLabel is at least 1.
 *
 * With bSSE2, lanes 4 to 7 of a group take the score as after[i] whenever their label ends up as 0, which is also
 * the case at each of their improvements.
 */
void stereo_min_subpix(std::uint16_t* pBest, std::uint8_t* pLabel, std::uint16_t* pBefore, std::uint16_t* pAfter,
                       const std::uint16_t* pLast, const std::uint16_t* pScores, std::uint8_t ucNewLabel, int n,
                       bool bSSE2);

/**
 * dst[i] = (sums[i] * scale) >> 16, with sums read as signed and scale as a 16.16 factor. From 8 pixels on, groups of
 * 4 that start where sums is 8-byte aligned are limited to 0 to 255; all other pixels keep the low byte.
 */
void row_pack_op(std::uint8_t* pDst, int n, const std::uint16_t* pSums, int nScale);

/** As row_pack_op, but keeps the low 16 bits of every pixel. dst may be src. */
void row_scale_op(std::uint16_t* pDst, int n, const std::uint16_t* pSrc, int nScale);

/** Two rows of two or three images each, the reference first, whose differences enter and leave a window. */
struct DifferenceRows
{
    const std::uint8_t* m_apArriving[3];
    const std::uint8_t* m_apLeaving[3];
    int m_nImages;
    int m_nPixels;
    int m_nStopping; // pixels whose sum of differences stops at 255
    bool m_bLeaving; // or nothing leaves yet
    bool m_bAverage; // of both differences
};

/**
 * One way to compute all kernels. The entries above take that of the instruction set in use.
 *
 * A form gives the results of four-lane or of eight-lane groups and is otherwise free in how it gets them: a form for
 * a wider processor stands in a file of its own and takes the place of the form with the same m_bSSE2.
 */
struct KernelForm
{
    const char* m_pszName;
    bool m_bSSE2; // the results: eight-lane groups when set, four-lane groups when clear

    decltype(&kestrova::abs_diff) abs_diff;
    decltype(&kestrova::acc_abs_diff) acc_abs_diff;
    decltype(&kestrova::acc_abs_diff_over2) acc_abs_diff_over2;
    decltype(&kestrova::row_add) row_add;
    decltype(&kestrova::row_copy16) row_copy16;
    void (*box_add_sub16)(std::uint16_t*, unsigned, const std::uint8_t*, const std::uint8_t*, int);
    decltype(&kestrova::box_add_sub8ptr) box_add_sub8ptr;
    decltype(&kestrova::box_add_sub16ptr) box_add_sub16ptr;
    decltype(&kestrova::box8x4_hfilter) box8x4_hfilter;
    void (*stereo_min)(std::uint16_t*, std::uint8_t*, const std::uint16_t*, std::uint8_t, int);
    void (*stereo_min_subpix)(std::uint16_t*, std::uint8_t*, std::uint16_t*, std::uint16_t*, const std::uint16_t*,
                              const std::uint16_t*, std::uint8_t, int);
    decltype(&kestrova::row_pack_op) row_pack_op;
    decltype(&kestrova::row_scale_op) row_scale_op;
    decltype(&kestrova::row_interpolation) row_interpolation;
    /** Sums of all changes up to each pixel; false, and nothing is done, for rows that are too short. May be null. */
    bool (*running_differences)(std::uint16_t*, const DifferenceRows&);
};

/** The form of the instruction set in use, by the results wanted. */
[[nodiscard]] const KernelForm& kernelForm(bool bSSE2);

} // namespace kestrova
