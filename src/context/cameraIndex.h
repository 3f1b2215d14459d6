// Camera indices: the slot, 0 to 2, of a camera in every per-camera array of a context, and the roles of the slots.
//
// Slots are never addressed by a KestrovaCamera itself; index 0 is the right camera, the reference, for every product.
#pragma once

#include "context/StereoContext.h"

namespace kestrova {

/** Slot of a camera, or -1 for one that the product does not have. The colour camera counts as the reference. */
[[nodiscard]] int getCameraIndex(KestrovaCamera eCamera, const StereoContext* pContext);

[[nodiscard]] bool isRightCam(const StereoContext* pContext, int nCamera);
[[nodiscard]] bool isLeftCam(const StereoContext* pContext, int nCamera);
[[nodiscard]] bool isTopCam(const StereoContext* pContext, int nCamera);

/** Sets, for each of three slots, whether the configuration of the context uses that camera's images. */
void determineRequiredImages(const StereoContext* pContext, bool* pbRequired);

} // namespace kestrova
