#include "preprocess/contextWarpers.h"

#include "context/StereoContext.h"
#include "context/cameraIndex.h"
#include "rectify/Camera.h"

#include <limits>

namespace kestrova {

namespace {

void warperOffsets(const StereoContext& rContext, bool bLeft, bool bTop, int* pnRowOffset, int* pnColOffset)
{
    *pnRowOffset = rContext.m_nWarperRowOffset;
    *pnColOffset = rContext.m_nWarperColOffset;
    if (!rContext.m_bIsFurrowContext || !(bLeft || bTop)) {
        return;
    }
    int& rnOffset = bLeft ? *pnColOffset : *pnRowOffset;
    rnOffset += rContext.m_nFurrowOffset;
    if (rnOffset >= 100) {
        rnOffset = 0; // not wrapped: a sum past a whole pixel drops the shift altogether
    }
}

} // namespace

void getWarperOffsets(const StereoContext* pContext, int nCamera, int* pnRowOffset, int* pnColOffset)
{
    warperOffsets(*pContext, isLeftCam(pContext, nCamera), isTopCam(pContext, nCamera), pnRowOffset, pnColOffset);
}

void getWarperOffsets(const StereoContext* pContext, KestrovaCamera eCamera, int* pnRowOffset, int* pnColOffset)
{
    warperOffsets(*pContext, eCamera == KestrovaCamLeft, eCamera == KestrovaCamTop, pnRowOffset, pnColOffset);
}

namespace {

/** What the context's settings ask for, without offsets. */
WarperKey keyOf(const StereoContext& r, int nStride)
{
    return {r.m_nRows, r.m_nCols, r.m_nSourceRows, r.m_nSourceCols, nStride, 0, 0, r.m_eKernelType, r.m_nKernelSize};
}

bool hasWarper(Camera* pCamera, const WarperKey& rKey)
{
    return pCamera != nullptr && pCamera->getWarper(rKey) != nullptr;
}

bool buildWarpersForStride(StereoContext* pContext, int nStride)
{
    for (int nCamera = 0; nCamera < pContext->m_nCameraCount; ++nCamera) {
        if (!getWarperForCam(pContext, nCamera, nStride)) {
            return false;
        }
    }
    return !pContext->m_bHasColorCamera || hasWarper(pContext->m_pColorCamera, keyOf(*pContext, nStride));
}

} // namespace

bool getWarperForCam(StereoContext* pContext, int nCamera, int nStride)
{
    WarperKey key = keyOf(*pContext, nStride);
    getWarperOffsets(pContext, nCamera, &key.m_nSubpixelRowOffset, &key.m_nSubpixelColOffset);
    return hasWarper(pContext->m_apCameras[static_cast<std::size_t>(nCamera)], key);
}

bool buildWarpers(StereoContext* pContext)
{
    // A lowpass result stands in an allocated image. With the lowpass off and no padding this is the stride of the
    // frame itself; other frames get their warper when it is asked for.
    int nStride = pContext->m_nSourceCols;
    if (pContext->m_bLowpass) {
        nStride = PixelBuffer<unsigned char>::strideOf(nStride);
    }
    constexpr int nLargest = std::numeric_limits<int>::max() / 4;
    return buildWarpersForStride(pContext, nStride) && nStride <= nLargest &&
           buildWarpersForStride(pContext, 4 * nStride);
}

} // namespace kestrova
