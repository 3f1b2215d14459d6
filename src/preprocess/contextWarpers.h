// The warpers that a context's next frame needs, looked up in its cameras by the context's current settings.
#pragma once

#include "kestrova.h"

namespace kestrova {

class StereoContext;

/**
 * Subpixel offsets of a camera's warper, in hundredths of a pixel. In a furrow context the left camera is shifted along
 * the columns and the top camera along the rows; a sum of 100 or more counts as 0.
 */
void getWarperOffsets(const StereoContext* pContext, int nCamera, int* pnRowOffset, int* pnColOffset);
/** As above, but left and top are taken from the name and not from the product. */
void getWarperOffsets(const StereoContext* pContext, KestrovaCamera eCamera, int* pnRowOffset, int* pnColOffset);

/** Finds or builds the warper of a camera for raw images of that stride; false if there is none. */
[[nodiscard]] bool getWarperForCam(StereoContext* pContext, int nCamera, int nStride);

/**
 * Finds or builds all warpers that the next frame needs, for grey and packed images of the current source size. False
 * as soon as one of them cannot be built.
 */
[[nodiscard]] bool buildWarpers(StereoContext* pContext);

} // namespace kestrova
