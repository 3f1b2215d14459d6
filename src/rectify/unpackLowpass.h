// Lowpass and rectification of packed frames: of the colour pixels themselves, or of each channel with its own camera.
//
// The packed form is for colour output and always bilinear. The three cameras of a set use the plane form.
#pragma once

#include "image/Image.h"
#include "rectify/lowpass.h"

#include <array>

namespace kestrova {

class Camera;
class Warper;

/** The fourth lane of the result is 0. False, and dst as it was, if the camera has no such warper. */
[[nodiscard]] bool unpackLowpassRectify(Image<Pixel8x4>& rDst, Camera& rCamera, const Image<Pixel8x4>& rSrc,
                                        unsigned uMaskRows, unsigned uMaskCols);
/** The same with a warper, whose stride is that of src if there is nothing to filter, else of an own image. */
void unpackLowpassRectify(Image<Pixel8x4>& rDst, const Warper& rWarper, double dGain, const Image<Pixel8x4>& rSrc,
                          unsigned uMaskRows, unsigned uMaskCols);

/** A channel's image and its camera. */
struct PlaneTarget
{
    Image<unsigned char>& m_rDst;
    Camera& m_rCamera;
};

/** Red, green and blue channel, each with its camera. False if a camera has no such warper. */
[[nodiscard]] bool unpackLowpassRectify(const std::array<PlaneTarget, 3>& rTargets, const Image<Pixel8x4>& rSrc,
                                        const Rectification& rHow);

} // namespace kestrova
