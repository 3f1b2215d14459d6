// Lowpass and rectification with lists of parameters in place of records, for programs that link against these names.
// Nothing in the library calls them. The forms of that kind that belong to a class stand in it: Camera::getWarper,
// WarperList::buildWarper, Warper::build and the fused Warper::warp, and the two buildWarper3Maps.
#pragma once

#include "image/Image.h"
#include "rectify/KernelType.h"

namespace kestrova {

class Camera;
class Warper;

/** lowpassRectify with its Rectification as a list. */
[[nodiscard]] bool lowpassRectify(Image<unsigned char>& rDst, Camera& rCamera, const Image<unsigned char>& rSrc,
                                  unsigned uMaskRows, unsigned uMaskCols, int nRowOffset, int nColOffset,
                                  KernelType eKernelType, int nKernelSize);

/** unpackLowpassRectify with its targets and its Rectification as a list: red, green and blue to a, b and c. */
[[nodiscard]] bool unpackLowpassRectify(Image<unsigned char>& rA, Camera& rCameraA, Image<unsigned char>& rB,
                                        Camera& rCameraB, Image<unsigned char>& rC, Camera& rCameraC,
                                        const Image<Pixel8x4>& rSrc, unsigned uMaskRows, unsigned uMaskCols,
                                        int nRowOffset, int nColOffset, KernelType eKernelType, int nKernelSize);
/** The same with the cameras' current warpers, which must stand, and their gains narrowed to float. */
void unpackLowpassRectify(Image<unsigned char>& rA, const Camera& rCameraA, Image<unsigned char>& rB,
                          const Camera& rCameraB, Image<unsigned char>& rC, const Camera& rCameraC,
                          const Image<Pixel8x4>& rSrc, unsigned uMaskRows, unsigned uMaskCols);
/** The same with warpers; raw planes and temporaries are allocated. */
void unpackLowpassRectify(Image<unsigned char>& rA, const Warper& rWarperA, float fGainA, Image<unsigned char>& rB,
                          const Warper& rWarperB, float fGainB, Image<unsigned char>& rC, const Warper& rWarperC,
                          float fGainC, const Image<Pixel8x4>& rSrc, unsigned uMaskRows, unsigned uMaskCols);
/** The same into raw planes of the caller. */
void unpackLowpassRectify(Image<unsigned char>& rA, const Warper& rWarperA, float fGainA, Image<unsigned char>& rARaw,
                          Image<unsigned char>& rB, const Warper& rWarperB, float fGainB, Image<unsigned char>& rBRaw,
                          Image<unsigned char>& rC, const Warper& rWarperC, float fGainC, Image<unsigned char>& rCRaw,
                          const Image<Pixel8x4>& rSrc, unsigned uMaskRows, unsigned uMaskCols);
/** The same with temporaries of the caller as well. */
void unpackLowpassRectify(Image<unsigned char>& rA, const Warper& rWarperA, float fGainA, Image<unsigned char>& rARaw,
                          Image<unsigned char>& rATmp, Image<unsigned char>& rB, const Warper& rWarperB, float fGainB,
                          Image<unsigned char>& rBRaw, Image<unsigned char>& rBTmp, Image<unsigned char>& rC,
                          const Warper& rWarperC, float fGainC, Image<unsigned char>& rCRaw,
                          Image<unsigned char>& rCTmp, const Image<Pixel8x4>& rSrc, unsigned uMaskRows,
                          unsigned uMaskCols);

} // namespace kestrova
