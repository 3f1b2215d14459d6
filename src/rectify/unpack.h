// Packed frames taken apart into 8-bit planes. A packed frame carries one camera per channel.
//
// Nothing is read or written outside the pixels named here, so both sides may lie in memory of a caller.
#pragma once

#include "image/Image.h"

namespace kestrova {

/** One channel of n packed pixels. */
void extract_red(unsigned char* pDst, int n, const unsigned char* pPacked);
void extract_grn(unsigned char* pDst, int n, const unsigned char* pPacked);
void extract_blu(unsigned char* pDst, int n, const unsigned char* pPacked);
/** All three channels at once; a row of fewer than 8 pixels is left untouched. */
void extract_rgb(unsigned char* pRed, unsigned char* pGreen, unsigned char* pBlue, int n, const unsigned char* pPacked);

/** All planes, over the size of the red one. Images of fewer than 8 columns stay as they are. */
void unpackRGB(Image<unsigned char>& rRed, Image<unsigned char>& rGreen, Image<unsigned char>& rBlue,
               const Image<Pixel8x4>& rPacked);
/** Red and green only, over the size of the red one; any width. */
void unpack32Bit2Cam(Image<unsigned char>& rRed, Image<unsigned char>& rGreen, const Image<Pixel8x4>& rPacked);
/** The planes whose entry is set, in the order red, green, blue, over the size of the packed image; any width. */
void unpack32Bit(const bool* pbNeeded, Image<unsigned char>* const* ppPlanes, const Image<Pixel8x4>& rPacked);

} // namespace kestrova
