// Box average, gain and rectification of one grey image as a single operation.
//
// Stereo runs at a lower resolution than cameras deliver; sampling the frame by table alone would alias. The average of
// an even box leans up and left: in a 2 by 2 box, pixel (r, c) is the mean of (r - 1, c - 1) to (r, c). Nothing shifts
// it back. Where the warp reaches the rim of the raw image, which no box reaches, the result is black.
#pragma once

#include "image/Image.h"
#include "rectify/KernelType.h"

namespace kestrova {

class Camera;
class Warper;

/** A mask of 0 is automatic: as large as the reduction, rounded up. */
[[nodiscard]] unsigned resolveMask(unsigned uMask, int nSource, int nDestination);

/** An image for a lowpass to write into, of the size and all black; throws std::bad_alloc, also for absurd sizes. */
template<typename T>
[[nodiscard]] Image<T> blackScratch(const ImageDim& rSize);

/** Replaces an image of another size by a black one; memory of a caller goes out of use then. */
template<typename T>
void giveSize(Image<T>& rImage, const ImageDim& rSize)
{
    if (rImage.size() != rSize) {
        rImage = blackScratch<T>(rSize);
    }
}

/**
 * The core. tmp has the size of src and is written only if there is something to filter: with one-pixel masks and a
 * gain of 1 the warp reads src itself. The warper's stride is that of the image that it reads.
 *
 * Masks that do not fit into src blacken tmp, and with it dst.
 */
void lowpassRectify(Image<unsigned char>& rDst, const Warper& rWarper, double dGain, const Image<unsigned char>& rSrc,
                    unsigned uMaskRows, unsigned uMaskCols, Image<unsigned char>& rTmp);

/** What a camera's image is averaged over, and the warper that rectifies it, but for sizes. */
struct Rectification
{
    unsigned m_uMaskRows; // 0: automatic
    unsigned m_uMaskCols;
    int m_nRowOffset; // hundredths of a pixel
    int m_nColOffset;
    KernelType m_eKernelType;
    int m_nKernelSize;
};

/** As above with the camera's warper and gain. False, and dst as it was, if the camera has no such warper. */
[[nodiscard]] bool lowpassRectify(Image<unsigned char>& rDst, Camera& rCamera, const Image<unsigned char>& rSrc,
                                  const Rectification& rHow);

/** The core without averaging. */
void rectify(Image<unsigned char>& rDst, const Warper& rWarper, double dGain, const Image<unsigned char>& rSrc);

} // namespace kestrova
