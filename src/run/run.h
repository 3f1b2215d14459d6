// What a stereo run consists of, and which correlator serves which configuration.
//
// Nothing is kept between runs but the error of the last one, which stays in the pool's task.
#pragma once

#include "context/StereoContext.h"

#include <boost/thread/mutex.hpp>
#include <span>

namespace kestrova {

/**
 * Correlates the regions of the context, or the whole frame without any; every result is a KestrovaError.
 *
 * KestrovaErrorInvalidRequest when an image was not preprocessed. A failed region does not stop the others, and the
 * last failure is reported; a configuration without a correlator stops at once.
 */
int standardStereo(StereoContext& rContext);

/** A slice of a run: the regions of the worker's context; nothing when stereo is off. */
int standardMultithreadedStereo(StereoContext& rWorkerContext, StereoContext& rMainContext, boost::mutex& rSliceMutex);

/** The same for the regions that the plan of the run gives the worker's band; what runs by bands are made of. */
int correlateBand(StereoContext& rWorkerContext, StereoContext& rMainContext, boost::mutex& rSliceMutex,
                  std::span<const KestrovaROI> regions);

/** What is done to the whole frame when all bands are there: small surfaces are removed, since they cross the bands. */
int standardValidate(StereoContext& rContext);

/** A whole run on the caller's thread: both steps in any case, and the first result that is an error. */
int standardStereoAndValidate(StereoContext* pContext);

} // namespace kestrova
