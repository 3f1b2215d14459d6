// The furrow fix, which is what Enhanced stereo quality means, up to the running of the passes.
//
// Subpixel disparity has an error that repeats with every whole pixel and shows as furrows on slanted surfaces. A
// second context, the furrow context, sees the left and the top camera rectified half a pixel away; averaged over both
// passes, half a period apart, the error evens out. The right camera's images are shared, since disparity is told in
// them.
#pragma once

#include "kestrova.h"

namespace kestrova {

class StereoContext;

/**
 * Makes the furrow context of a context, or brings the one that it has up to date. Setters write the main context only,
 * so every frame does this before it uses the other one.
 *
 * @return KestrovaErrorOk, or KestrovaErrorInvalidContext for null
 */
KestrovaError syncFurrowFixContext(StereoContext* pContext);

/**
 * Finds or builds the warpers of the second pass, if the settings ask for one, for the present sizes.
 *
 * @return KestrovaErrorOk, or KestrovaErrorSystem when one of them cannot be built
 */
[[nodiscard]] KestrovaError furrowFixBuildWarpers(StereoContext* pContext);

/**
 * Preprocesses one frame for both contexts, the main one first. The second pass is left out while the settings ask for
 * no stereo or no subpixel disparity.
 *
 * @return what standardKestrovaPreprocess says of the main context; what it says of the other is not looked at, since
 *         the same frame has just been accepted.
 */
[[nodiscard]] KestrovaError furrowFixKestrovaPreprocess(StereoContext* pContext, const KestrovaInput* pInput);

/**
 * Averages the 16-bit disparities of both contexts into the main one's, less the half pixel. A pixel is valid where
 * both are; one that only the furrow context rejects takes over its code.
 *
 * Both images are walked as one run of rows times columns pixels from the first, whatever their row distances. Where
 * rows have gaps, which is with columns that are no multiple of 16, the walk spends pixels on them, and the last rows
 * stay as the main pass left them.
 *
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidSetting  no subpixel interpolation;
 *         KestrovaErrorInvalidRequest  a context whose settings produce no 16-bit disparity, or images of two sizes.
 */
KestrovaError furrowFixCombineDisparityImages(StereoContext* pMain, StereoContext* pFurrow);

} // namespace kestrova
