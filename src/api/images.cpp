// The images of a context: views for the caller, and memory of the caller's as their storage.
#include "api/settingShims.h"
#include "api/storage.h"
#include "context/cameraIndex.h"
#include "kestrova.h"

using namespace kestrova;

namespace {

/** The slot of an 8-bit image; null for a type that has none. */
Image<unsigned char>* slotOfImage(StereoContext& rContext, KestrovaImageType eType, int nCamera)
{
    switch (eType) {
    case KestrovaImgDisparity:
        return &rContext.m_disparityImage;
    case KestrovaImgRaw:
        return &rContext.m_rawImages[nCamera];
    case KestrovaImgRectified:
        return &rContext.m_rectifiedImages[nCamera];
    case KestrovaImgEdge:
        return &rContext.m_edgeImages[nCamera];
    default:
        return nullptr;
    }
}

bool isReference(KestrovaCamera eCamera)
{
    return eCamera <= KestrovaCamRight;
}

/** Whether the settings, as they are, produce the image. */
bool isProduced(const StereoContext& rContext, KestrovaImageType eType, KestrovaCamera eCamera)
{
    switch (eType) {
    case KestrovaImgDisparity:
        return rContext.m_bDoStereo && !rContext.m_bSubpixelInterpolation && isReference(eCamera);
    case KestrovaImgEdge:
        return rContext.m_bEdgeCorrelation;
    default:
        return true;
    }
}

/** Puts the caller's memory, rows without gaps, or new storage into a slot. */
template<class T>
KestrovaError replaceStorage(Image<T>& rSlot, T* pBuffer, int nRows, int nCols)
{
    if (nRows < 1 || nCols < 1) {
        return KestrovaErrorInvalidRequest;
    }
    rSlot = storage(pBuffer, nRows, nCols);
    return KestrovaErrorOk;
}

} // namespace

KestrovaError kestrovaGetImage(KestrovaContext context, KestrovaImageType type, KestrovaCamera camera,
                               KestrovaImage* image)
{
    return onActiveContext(context, [&](StereoContext& rContext) {
        const int nCamera = getCameraIndex(camera, &rContext);
        if (nCamera < 0) {
            return KestrovaErrorInvalidCamera;
        }
        Image<unsigned char>* const pImage = slotOfImage(rContext, type, nCamera);
        if (pImage == nullptr || !isProduced(rContext, type, camera)) {
            return KestrovaErrorInvalidRequest;
        }
        // Raw images are finished when preprocessing returns, so they do not wait for a run, nor tell of its error.
        if (type != KestrovaImgRaw) {
            const KestrovaError eError = syncAndGetExecutorError(multiContextOf(context));
            if (eError != KestrovaErrorOk) {
                return eError;
            }
        }
        const int nRowInc = rowInc(*pImage);
        *image = {pImage->nRows(), pImage->nCols(), nRowInc, nRowInc != 0 ? pImage->data() : nullptr};
        return KestrovaErrorOk;
    });
}

KestrovaError kestrovaGetImage16(KestrovaContext context, KestrovaImage16Type type, KestrovaCamera camera,
                                 KestrovaImage16* image)
{
    return onActiveContext(context, [&](StereoContext& rContext) {
        const KestrovaError eError = syncAndGetExecutorError(multiContextOf(context));
        if (eError != KestrovaErrorOk) {
            return eError;
        }
        return rContext.getImage16(type, camera, image) ? KestrovaErrorOk : KestrovaErrorInvalidRequest;
    });
}

KestrovaError kestrovaSetImageBuffer(KestrovaContext context, unsigned char* buffer, KestrovaImageType type,
                                     KestrovaCamera camera)
{
    return onActiveContext(context, [&](StereoContext& rContext) {
        const int nCamera = getCameraIndex(camera, &rContext);
        if (nCamera < 0 || (type == KestrovaImgDisparity && !isReference(camera))) {
            return KestrovaErrorInvalidCamera;
        }
        Image<unsigned char>* const pSlot = slotOfImage(rContext, type, nCamera);
        if (pSlot == nullptr) {
            return KestrovaErrorInvalidRequest;
        }
        return type == KestrovaImgRaw ? replaceStorage(*pSlot, buffer, rContext.m_nSourceRows, rContext.m_nSourceCols)
                                      : replaceStorage(*pSlot, buffer, rContext.m_nRows, rContext.m_nCols);
    });
}

KestrovaError kestrovaUnsetImageBuffer(KestrovaContext context, KestrovaImageType type, KestrovaCamera camera)
{
    return kestrovaSetImageBuffer(context, nullptr, type, camera);
}

KestrovaError kestrovaSetImage16Buffer(KestrovaContext context, unsigned short* buffer, KestrovaImage16Type type,
                                       KestrovaCamera camera)
{
    return onActiveContext(context, [&](StereoContext& rContext) {
        if (type != KestrovaImg16Disparity || !isReference(camera)) {
            return KestrovaErrorInvalidCamera;
        }
        return replaceStorage(rContext.m_disparityImage16, buffer, rContext.m_nRows, rContext.m_nCols);
    });
}

KestrovaError kestrovaUnsetImage16Buffer(KestrovaContext context, KestrovaImage16Type type, KestrovaCamera camera)
{
    return kestrovaSetImage16Buffer(context, nullptr, type, camera);
}
