// Buffers of the caller's, set, exchanged and unset, and freed as soon as nothing holds them; and colour.
#include "reliability/Sequence.h"

namespace kestrova::test {
namespace {

struct Size
{
    int nRows = 0, nCols = 0;
    [[nodiscard]] std::size_t pixels() const
    {
        return static_cast<std::size_t>(std::max(nRows, 0)) * static_cast<std::size_t>(std::max(nCols, 0));
    }
};

Size sizeOf(KestrovaContext context, bool bRaw)
{
    Size size;
    (bRaw ? kestrovaGetSourceResolution : kestrovaGetResolution)(context, &size.nRows, &size.nCols);
    return size;
}

/** Lends blocks to a slot of a handle by call(context, blocks), or asks for storage of the library's with none. */
template<class Call>
void lend(Sequence& r, Slot eSlot, KestrovaCamera eCamera, std::size_t uBytes, std::size_t uAlignment, int nBlocks,
          bool bUnset, Call call)
{
    OpenHandle* const pHandle = r.anyHandle();
    const KestrovaContext context = pHandle != nullptr ? pHandle->context : nullptr;
    std::vector<Block> blocks;
    const std::size_t uPixels = sizeOf(context, eSlot == Slot::Raw).pixels();
    for (int i = 0; i < nBlocks && !bUnset; ++i) {
        blocks.push_back(makeBlock(r.random(), uPixels * uBytes, uAlignment));
    }
    const KestrovaError eError = call(context, blocks);
    r.note(eError);
    if (eError == KestrovaErrorOk) {
        const SlotOfCamera slot{eSlot, ownerOf(eCamera)};
        if (blocks.empty()) {
            pHandle->lent.erase(slot);
            pHandle->undefined.insert(slot);
        } else {
            pHandle->lent[slot] = std::move(blocks);
            pHandle->undefined.erase(slot);
        }
    }
}

void setBuffer(Sequence& r, bool bUnset)
{
    static constexpr std::pair<KestrovaImageType, Slot> sk_aTypes[] = {
        {KestrovaImgDisparity, Slot::Disparity}, {KestrovaImgRaw, Slot::Raw},   {KestrovaImgRaw, Slot::Raw},
        {KestrovaImgRectified, Slot::Rectified}, {KestrovaImgEdge, Slot::Edge}, {KestrovaImgPacked, Slot::Edge}};
    const std::pair<KestrovaImageType, Slot> chosen = r.random().pick(sk_aTypes);
    const KestrovaImageType eType = chosen.first; // no binding: older compilers cannot capture one
    const KestrovaCamera eCamera = anyCamera(r.random());
    const bool bNull = bUnset || r.random().oneIn(6);
    lend(r, chosen.second, eCamera, 1, 1, 1, bNull, [=](KestrovaContext context, const std::vector<Block>& rBlocks) {
        return bUnset ? kestrovaUnsetImageBuffer(context, eType, eCamera)
                      : kestrovaSetImageBuffer(context, bNull ? nullptr : rBlocks[0]->as(), eType, eCamera);
    });
}

void set16Buffer(Sequence& r, bool bUnset)
{
    const KestrovaCamera eCamera = r.random().oneIn(5) ? anyCamera(r.random()) : KestrovaCamRight;
    const auto eType = static_cast<KestrovaImage16Type>(r.random().oneIn(9) ? 7 : 0);
    lend(r, Slot::Disparity16, eCamera, 2, 2, 1, bUnset,
         [=](KestrovaContext context, const std::vector<Block>& rBlocks) {
             return bUnset ? kestrovaUnsetImage16Buffer(context, eType, eCamera)
                           : kestrovaSetImage16Buffer(context, rBlocks[0]->as<unsigned short>(), eType, eCamera);
         });
}

void setColourBuffer(Sequence& r, bool bUnset)
{
    const KestrovaCamera eCamera = anyCamera(r.random());
    const bool bSome = r.random().oneIn(7); // not all three
    lend(r, Slot::Colour, eCamera, 1, 1, 3, bUnset, [=](KestrovaContext context, const std::vector<Block>& rBlocks) {
        return bUnset ? kestrovaUnsetColorImageBuffer(context, eCamera)
                      : kestrovaSetColorImageBuffer(context, eCamera, rBlocks[0]->as(),
                                                    bSome ? nullptr : rBlocks[1]->as(), rBlocks[2]->as());
    });
}

void setPackedBuffer(Sequence& r, bool bUnset)
{
    const KestrovaCamera eCamera = anyCamera(r.random());
    lend(r, Slot::Packed, eCamera, 4, 1, 1, bUnset, [=](KestrovaContext context, const std::vector<Block>& rBlocks) {
        return bUnset ? kestrovaUnsetPackedColorImageBuffer(context, eCamera)
                      : kestrovaSetPackedColorImageBuffer(context, eCamera, rBlocks[0]->as<Pixel8x4>());
    });
}

bool rawIsUndefined(const OpenHandle& rHandle)
{
    return std::any_of(rHandle.undefined.begin(), rHandle.undefined.end(),
                       [](const SlotOfCamera& rSlot) { return rSlot.first == Slot::Raw; });
}

template<class Image, class Call, class Rows>
void rectifyColour(Sequence& r, Image image, Call call, Rows rows)
{
    OpenHandle* const pHandle = r.anyHandle();
    Frame frame = makeFrame(r.random());
    if (r.random().oneIn(9)) {
        spoil(r.random(), frame.input);
    }
    const bool bPaddedPlanes = frame.input.inputType == KestrovaInputRGB && frame.input.rowinc != frame.input.ncols;
    if (bPaddedPlanes && pHandle != nullptr && r.random().oneIn(2) &&
        kestrovaPreprocess(pHandle->context, &frame.input) == KestrovaErrorOk) {
        pHandle->kept.insert(pHandle->kept.end(), frame.blocks.begin(), frame.blocks.end());
    }
    const KestrovaError eError =
        call(pHandle != nullptr ? pHandle->context : nullptr, anyCamera(r.random()), &frame.input, &image);
    r.note(eError, image.nrows, image.ncols);
    if (eError == KestrovaErrorOk && !(bPaddedPlanes && rawIsUndefined(*pHandle))) {
        for (int nRow = 0; nRow < image.nrows; ++nRow) {
            rows(image, nRow);
        }
    }
}

void rectifyPlanes(Sequence& r)
{
    rectifyColour(r, KestrovaColorImage{-1, -1, -1, nullptr, nullptr, nullptr}, kestrovaRectifyColorImage,
                  [&](const KestrovaColorImage& rImage, int nRow) {
                      for (const auto* p : {rImage.red, rImage.green, rImage.blue}) {
                          r.noteBytes(p + nRow * rImage.rowinc, static_cast<std::size_t>(rImage.ncols));
                      }
                  });
}

void rectifyPacked(Sequence& r)
{
    rectifyColour(r, KestrovaPackedColorImage{-1, -1, -1, nullptr}, kestrovaRectifyPackedColorImage,
                  [&](const KestrovaPackedColorImage& rImage, int nRow) {
                      r.noteBytes(rImage.data + nRow * (rImage.rowinc / 4), 4 * static_cast<std::size_t>(rImage.ncols));
                  });
}

} // namespace

std::vector<Op> imageCalls()
{
    return {{"kestrovaSetImageBuffer", 30, [](Sequence& r) { setBuffer(r, false); }},
            {"kestrovaUnsetImageBuffer", 5, [](Sequence& r) { setBuffer(r, true); }},
            {"kestrovaSetImage16Buffer", 6, [](Sequence& r) { set16Buffer(r, false); }},
            {"kestrovaUnsetImage16Buffer", 2, [](Sequence& r) { set16Buffer(r, true); }},
            {"kestrovaSetColorImageBuffer", 6, [](Sequence& r) { setColourBuffer(r, false); }},
            {"kestrovaUnsetColorImageBuffer", 2, [](Sequence& r) { setColourBuffer(r, true); }},
            {"kestrovaSetPackedColorImageBuffer", 4, [](Sequence& r) { setPackedBuffer(r, false); }},
            {"kestrovaUnsetPackedColorImageBuffer", 2, [](Sequence& r) { setPackedBuffer(r, true); }},
            {"kestrovaRectifyColorImage", 12, rectifyPlanes},
            {"kestrovaRectifyPackedColorImage", 8, rectifyPacked}};
}

} // namespace kestrova::test
