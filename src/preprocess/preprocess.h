// From a raw frame to what correlation needs: per camera a raw, a rectified and an edge image.
//
// All on the caller's thread, before the worker pool sees the frame.
#pragma once

#include "kestrova.h"

namespace kestrova {

class StereoContext;

/** Whether type, size and row increment describe a frame; planes are not looked at. */
[[nodiscard]] bool describesFrame(const KestrovaInput& rInput);

/**
 * Preprocesses one frame. On an error nothing is rolled back.
 *
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext    no context;
 *         KestrovaErrorInvalidSetting    a type, size or row increment that describes no frame;
 *         KestrovaErrorInvalidParameter  no input, no pixels for a camera in use, or, with rectification off, a size
 *                                        that is not the context's;
 *         KestrovaErrorSystem            a warper cannot be built;
 *         KestrovaErrorUnknown           a packed frame and two cameras that are neither pair, or a camera in use
 *                                        that no channel carries.
 *         After the last two the images hold parts of this frame; after the others the context is as before.
 */
[[nodiscard]] KestrovaError standardKestrovaPreprocess(StereoContext* pContext, const KestrovaInput* pInput);

/**
 * Takes the frame's size as source size and gives every camera its images: raw images become views of the caller's
 * planes, or storage for a packed frame; rectified and edge images get the context's size. *pbPacked tells whether the
 * frame is packed.
 */
[[nodiscard]] KestrovaError prepareImages(StereoContext* pContext, const KestrovaInput* pInput, bool* pbPacked);

} // namespace kestrova
