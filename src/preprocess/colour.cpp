#include "preprocess/colour.h"

#include "context/StereoContext.h"
#include "context/cameraIndex.h"
#include "preprocess/contextWarpers.h"
#include "preprocess/preprocess.h"
#include "rectify/Camera.h"
#include "rectify/lowpass.h"
#include "rectify/unpackLowpass.h"

namespace kestrova {

Camera* colourWorkCamera(const StereoContext& rContext, KestrovaCamera eCamera, int nCamera)
{
    return eCamera == KestrovaCamColor ? rContext.m_pColorCamera
                                       : rContext.m_apCameras[static_cast<std::size_t>(nCamera)];
}

namespace {

/** Where one colour frame comes from and goes to. */
struct ColourJob
{
    int m_nCamera = -1; // slot of the results
    Camera* m_pCamera = nullptr;
    unsigned m_uMask = 0; // 0: as large as the reduction
};

/** Finds the camera and takes the frame's size as source size; the frame was looked at. */
KestrovaError beginJob(StereoContext* pContext, KestrovaCamera eCamera, const KestrovaInput& rInput, ColourJob* pJob)
{
    pJob->m_nCamera = getCameraIndex(eCamera, pContext);
    if (pJob->m_nCamera < 0 || pJob->m_nCamera >= pContext->m_nCameraCount) {
        return KestrovaErrorInvalidCamera;
    }
    pContext->m_nSourceRows = rInput.nrows;
    pContext->m_nSourceCols = rInput.ncols;
    pJob->m_pCamera = colourWorkCamera(*pContext, eCamera, pJob->m_nCamera);
    pJob->m_uMask = pContext->m_bLowpass ? 0 : 1;
    return pJob->m_pCamera != nullptr ? KestrovaErrorOk : KestrovaErrorInvalidRequest;
}

Image<Pixel8x4> packedImage(const KestrovaInput& rInput)
{
    return Image<Pixel8x4>(rInput.nrows, rInput.ncols, rInput.rowinc / 4, static_cast<Pixel8x4*>(rInput.pPlane0));
}

// ---- planes ----

/**
 * The three planes of a frame. Padded planes are not read from the caller but from the raw images of the same numbers,
 * as preprocessing left them: padded frames are preprocessed first. False when those do not hold a frame of the size.
 */
bool sourcePlanes(const StereoContext& rContext, const KestrovaInput& rInput, Image<unsigned char> (&rPlanes)[3])
{
    void* const apPlanes[3] = {rInput.pPlane0, rInput.pPlane1, rInput.pPlane2};
    for (int nPlane = 0; nPlane < 3; ++nPlane) {
        if (rInput.ncols >= rInput.rowinc) {
            rPlanes[nPlane] =
                Image<unsigned char>(rInput.nrows, rInput.ncols, static_cast<unsigned char*>(apPlanes[nPlane]));
            continue;
        }
        const Image<unsigned char>& rRaw = rContext.m_rawImages[nPlane];
        if (rRaw.nRows() < rInput.nrows || rRaw.nCols() < rInput.ncols) {
            return false;
        }
        rPlanes[nPlane] = rRaw.region(0, 0, rInput.nrows, rInput.ncols);
    }
    return true;
}

bool rectifyPacked(const ColourJob& rJob, const KestrovaInput& rInput, ColorPlanes& rResult, const Rectification& rHow)
{
    return unpackLowpassRectify(
        {{{rResult[0], *rJob.m_pCamera}, {rResult[1], *rJob.m_pCamera}, {rResult[2], *rJob.m_pCamera}}},
        packedImage(rInput), rHow);
}

KestrovaError rectifyPlanes(const StereoContext& rContext, const ColourJob& rJob, const KestrovaInput& rInput,
                            ColorPlanes& rResult, const Rectification& rHow)
{
    Image<unsigned char> planes[3];
    if (!sourcePlanes(rContext, rInput, planes)) {
        return KestrovaErrorInvalidRequest;
    }
    for (std::size_t i = 0; i < 3; ++i) {
        if (!lowpassRectify(rResult[i], *rJob.m_pCamera, planes[i], rHow)) {
            return KestrovaErrorSystem;
        }
    }
    return KestrovaErrorOk;
}

bool isPadded(const KestrovaInput& rInput)
{
    return rInput.inputType == KestrovaInputRGB && rInput.ncols < rInput.rowinc;
}

/** Whether the caller's memory that would be read is there. */
bool hasColour(const KestrovaInput& rInput)
{
    const bool bOthers =
        rInput.inputType == KestrovaInputPacked || (rInput.pPlane1 != nullptr && rInput.pPlane2 != nullptr);
    return isPadded(rInput) || (rInput.pPlane0 != nullptr && bOthers);
}

} // namespace

KestrovaError rectifyColorPlanes(StereoContext* pContext, KestrovaCamera eCamera, const KestrovaInput* pInput)
{
    if (pInput == nullptr) {
        return KestrovaErrorInvalidParameter;
    }
    if (!describesFrame(*pInput)) {
        return KestrovaErrorInvalidSetting;
    }
    if (!hasColour(*pInput)) {
        return KestrovaErrorInvalidParameter;
    }
    ColourJob job;
    const KestrovaError eError = beginJob(pContext, eCamera, *pInput, &job);
    if (eError != KestrovaErrorOk) {
        return eError;
    }
    ColorPlanes& rResult = pContext->m_colorPlaneImages[static_cast<std::size_t>(job.m_nCamera)];
    for (Image<unsigned char>& rPlane : rResult) {
        giveSize(rPlane, {pContext->m_nRows, pContext->m_nCols});
    }
    if (rowInc(rResult[0]) != rowInc(rResult[1]) || rowInc(rResult[0]) != rowInc(rResult[2])) {
        return KestrovaErrorInvalidCamera; // one row increment must do for the record
    }
    Rectification how{job.m_uMask, job.m_uMask, 0, 0, pContext->m_eKernelType, pContext->m_nKernelSize};
    getWarperOffsets(pContext, job.m_nCamera, &how.m_nRowOffset, &how.m_nColOffset);
    if (pInput->inputType == KestrovaInputRGB) {
        return rectifyPlanes(*pContext, job, *pInput, rResult, how);
    }
    return rectifyPacked(job, *pInput, rResult, how) ? KestrovaErrorOk : KestrovaErrorSystem;
}

// ---- packed ----

KestrovaError rectifyPackedColor(StereoContext* pContext, KestrovaCamera eCamera, const KestrovaInput* pInput)
{
    if (pInput == nullptr) {
        return KestrovaErrorInvalidParameter;
    }
    if (!describesFrame(*pInput)) {
        return KestrovaErrorInvalidSetting;
    }
    if (pInput->inputType == KestrovaInputRGB) {
        return KestrovaErrorNotImplemented;
    }
    if (!hasColour(*pInput)) {
        return KestrovaErrorInvalidParameter;
    }
    ColourJob job;
    const KestrovaError eError = beginJob(pContext, eCamera, *pInput, &job);
    if (eError != KestrovaErrorOk) {
        return eError;
    }
    Image<Pixel8x4>& rResult = pContext->m_packedColorImages[static_cast<std::size_t>(job.m_nCamera)];
    giveSize(rResult, {pContext->m_nRows, pContext->m_nCols});
    // Always bilinear and without offsets, whatever the quality: smoothness of colour is not worth a kernel per
    // channel.
    return unpackLowpassRectify(rResult, *job.m_pCamera, packedImage(*pInput), job.m_uMask, job.m_uMask)
               ? KestrovaErrorOk
               : KestrovaErrorSystem;
}

} // namespace kestrova
