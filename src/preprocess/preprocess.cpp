#include "preprocess/preprocess.h"

#include "context/StereoContext.h"
#include "context/cameraIndex.h"
#include "preprocess/contextWarpers.h"
#include "rectify/Camera.h"
#include "rectify/boxFilters.h"
#include "rectify/lowpass.h"
#include "rectify/unpack.h"

#include <algorithm>
#include <utility>

namespace kestrova {

bool describesFrame(const KestrovaInput& rInput)
{
    if (rInput.nrows < 1 || rInput.ncols < 1) {
        return false;
    }
    switch (rInput.inputType) {
    case KestrovaInputPacked:
        return rInput.rowinc >= std::int64_t{4} * rInput.ncols;
    case KestrovaInputRGB:
        return rInput.rowinc >= rInput.ncols;
    default:
        return false;
    }
}

namespace {

using Flags = std::array<bool, 3>; // by camera index

Flags requiredImages(const StereoContext& rContext)
{
    Flags required{};
    determineRequiredImages(&rContext, required.data());
    return required;
}

/** Slot of the camera on a channel, or -1. */
int cameraOfChannel(const StereoContext& rContext, int nChannel)
{
    return rContext.m_anCameraOfChannel[static_cast<std::size_t>(nChannel)];
}

// ---- the checks, before anything changes ----

bool hasPixels(const StereoContext& rContext, const KestrovaInput& rInput)
{
    if (rInput.inputType == KestrovaInputPacked) {
        return rInput.pPlane0 != nullptr;
    }
    const Flags required = requiredImages(rContext);
    const void* const apPlanes[3] = {rInput.pPlane0, rInput.pPlane1, rInput.pPlane2};
    for (int nChannel = 0; nChannel < 3; ++nChannel) {
        const int nCamera = cameraOfChannel(rContext, nChannel);
        if (nCamera >= 0 && required[static_cast<std::size_t>(nCamera)] && apPlanes[nChannel] == nullptr) {
            return false;
        }
    }
    return true;
}

KestrovaError checkInput(const StereoContext& rContext, const KestrovaInput* pInput)
{
    if (pInput == nullptr) {
        return KestrovaErrorInvalidParameter;
    }
    if (!describesFrame(*pInput)) {
        return KestrovaErrorInvalidSetting;
    }
    const bool bSize = rContext.m_bRectify || (pInput->nrows == rContext.m_nRows && pInput->ncols == rContext.m_nCols);
    return bSize && hasPixels(rContext, *pInput) ? KestrovaErrorOk : KestrovaErrorInvalidParameter;
}

// ---- images ----

/** The storage of the packed frames before, black as new storage is, unless copies of the context still show it. */
void takeIdlePlane(Image<unsigned char>& rRaw, Image<unsigned char>& rIdle)
{
    rRaw = std::exchange(rIdle, Image<unsigned char>::defaultImage);
    if (rRaw.buffer().isShared()) {
        rRaw = Image<unsigned char>::defaultImage;
    } else {
        rRaw.init(0);
    }
}

void takePacked(StereoContext* pContext, const KestrovaInput& rInput)
{
    auto* const pPixels = static_cast<Pixel8x4*>(rInput.pPlane0);
    Image<Pixel8x4>& rPacked = pContext->m_packedInputImage;
    const bool bKnown = rPacked.data() == pPixels && rPacked.size() == ImageDim{rInput.nrows, rInput.ncols} &&
                        rPacked.rowDistance() == rInput.rowinc / 4;
    if (!bKnown) {
        rPacked = Image<Pixel8x4>(rInput.nrows, rInput.ncols, rInput.rowinc / 4, pPixels);
    }
    for (int nCamera = 0; nCamera < pContext->m_nCameraCount; ++nCamera) {
        Image<unsigned char>& rRaw = pContext->m_rawImages[nCamera];
        if (rRaw.buffer().isOneFrame() || rRaw.nRows() == 0) { // planes of an earlier frame: not ours to write into
            takeIdlePlane(rRaw, pContext->m_idlePlanes[nCamera]);
        }
        giveSize(rRaw, {rInput.nrows, rInput.ncols});
    }
}

/** The plane with its padding; no image where there is no plane, as no camera in use has it. Frames tend to come back
 * in the same memory, which is wrapped already then. */
void wrapPlane(Image<unsigned char>& rRaw, const KestrovaInput& rInput, unsigned char* pPixels)
{
    const PixelBuffer<unsigned char>& rBuffer = rRaw.buffer();
    if (pPixels == nullptr) {
        rRaw = Image<unsigned char>::defaultImage;
    } else if (rBuffer.isOneFrame() && rRaw.data() == pPixels && rBuffer.nRows() == rInput.nrows &&
               rBuffer.nCols() == rInput.rowinc) {
        rRaw = rRaw.region(0, 0, rInput.nrows, rInput.rowinc);
    } else {
        rRaw = Image<unsigned char>(rInput.nrows, rInput.rowinc, rInput.rowinc, pPixels, OneFrameMemory{});
    }
}

void takePlanes(StereoContext* pContext, const KestrovaInput& rInput)
{
    void* const apPlanes[3] = {rInput.pPlane0, rInput.pPlane1, rInput.pPlane2};
    for (int nChannel = 0; nChannel < 3; ++nChannel) {
        const int nCamera = cameraOfChannel(*pContext, nChannel);
        if (nCamera < 0) {
            continue;
        }
        if (pContext->m_rawImages[nCamera]
                .buffer()
                .isOwn()) { // for a packed frame that follows; a lent one is given back
            pContext->m_idlePlanes[nCamera] = pContext->m_rawImages[nCamera];
        }
        wrapPlane(pContext->m_rawImages[nCamera], rInput, static_cast<unsigned char*>(apPlanes[nChannel]));
        // Padding is cut off by channel number, not by camera. A set whose cameras are not in channel order
        // therefore sees the padding of its last planes as part of the image.
        Image<unsigned char>& rPadded = pContext->m_rawImages[nChannel];
        if (rInput.ncols < rPadded.nCols()) {
            rPadded = rPadded.region(0, 0, rPadded.nRows(), rInput.ncols);
        }
    }
}

} // namespace

KestrovaError prepareImages(StereoContext* pContext, const KestrovaInput* pInput, bool* pbPacked)
{
    pContext->m_nSourceRows = pInput->nrows;
    pContext->m_nSourceCols = pInput->ncols;
    *pbPacked = pInput->inputType == KestrovaInputPacked;
    if (*pbPacked) {
        takePacked(pContext, *pInput);
    } else {
        takePlanes(pContext, *pInput);
    }
    const ImageDim size{pContext->m_nRows, pContext->m_nCols};
    for (int nCamera = 0; nCamera < pContext->m_nCameraCount; ++nCamera) {
        giveSize(pContext->m_rectifiedImages[nCamera], size);
        giveSize(pContext->m_edgeImages[nCamera], size);
    }
    return KestrovaErrorOk;
}

namespace {

// ---- the stages ----

/** Every channel to its camera's raw image. */
KestrovaError unpackThree(StereoContext* pContext)
{
    Image<unsigned char>* apRaw[3] = {};
    for (int nChannel = 0; nChannel < 3; ++nChannel) {
        const int nCamera = cameraOfChannel(*pContext, nChannel);
        if (nCamera < 0) {
            return KestrovaErrorUnknown;
        }
        apRaw[nChannel] = &pContext->m_rawImages[nCamera];
    }
    unpackRGB(*apRaw[0], *apRaw[1], *apRaw[2], pContext->m_packedInputImage);
    return KestrovaErrorOk;
}

/** Only the two channels of the pair; other raw images stay as they are. */
KestrovaError unpackPair(StereoContext* pContext)
{
    const bool bHorizontal = pContext->m_eCameraConfiguration == KestrovaCfg2CameraHorizontal;
    if (!bHorizontal && pContext->m_eCameraConfiguration != KestrovaCfg2CameraVertical) {
        return KestrovaErrorUnknown;
    }
    Flags needed{};
    std::array<Image<unsigned char>*, 3> apPlanes{};
    for (const KestrovaCamera eCamera : {KestrovaCamRight, bHorizontal ? KestrovaCamLeft : KestrovaCamTop}) {
        const int nCamera = getCameraIndex(eCamera, pContext);
        const int nChannel = nCamera < 0 ? -1 : pContext->m_anChannelOfCamera[static_cast<std::size_t>(nCamera)];
        if (nChannel < 0) {
            return KestrovaErrorUnknown;
        }
        needed[static_cast<std::size_t>(nChannel)] = true;
        apPlanes[static_cast<std::size_t>(nChannel)] = &pContext->m_rawImages[nCamera];
    }
    unpack32Bit(needed.data(), apPlanes.data(), pContext->m_packedInputImage);
    return KestrovaErrorOk;
}

KestrovaError rectifyCamera(StereoContext* pContext, int nCamera)
{
    const auto& rChannels = pContext->m_anCameraOfChannel;
    if (std::find(rChannels.begin(), rChannels.end(), nCamera) == rChannels.end()) {
        return KestrovaErrorUnknown;
    }
    Image<unsigned char>& rRectified = pContext->m_rectifiedImages[nCamera];
    const Image<unsigned char>& rRaw = pContext->m_rawImages[nCamera];
    if (!pContext->m_bRectify) {
        Image<unsigned char> copy(rRaw.size());
        copy.init(rRaw);
        rRectified = copy;
        return KestrovaErrorOk;
    }
    const unsigned uMask = pContext->m_bLowpass ? 0 : 1; // 0: as large as the reduction
    Rectification how{uMask, uMask, 0, 0, pContext->m_eKernelType, pContext->m_nKernelSize};
    getWarperOffsets(pContext, nCamera, &how.m_nRowOffset, &how.m_nColOffset);
    Camera& rCamera = *pContext->m_apCameras[static_cast<std::size_t>(nCamera)];
    return lowpassRectify(rRectified, rCamera, rRaw, how) ? KestrovaErrorOk : KestrovaErrorSystem;
}

/** The cameras whose images this context makes. A furrow context takes the right camera's from the main one. */
Flags wantedImages(const StereoContext& rContext)
{
    Flags wanted = requiredImages(rContext);
    const int nRight = getCameraIndex(KestrovaCamRight, &rContext);
    if (rContext.m_bIsFurrowContext && nRight >= 0) {
        wanted[static_cast<std::size_t>(nRight)] = false;
    }
    return wanted;
}

KestrovaError rectifyAndFilter(StereoContext* pContext, const Flags& rWanted)
{
    for (int nCamera = 0; nCamera < pContext->m_nCameraCount; ++nCamera) {
        if (rWanted[static_cast<std::size_t>(nCamera)]) {
            const KestrovaError eError = rectifyCamera(pContext, nCamera);
            if (eError != KestrovaErrorOk) {
                return eError;
            }
        }
    }
    for (int nCamera = 0; pContext->m_bEdgeCorrelation && nCamera < pContext->m_nCameraCount; ++nCamera) {
        if (rWanted[static_cast<std::size_t>(nCamera)]) {
            edgeImage(pContext->m_edgeImages[nCamera], pContext->m_rectifiedImages[nCamera], pContext->m_nEdgeMaskSize);
        }
    }
    return KestrovaErrorOk;
}

} // namespace

KestrovaError standardKestrovaPreprocess(StereoContext* pContext, const KestrovaInput* pInput)
{
    if (pContext == nullptr) {
        return KestrovaErrorInvalidContext;
    }
    KestrovaError eError = checkInput(*pContext, pInput);
    if (eError != KestrovaErrorOk) {
        return eError;
    }
    pContext->savePreprocessParameters();
    bool bPacked = false;
    eError = prepareImages(pContext, pInput, &bPacked);
    if (eError != KestrovaErrorOk) {
        return eError;
    }
    if (pContext->m_bRectify && !buildWarpers(pContext)) {
        return KestrovaErrorSystem;
    }
    if (bPacked) {
        eError = pContext->m_nConfiguredCameraCount == 3 ? unpackThree(pContext) : unpackPair(pContext);
        if (eError != KestrovaErrorOk) {
            return eError;
        }
    }
    return rectifyAndFilter(pContext, wantedImages(*pContext));
}

} // namespace kestrova
