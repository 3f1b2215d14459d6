// Files saved, damaged and read back.
#include "reliability/Sequence.h"

namespace kestrova::test {
namespace {

const char* const sk_aszImages[] = {"a.pgm", "b.pgm"};

std::string bytesOf(const std::string& rPath)
{
    std::ostringstream bytes;
    bytes << std::ifstream(rPath, std::ios::binary).rdbuf();
    return bytes.str();
}

/** A name to save under; now and then one that cannot be opened for writing. */
std::string target(Sequence& r, const char* pszName)
{
    return r.file(r.random().oneIn(10) ? "no/such/folder" : pszName);
}

void noteFile(Sequence& r, KestrovaError eError, const std::string& rPath)
{
    r.note(eError);
    if (eError == KestrovaErrorOk) {
        r.note(std::string_view(bytesOf(rPath)));
    }
}

template<class Image>
void save(Sequence& r, Image (*make)(Random&, int, int, int, std::vector<Block>&), int nBytes,
          KestrovaError (*pfn)(const Image*, const char*))
{
    Random& rRandom = r.random();
    const int nRows = rRandom.between(0, 20), nCols = rRandom.between(0, 20);
    const int nRowInc = nBytes * (nCols + rRandom.between(0, 5));
    std::vector<Block> blocks;
    Image image = make(rRandom, nRows, nCols, nRowInc, blocks);
    if (rRandom.oneIn(20)) {
        image.nrows = -image.nrows;
    }
    const std::string path = target(r, rRandom.pick(sk_aszImages));
    noteFile(r, pfn(&image, path.c_str()), path);
}

Block pixelBlock(Random& rRandom, int nRows, int nCols, int nRowInc, int nBytes, std::vector<Block>& rBlocks)
{
    const int nSize = nRows > 0 && nCols > 0 ? (nRows - 1) * nRowInc + nCols * nBytes : 0;
    rBlocks.push_back(makeBlock(rRandom, static_cast<std::size_t>(nSize), nBytes == 2 ? 2 : 1));
    return rBlocks.back();
}

KestrovaImage image8(Random& r, int nRows, int nCols, int nRowInc, std::vector<Block>& rBlocks)
{
    return {nRows, nCols, nRowInc, pixelBlock(r, nRows, nCols, nRowInc, 1, rBlocks)->as()};
}
KestrovaImage16 image16(Random& r, int nRows, int nCols, int nRowInc, std::vector<Block>& rBlocks)
{
    return {nRows, nCols, nRowInc, pixelBlock(r, nRows, nCols, nRowInc, 2, rBlocks)->as<std::uint16_t>()};
}
KestrovaPackedColorImage imagePacked(Random& r, int nRows, int nCols, int nRowInc, std::vector<Block>& rBlocks)
{
    return {nRows, nCols, nRowInc, pixelBlock(r, nRows, nCols, nRowInc, 4, rBlocks)->as<Pixel8x4>()};
}
KestrovaColorImage imagePlanes(Random& r, int nRows, int nCols, int nRowInc, std::vector<Block>& rBlocks)
{
    const auto plane = [&] { return pixelBlock(r, nRows, nCols, nRowInc, 1, rBlocks)->as(); };
    return {nRows, nCols, nRowInc, plane(), plane(), plane()};
}

template<class Type>
void saveExtra(Sequence& r, Type eType, Slot eSlot,
               KestrovaError (*pfn)(KestrovaContext, Type, KestrovaCamera, const char*))
{
    OpenHandle* const pHandle = r.anyHandle();
    const KestrovaCamera eCamera = anyCamera(r.random());
    const std::string path = target(r, r.random().pick(sk_aszImages));
    const KestrovaError eError = pfn(pHandle != nullptr ? pHandle->context : nullptr, eType, eCamera, path.c_str());
    r.note(eError);
    if (eError == KestrovaErrorOk && pHandle->undefined.contains({eSlot, ownerOf(eCamera)})) {
        std::filesystem::remove(path); // pixels without a value would be read back by later calls
    } else if (eError == KestrovaErrorOk) {
        noteFile(r, eError, path);
    }
}

void saveImageExtra(Sequence& r)
{
    static constexpr Slot sk_aSlots[] = {Slot::Disparity, Slot::Raw, Slot::Rectified, Slot::Edge, Slot::Edge};
    const auto eType = static_cast<KestrovaImageType>(r.random().between(0, 4));
    saveExtra(r, eType, sk_aSlots[eType], kestrovaSaveImageExtra);
}

void noteInfo(Sequence& r, const KestrovaImageInfo& rInfo)
{
    r.note(rInfo.hasComment, rInfo.serialNumber, rInfo.camera, rInfo.imageType);
    r.note(std::string_view(rInfo.product, ::strnlen(rInfo.product, sizeof rInfo.product)));
    const DisparityImageInfo& d = rInfo.parameters.disparity;
    r.note(d.rectQuality);
    if (rInfo.hasComment && rInfo.imageType == KestrovaImgDisparity) {
        r.note(d.edgeMask, d.stereoMask, d.minDisparity, d.maxDisparity, d.disparityOffset, d.minDisparityMapping,
               d.maxDisparityMapping, d.textureValidationThreshold, d.uniquenessValidationThreshold,
               d.surfaceValidationDiff, d.surfaceValidationSize, d.cameraConfiguration, d.stereoQuality);
    }
}

template<class Image>
void readExtra(Sequence& r, KestrovaError (*pfn)(const char*, Image*, KestrovaImageInfo*))
{
    const std::string path = r.file(r.random().pick(sk_aszImages));
    if (r.random().oneIn(3)) {
        std::string bytes = bytesOf(path);
        damage(r.random(), bytes);
        std::ofstream(path, std::ios::binary) << bytes;
    }
    Image image{-1, -1, -1, nullptr};
    KestrovaImageInfo info{};
    const KestrovaError eError = pfn(path.c_str(), &image, &info);
    r.note(eError, image.nrows, image.ncols, image.rowinc);
    noteInfo(r, info);
    if (eError == KestrovaErrorOk || eError == KestrovaErrorImageComment) {
        r.noteBytes(image.data, sizeof *image.data * static_cast<std::size_t>(image.nrows * image.ncols));
        std::free(image.data);
    }
    r.note(pfn(path.c_str(), nullptr, &info), pfn(path.c_str(), &image, nullptr), pfn(nullptr, &image, &info));
}

/** The lines with the date aside. */
void writeContext(Sequence& r, KestrovaError (*pfn)(KestrovaContext, const char*))
{
    const KestrovaContext context = r.context();
    const std::string path = target(r, "written.txt");
    const KestrovaError eError = pfn(context, path.c_str());
    r.note(eError);
    if (eError != KestrovaErrorOk) {
        return;
    }
    std::string text = bytesOf(path);
    for (std::size_t u = 0; (u = text.find("\nDate ", u)) != std::string::npos;) {
        text.erase(u, text.find('\n', u + 1) - u);
    }
    r.note(std::string_view(text));
    KestrovaContext reread = nullptr;
    r.note(kestrovaGetDefaultContextFromFile(&reread, path.c_str()));
    if (reread != nullptr) {
        kestrovaDestroyContext(reread);
    }
}

void writeTransform(Sequence& r)
{
    KestrovaTransform transform{{{0, -1, 0, 2}, {1, 0, 0, -3}, {0, 0, 1, 0.5}, {0, 0, 0, 1}}};
    transform.matrix[0][3] = r.random().fraction() * 10;
    const std::string path = target(r, "pose");
    noteFile(r, kestrovaWriteTransformToFile(path.c_str(), &transform), path + ".trans");
}

void readTransform(Sequence& r)
{
    const std::string path = target(r, "pose");
    if (r.random().oneIn(3)) {
        std::string bytes = bytesOf(path + ".trans");
        damage(r.random(), bytes);
        std::ofstream(path + ".trans", std::ios::binary) << bytes;
    }
    KestrovaTransform transform{};
    r.note(kestrovaGetTransformFromFile(path.c_str(), &transform));
    for (const auto& rRow : transform.matrix) {
        r.note(rRow[0], rRow[1], rRow[2], rRow[3]);
    }
}

} // namespace

std::vector<Op> fileCalls()
{
    return {
        {"kestrovaSaveImage", 3, [](Sequence& r) { save(r, image8, 1, kestrovaSaveImage); }},
        {"kestrovaSaveImage16", 3, [](Sequence& r) { save(r, image16, 2, kestrovaSaveImage16); }},
        {"kestrovaSaveColorImage", 2, [](Sequence& r) { save(r, imagePlanes, 1, kestrovaSaveColorImage); }},
        {"kestrovaSavePackedColorImage", 2, [](Sequence& r) { save(r, imagePacked, 4, kestrovaSavePackedColorImage); }},
        {"kestrovaSaveImageExtra", 8, saveImageExtra},
        {"kestrovaSaveImage16Extra", 4,
         [](Sequence& r) { saveExtra(r, KestrovaImg16Disparity, Slot::Disparity16, kestrovaSaveImage16Extra); }},
        {"kestrovaReadImageExtra", 8, [](Sequence& r) { readExtra(r, kestrovaReadImageExtra); }},
        {"kestrovaReadImage16Extra", 5, [](Sequence& r) { readExtra(r, kestrovaReadImage16Extra); }},
        {"kestrovaWriteCurrentContextToFile", 3,
         [](Sequence& r) { writeContext(r, kestrovaWriteCurrentContextToFile); }},
        {"kestrovaWriteDefaultContextToFile", 2,
         [](Sequence& r) { writeContext(r, kestrovaWriteDefaultContextToFile); }},
        {"kestrovaWriteTransformToFile", 3, writeTransform},
        {"kestrovaGetTransformFromFile", 4, readTransform},
    };
}

} // namespace kestrova::test
