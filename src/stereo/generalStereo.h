// The correlator of the L set and of the vertical pair, as the run control calls it: one region of one frame.
//
// Of each pixel it keeps the best score with its label, disparities in ascending order. It searches all of them row by
// row; a pass over the region for each disparity, with working images as large as the frame, is the plain way that the
// results are held to. The frame was cleared before: what no disparity reaches keeps the fill.
#pragma once

#include "image/Image.h"
#include "kestrova.h"

namespace kestrova {

class StereoContext;

/**
 * Correlates pStereoImages[0], the reference, with the K - 1 images after it into the region's part of the 8-bit or
 * 16-bit disparity image. Only rows of that part are written, so disjoint regions may run side by side.
 *
 * In the L set image 1 is the camera displaced along rows and image 2 the one displaced along columns; both vote in one
 * window. A pair has the one camera of its configuration.
 *
 * @param rRegion  any rectangle. Only the images clip it: there is no border for the edge filter. Its corner limits the
 *                 range, since the highest disparity has to leave room for a window behind it; a band low in the frame
 *                 may thus search less than the frame as a whole, and its last searched disparity is a rim.
 * @param K        2 or 3
 * @return KestrovaErrorOk, also when not even the lowest disparity has room, or when the images are smaller than the
 *         context's frame, and nothing is written;
 *         KestrovaErrorInvalidROI  no room for a window at some disparity of the range; nothing is written;
 *         KestrovaErrorUnknown     no such configuration or number of cameras.
 */
KestrovaError generalStereo(StereoContext& rContext, const KestrovaROI& rRegion,
                            const Image<unsigned char>* pStereoImages, int K);

} // namespace kestrova
