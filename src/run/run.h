// What a stereo run consists of, and which correlator serves which configuration.
//
// Nothing is kept between runs but the error of the last one, which stays in the pool's task.
#pragma once

#include "context/StereoContext.h"
#include "parallel/ExecutorPool.h"
#include "run/BandPlan.h"

#include <boost/thread/mutex.hpp>

namespace kestrova {

/**
 * Correlates the regions of the context, or the whole frame without any; every result is a KestrovaError.
 *
 * KestrovaErrorInvalidRequest when an image was not preprocessed. A failed region does not stop the others, and the
 * last failure is reported; a configuration without a correlator stops at once.
 */
int standardStereo(StereoContext& rContext);

/** One band of a run, on the rows that the plan gives it; nothing when stereo is off. */
int standardMultithreadedStereo(const BandPlan& rPlan, StereoContext& rWorkerContext, StereoContext& rMainContext,
                                boost::mutex& rSliceMutex);

/** The above for all bands of one run of that context, as it is now, on that pool. */
[[nodiscard]] ExecutorPool::SliceFunction bandsOf(const StereoContext& rContext, const ExecutorPool& rPool);

/** What is done to the whole frame when all bands are there: small surfaces are removed, since they cross the bands. */
int standardValidate(StereoContext& rContext);

/** A whole run on the caller's thread: both steps in any case, and the first result that is an error. */
int standardStereoAndValidate(StereoContext* pContext);

} // namespace kestrova
