// The correlator of the horizontal pair, as the run control calls it: one region of one frame.
//
// It crops the images to the region, builds the table that turns disparity indices into labels, and hands both to the
// form of the correlator that the settings ask for. The frame was cleared before: what no form reaches keeps the fill.
#pragma once

#include "image/Image.h"
#include "kestrova.h"

namespace kestrova {

class StereoContext;

/** Gives both disparity images the context's size and fills them with the subpixel code. */
void clearDisparityImages(StereoContext& rContext);

/**
 * Correlates pStereoImages[0], the reference, with pStereoImages[1] into the region's part of the 8-bit or 16-bit
 * disparity image. Only that part is written, so regions that are disjoint once clipped may run side by side.
 *
 * @param rRegion  any rectangle of the frame. It is clipped to the pixels whose window lies in the images for the first
 *                 disparity of the range at least; its height and width count from the clipped corner.
 * @return KestrovaErrorOk. A region that clips to nothing, or images that do not cover it, write nothing.
 */
KestrovaError twoCameraStereo(StereoContext& rContext, const KestrovaROI& rRegion,
                              const Image<unsigned char>* pStereoImages);

} // namespace kestrova
