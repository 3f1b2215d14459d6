// Lowpass and rectification of packed frames: of the colour pixels themselves, or of each channel with its own camera.
//
// The packed form is for colour output and always bilinear. The three cameras of a set use the plane forms.
#pragma once

#include "image/Image.h"
#include "rectify/KernelType.h"

namespace kestrova {

class Camera;
class Warper;

/** The fourth lane of the result is 0. False, and dst as it was, if the camera has no such warper. */
[[nodiscard]] bool unpackLowpassRectify(Image<Pixel8x4>& rDst, Camera& rCamera, const Image<Pixel8x4>& rSrc,
                                        unsigned uMaskRows, unsigned uMaskCols);
/** The same with a warper, whose stride is that of src if there is nothing to filter, else of an own image. */
void unpackLowpassRectify(Image<Pixel8x4>& rDst, const Warper& rWarper, double dGain, const Image<Pixel8x4>& rSrc,
                          unsigned uMaskRows, unsigned uMaskCols);

/** Red, green and blue channel to a, b and c, each with its camera. False if a camera has no such warper. */
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
