// Rectified colour of one camera, which lines up with that camera's rectified image.
//
// All three channels of the frame belong to the one camera here, unlike in preprocessing. On the caller's thread.
#pragma once

#include "kestrova.h"

namespace kestrova {

class Camera;
class StereoContext;

/** The camera that a name stands for in colour work: the colour camera itself, not the slot that stands in for it. */
[[nodiscard]] Camera* colourWorkCamera(const StereoContext& rContext, KestrovaCamera eCamera, int nCamera);

/** Rectifies the three planes of a frame into the planes of the camera's slot. Codes as kestrovaRectifyColorImage. */
[[nodiscard]] KestrovaError rectifyColorPlanes(StereoContext* pContext, KestrovaCamera eCamera,
                                               const KestrovaInput* pInput);

/** Rectifies a packed frame into the packed image of the slot. Codes as kestrovaRectifyPackedColorImage. */
[[nodiscard]] KestrovaError rectifyPackedColor(StereoContext* pContext, KestrovaCamera eCamera,
                                               const KestrovaInput* pInput);

} // namespace kestrova
