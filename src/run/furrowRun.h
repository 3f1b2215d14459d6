// The two passes of a run under Enhanced stereo quality.
#pragma once

#include "context/StereoContext.h"
#include "run/ExecutorPool.h"

namespace kestrova {

/**
 * Runs the first pass to its end and starts the second one, which ends with the combined disparities in the main
 * context. Both contexts must stay where they are until the pool is idle; the main one's images are cleared.
 *
 * @return KestrovaErrorOk when the second pass was started or is not asked for; else what kept it from being started:
 *         the first error of the first pass. One of its slices is kept by the pool as well, others are told here only.
 */
KestrovaError furrowFixMultithreadedStereo(ExecutorPool* pPool, StereoContext* pMain);

/** The end of the second pass: validates the furrow context's disparities, then combines them into the main one's. */
KestrovaError furrowFixValidate(StereoContext& rFurrow, StereoContext& rMain);

} // namespace kestrova
