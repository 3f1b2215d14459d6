// Handles, frames and runs: the calls that end loans of memory and make images.
#include "reliability/Sequence.h"

namespace kestrova::test {
namespace {

// ---- handles

void openText(Sequence& r, const std::string& rText, bool bFile)
{
    KestrovaContext context = nullptr;
    if (bFile) {
        const std::string path = r.file("calibration.txt");
        std::ofstream(path, std::ios::binary) << rText;
        r.note(kestrovaGetDefaultContextFromFile(&context, path.c_str()));
    } else {
        const Block pBlock = std::make_shared<GuardedBlock>(rText.size() + 1, GuardedBlock::Edge::Back);
        std::memcpy(pBlock->as(), rText.c_str(), rText.size() + 1);
        r.note(kestrovaGetDefaultContextFromMemory(&context, pBlock->as()));
    }
    r.note(context != nullptr);
    if (context != nullptr) {
        r.opened(context);
        if (!r.random().oneIn(8)) {
            r.note(kestrovaSetResolution(context, 24, 32), kestrovaSetDisparity(context, 0, 8));
        }
    }
}

void load(Sequence& r, bool bFile)
{
    Random& rRandom = r.random();
    KestrovaContext context = nullptr;
    if (rRandom.oneIn(30)) {
        r.note(kestrovaGetDefaultContextFromFile(&context, nullptr), context == nullptr,
               kestrovaGetDefaultContextFromFile(&context, r.file("none").c_str()), context == nullptr,
               kestrovaGetDefaultContextFromMemory(&context, nullptr), context == nullptr);
        return;
    }
    if (OpenHandle* const pHandle = r.anyHandle(); r.handleCount() > 3 && pHandle != nullptr) {
        r.close(pHandle);
    }
    std::string text = randomCalibration(rRandom);
    if (rRandom.oneIn(4)) {
        damage(rRandom, text);
    }
    openText(r, text, bFile);
}

void copy(Sequence& r)
{
    const OpenHandle* const pSource = r.anyHandle();
    KestrovaContext context = nullptr;
    r.note(kestrovaCopyContext(pSource != nullptr ? pSource->context : nullptr, &context));
    if (context != nullptr) {
        r.opened(context, pSource);
    }
}

void destroy(Sequence& r)
{
    if (OpenHandle* const pHandle = r.anyHandle()) {
        r.close(pHandle);
    } else {
        r.note(kestrovaDestroyContext(nullptr));
    }
}

KestrovaCameraConfiguration configurationOf(KestrovaContext context)
{
    KestrovaCameraConfiguration eConfiguration = KestrovaCfg2CameraHorizontal;
    kestrovaGetCameraConfiguration(context, &eConfiguration);
    return eConfiguration;
}

// What was lent to the section that is left stays with it.
void setConfiguration(Sequence& r)
{
    OpenHandle* const pHandle = r.anyHandle();
    const auto eWanted = static_cast<KestrovaCameraConfiguration>(r.random().between(-1, 4));
    if (pHandle == nullptr) {
        r.note(kestrovaSetCameraConfiguration(nullptr, eWanted));
        return;
    }
    const auto eBefore = configurationOf(pHandle->context);
    r.note(kestrovaSetCameraConfiguration(pHandle->context, eWanted));
    if (configurationOf(pHandle->context) != eBefore) {
        for (auto& [slot, blocks] : pHandle->lent) {
            pHandle->kept.insert(pHandle->kept.end(), blocks.begin(), blocks.end());
        }
        pHandle->kept.insert(pHandle->kept.end(), pHandle->frame.begin(), pHandle->frame.end());
        pHandle->lent.clear();
        for (int nCamera = KestrovaCamRight; nCamera <= KestrovaCamLeft; ++nCamera) {
            for (int i = 0; i <= static_cast<int>(Slot::Packed); ++i) {
                pHandle->undefined.insert({static_cast<Slot>(i), nCamera});
            }
        }
    }
}

// ---- frames

bool usedCamera(KestrovaCameraConfiguration eConfiguration, int nCamera)
{
    return nCamera == KestrovaCamRight || eConfiguration == KestrovaCfg3CameraL ||
           (nCamera == KestrovaCamTop) == (eConfiguration == KestrovaCfg2CameraVertical);
}

/** A frame went through: its pixels take the place of those before, and buffers that planes replace are free. */
void tookFrame(OpenHandle& rHandle, Frame& rFrame)
{
    const auto eConfiguration = configurationOf(rHandle.context);
    int nRectify = 1, nEdges = 1;
    kestrovaGetRectify(rHandle.context, &nRectify);
    kestrovaGetEdgeCorrelation(rHandle.context, &nEdges);
    rHandle.frame = std::move(rFrame.blocks);
    for (int nCamera = KestrovaCamRight; nCamera <= KestrovaCamLeft; ++nCamera) {
        if (!usedCamera(eConfiguration, nCamera)) {
            continue;
        }
        if (rFrame.input.inputType == KestrovaInputRGB) {
            rHandle.lent.erase({Slot::Raw, nCamera});
        }
        if (nRectify == 0) {
            rHandle.lent.erase({Slot::Rectified, nCamera});
        }
        rHandle.undefined.erase({Slot::Raw, nCamera});
        rHandle.undefined.erase({Slot::Rectified, nCamera});
        if (nEdges != 0) {
            rHandle.undefined.erase({Slot::Edge, nCamera});
        }
    }
}

void preprocess(Sequence& r, KestrovaError (*pfn)(KestrovaContext, KestrovaInput*))
{
    OpenHandle* const pHandle = r.anyHandle();
    Frame frame = makeFrame(r.random());
    if (r.random().oneIn(8)) {
        spoil(r.random(), frame.input);
    }
    if (pHandle == nullptr || r.random().oneIn(40)) {
        r.note(pfn(pHandle != nullptr ? pHandle->context : nullptr, pHandle != nullptr ? nullptr : &frame.input));
        return;
    }
    const KestrovaError eError = pfn(pHandle->context, &frame.input);
    r.note(eError);
    if (eError == KestrovaErrorOk) {
        tookFrame(*pHandle, frame);
    } else if (eError == KestrovaErrorSystem || eError == KestrovaErrorUnknown) { // parts of it are in use
        pHandle->frame.insert(pHandle->frame.end(), frame.blocks.begin(), frame.blocks.end());
        for (int nCamera = KestrovaCamRight; nCamera <= KestrovaCamLeft; ++nCamera) {
            pHandle->undefined.insert({{Slot::Raw, nCamera}, {Slot::Rectified, nCamera}, {Slot::Edge, nCamera}});
        }
    }
}

// ---- runs

bool dependsOnThreads(KestrovaContext context)
{
    int nRows = 0, nCols = 0, nMask = 0, nMin = 0, nMax = 0;
    kestrovaGetResolution(context, &nRows, &nCols);
    kestrovaGetStereoMask(context, &nMask);
    kestrovaGetDisparity(context, &nMin, &nMax);
    const auto eConfiguration = configurationOf(context);
    const bool bGeneral = eConfiguration == KestrovaCfg3CameraL || eConfiguration == KestrovaCfg2CameraVertical;
    for (const int n : {2, 3, 4, 7}) {
        if (bGeneral && (nMax > nRows - 2 * (nMask / 2) - (n - 1) * (nRows / n) || nRows / n <= nMask / 2)) {
            return true;
        }
    }
    return false;
}

void stereo(Sequence& r)
{
    OpenHandle* const pHandle = r.anyHandle();
    if (pHandle == nullptr) {
        r.note(kestrovaStereo(nullptr));
        return;
    }
    const KestrovaContext context = pHandle->context;
    int nSubpixel = 0, nStereo = 0;
    kestrovaGetSubpixelInterpolation(context, &nSubpixel);
    kestrovaGetDoStereo(context, &nStereo);
    KestrovaROI* pTable = nullptr;
    int nLength = 0;
    kestrovaGetROIs(context, &pTable, &nLength);
    if (r.random().oneIn(2)) {
        kestrovaSetNumberOfROIs(context, 0);
    }
    // Regions, and ranges that a band has no room for, may give results that hang on the number of threads.
    if (kestrovaSetMaxThreadCount(context, 6) != KestrovaErrorOk ||
        (!dependsOnThreads(context) && r.random().oneIn(2))) {
        kestrovaSetNumberOfROIs(context, 0);
        r.note(kestrovaSetMaxThreadCount(context, r.threads(r.random().pick({1, 2, 3, 4, 7}))));
    }
    const KestrovaError eError = kestrovaStereo(context);
    r.note(eError, eError == KestrovaErrorOk ? eError : kestrovaStereo(context));
    auto& rUndefined = pHandle->undefined;
    const bool bInputs = std::none_of(rUndefined.begin(), rUndefined.end(), [](const SlotOfCamera& rSlot) {
        return rSlot.first == Slot::Rectified || rSlot.first == Slot::Edge || rSlot.first == Slot::Raw;
    });
    rUndefined.insert({{Slot::Disparity, KestrovaCamRight}, {Slot::Disparity16, KestrovaCamRight}});
    if (eError == KestrovaErrorOk && (bInputs || nStereo == 0)) {
        rUndefined.erase({nSubpixel != 0 ? Slot::Disparity16 : Slot::Disparity, KestrovaCamRight});
    }
}

void getImage(Sequence& r)
{
    OpenHandle* const pHandle = r.anyHandle();
    const auto eType = static_cast<KestrovaImageType>(r.random().between(r.random().oneIn(20) ? -1 : 0, 4));
    const KestrovaCamera eCamera = anyCamera(r.random());
    KestrovaImage image{-1, -2, -3, nullptr};
    const KestrovaError eError =
        kestrovaGetImage(pHandle != nullptr ? pHandle->context : nullptr, eType, eCamera, &image);
    r.note(eError, image.nrows, image.ncols, image.data != nullptr);
    static constexpr Slot sk_aSlots[] = {Slot::Disparity, Slot::Raw, Slot::Rectified, Slot::Edge, Slot::Edge};
    if (eError == KestrovaErrorOk && !pHandle->undefined.contains({sk_aSlots[eType], ownerOf(eCamera)})) {
        for (int nRow = 0; nRow < image.nrows; ++nRow) {
            r.noteBytes(image.data + nRow * image.rowinc, static_cast<std::size_t>(image.ncols));
        }
    }
}

void getImage16(Sequence& r)
{
    OpenHandle* const pHandle = r.anyHandle();
    const auto eType = static_cast<KestrovaImage16Type>(r.random().oneIn(20) ? 1 : 0);
    KestrovaImage16 image{-1, -2, -3, nullptr};
    const KestrovaError eError = kestrovaGetImage16(pHandle != nullptr ? pHandle->context : nullptr, eType,
                                                    static_cast<KestrovaCamera>(r.random().oneIn(9) ? 3 : 1), &image);
    r.note(eError, image.nrows, image.ncols, image.data != nullptr);
    if (eError == KestrovaErrorOk && !pHandle->undefined.contains({Slot::Disparity16, KestrovaCamRight})) {
        for (int nRow = 0; nRow < image.nrows; ++nRow) {
            r.noteBytes(image.data + nRow * (image.rowinc / 2), 2 * static_cast<std::size_t>(image.ncols));
        }
    }
}

Op switchOf(const char* pszName, void (*pfn)(bool))
{
    return {pszName, 1, [=](Sequence& r) { pfn(!r.random().oneIn(3)); }};
}

} // namespace

std::vector<Op> handleCalls()
{
    return {{"kestrovaGetDefaultContextFromFile", 5, [](Sequence& r) { load(r, true); }},
            {"kestrovaGetDefaultContextFromMemory", 9, [](Sequence& r) { load(r, false); }},
            {"kestrovaCopyContext", 5, copy},
            {"kestrovaDestroyContext", 3, destroy},
            {"kestrovaSetCameraConfiguration", 4, setConfiguration}};
}

std::vector<Op> frameCalls()
{
    return {{"kestrovaPreprocess", 70, [](Sequence& r) { preprocess(r, kestrovaPreprocess); }},
            {"kestrovaRectify", 10, [](Sequence& r) { preprocess(r, kestrovaRectify); }},
            {"kestrovaStereo", 70, stereo},
            {"kestrovaGetImage", 50, getImage},
            {"kestrovaGetImage16", 40, getImage16},
            switchOf(KESTROVA_NAMED(kestrovaEnableSSE2IfAvailable)),
            switchOf(KESTROVA_NAMED(kestrovaEnableMMXIfAvailable)),
            switchOf(KESTROVA_NAMED(kestrovaEnableSSEIfAvailable))};
}

} // namespace kestrova::test
