#include "run/furrowRun.h"

#include "run/furrowFix.h"
#include "run/run.h"
#include "stereo/twoCameraStereo.h"

namespace kestrova {

namespace {

/** The combination walks through the gaps between rows, so what stands there is made defined. */
void fillGaps(Image<unsigned short>& rCleared)
{
    for (int nRow = 0; nRow + 1 < rCleared.nRows(); ++nRow) {
        const int nGap = rCleared.rowDistance() - rCleared.nCols();
        Image<unsigned short>::init(&rCleared[nRow][0] + rCleared.nCols(), rCleared[0][0], nGap);
    }
}

} // namespace

KestrovaError furrowFixMultithreadedStereo(ExecutorPool* pPool, StereoContext* pMain)
{
    fillGaps(pMain->m_disparityImage16);
    pPool->executeBands(&correlateBand, {}, *pMain);
    const int nStereo = pPool->waitForResult();
    const int nValidate = standardValidate(*pMain); // here, while the pool is idle; in any case
    const auto eError = static_cast<KestrovaError>(nStereo != KestrovaErrorOk ? nStereo : nValidate);
    if (eError != KestrovaErrorOk || !pMain->m_bSubpixelInterpolation) {
        return eError;
    }
    const KestrovaError eSync = syncFurrowFixContext(pMain);
    if (eSync != KestrovaErrorOk) {
        return eSync;
    }
    StereoContext& rFurrow = *pMain->m_pFurrowContext;
    clearDisparityImages(rFurrow);
    fillGaps(rFurrow.m_disparityImage16);
    // The main context is borrowed: the handle's pool ends before its contexts do.
    pPool->executeBands(
        &correlateBand, [pMain](StereoContext& rContext) -> int { return furrowFixValidate(rContext, *pMain); },
        rFurrow);
    return KestrovaErrorOk;
}

KestrovaError furrowFixValidate(StereoContext& rFurrow, StereoContext& rMain)
{
    const auto eError = static_cast<KestrovaError>(standardValidate(rFurrow));
    return eError != KestrovaErrorOk ? eError : furrowFixCombineDisparityImages(&rMain, &rFurrow);
}

} // namespace kestrova
