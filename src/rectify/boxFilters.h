// Box filters of whole 8-bit images: the plain average, and the band-pass that edge images are made of.
#pragma once

#include "image/Image.h"

namespace kestrova {

/** Average over a size by size box. dst has (size - 1) fewer rows and columns than src. */
void boxFilter(Image<unsigned char>& rDst, const Image<unsigned char>& rSrc, unsigned uSize);

/**
 * 128 plus half the difference between the box mean and the pixel, times gain: a pixel darker than its surroundings is
 * above 128. dst has (mask - 1) fewer rows and columns than src and lines up with the centres of the boxes. Masks of
 * one pixel give 128 throughout. Sums of a box stay below 32768, as they do up to 11 by 11.
 */
void boxEdgeFilter(Image<unsigned char>& rDst, const Image<unsigned char>& rSrc, unsigned uMaskRows, unsigned uMaskCols,
                   double dGain);
void boxEdgeFilter(Image<unsigned char>& rDst, const Image<unsigned char>& rSrc, unsigned uSize, double dGain);

/** The edge image of a rectified image of the same size; 128 where the mask does not reach. */
void edgeImage(Image<unsigned char>& rEdge, const Image<unsigned char>& rRectified, int nMaskSize);

/**
 * dst[i] = ((src[i] * centreFactor) >> 16) + ((sums[i] * sumFactor) >> 16) + 128.
 *
 * Of rows of 8 pixels and more, groups of 4 that end where dst is 4-byte aligned stop at 0 and 255 and see only the low
 * 16 bits of the factors; all other pixels wrap and see all of them.
 */
void row_bandpass_op(unsigned char* pDst, int n, const unsigned char* pSrc, int nCentreFactor, const short* pSums,
                     int nSumFactor);

} // namespace kestrova
