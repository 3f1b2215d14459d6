// One run: the public entry of correlation.
#include "api/MultiContext.h"
#include "kestrova.h"
#include "run/furrowRun.h"
#include "run/run.h"
#include "stereo/twoCameraStereo.h"

using namespace kestrova;

KestrovaError kestrovaStereo(KestrovaContext context)
{
    StereoContext* const pContext = getActiveContext(context);
    ExecutorPool* const pPool = getExecutorPool(multiContextOf(context));
    if (pContext == nullptr || pPool == nullptr) {
        return KestrovaErrorInvalidContext;
    }
    // The error of an earlier run comes back here, before any work, and stays: only a new pool forgets it.
    const KestrovaError eEarlier = syncAndGetExecutorError(multiContextOf(context));
    if (eEarlier != KestrovaErrorOk) {
        return eEarlier;
    }
    clearDisparityImages(*pContext);
    pContext->saveStereoParameters();

    KestrovaError eStarted = KestrovaErrorOk;
    if (pContext->m_bEnhancedStereo && pContext->m_bSubpixelInterpolation) {
        eStarted = furrowFixMultithreadedStereo(pPool, pContext);
    } else {
        pPool->executeBands(&correlateBand, &standardValidate, *pContext);
    }
    // Whoever waits gets the answer of the pool alone.
    if (multiContextOf(context)->m_bAsynchronous && pPool->isRunning()) {
        return eStarted;
    }
    return syncAndGetExecutorError(multiContextOf(context));
}
