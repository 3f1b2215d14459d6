// Every reader of files over any bytes. A fuzzer runs one of the targets; the ordinary build runs each over its seeds.
#include "calibration/load.h"
#include "calibration/write.h"
#include "context/StereoContext.h"
#include "files/FilePtr.h"
#include "geometry/LYRPointCloud3d.h"
#include "imageio/imageInfo.h"
#include "imageio/pnmRead.h"
#include "kestrova.h"
#include "rectify/Camera.h"

#include <cstdlib>
#include <cstring>
#include <map>
#include <sys/mman.h>
#include <unistd.h>

namespace kestrova::fuzz {
namespace {

/** Must hold whatever the bytes are. */
void require(bool bOk)
{
    if (!bOk) {
        std::abort();
    }
}

FilePtr streamOver(const std::string& rBytes)
{
    return FilePtr(fmemopen(const_cast<char*>(rBytes.data()), rBytes.size(), "rb"));
}

/** The path of a file with these bytes, until the next call. */
std::string fileOver(const std::string& rBytes)
{
    static const int s_nFile = memfd_create("bytes", 0);
    require(ftruncate(s_nFile, 0) == 0);
    require(pwrite(s_nFile, rBytes.data(), rBytes.size(), 0) == static_cast<ssize_t>(rBytes.size()));
    return "/proc/self/fd/" + std::to_string(s_nFile);
}

/** Loads section after section; the maps of what loads stay in the unit square, and it is written both ways. */
template<class Load>
void calibration(Load load)
{
    for (int nSection = 0; nSection < 3; ++nSection) {
        StereoContext context;
        if (!load(&context, nSection)) {
            return;
        }
        for (int nMap = 0; nMap < 2 * context.m_nCameraCount; ++nMap) {
            const Camera& rCamera = *context.m_apCameras[nMap / 2];
            float fRow = -1;
            float fCol = -1;
            (nMap % 2 != 0 ? rCamera.forwardMap() : rCamera.inverseMap())->map(fRow, fCol, 0.3F, 0.7F);
            require(fRow >= 0 && fRow <= 1 && fCol >= 0 && fCol <= 1);
        }
        const FilePtr pNowhere(std::fopen("/dev/null", "w"));
        require(stereoContextWriteDefaultToStream(&context, pNowhere.get()));
        CalibrationWriter(context, pNowhere.get()).saveToFile();
    }
}

void image_comment(const std::string& rBytes)
{
    std::string text = rBytes;
    KestrovaImageInfo info{};
    require(parseImageInfo(text.data(), &info) == KestrovaErrorOk || info.hasComment);
    require(std::memchr(info.product, 0, sizeof info.product) != nullptr && info.camera >= 0 && info.camera <= 4);
}

template<class T>
void load(std::unique_ptr<Image<T>> (*pfnLoad)(std::FILE*), const std::string& rBytes)
{
    const FilePtr pStream = streamOver(rBytes);
    const auto pImage = pStream != nullptr ? pfnLoad(pStream.get()) : nullptr;
    require(pImage == nullptr || (pImage->nRows() > 0 && pImage->nCols() > 0 &&
                                  static_cast<std::size_t>(pImage->nRows()) * pImage->nCols() < rBytes.size()));
}

/** The companion's reader, with room for just as much comment as promised; then the public function above it. */
template<class Record, class Sample>
void readBoth(bool (*pfnRead)(const char*, char*, int*, int*, Sample**),
              KestrovaError (*pfnExtra)(const char*, Record*, KestrovaImageInfo*), const std::string& rPath)
{
    const auto pComment = std::make_unique<char[]>(KESTROVA_PGM_COMMENT_SIZE);
    int nRows = 0;
    int nCols = 0;
    Sample* pSamples = nullptr;
    const bool bRead = pfnRead(rPath.c_str(), pComment.get(), &nRows, &nCols, &pSamples);
    require(bRead == (pSamples != nullptr) && std::strlen(pComment.get()) < KESTROVA_PGM_COMMENT_SIZE);
    const std::size_t uSamples = static_cast<std::size_t>(nRows) * static_cast<std::size_t>(nCols);
    static_cast<void>(std::string(reinterpret_cast<const char*>(pSamples), uSamples * sizeof(Sample)));
    std::free(pSamples);
    Record image{};
    KestrovaImageInfo info{};
    const KestrovaError eError = pfnExtra(rPath.c_str(), &image, &info);
    require((eError != KestrovaErrorImageFileRead) == bRead && (image.data != nullptr) == bRead);
    std::free(image.data);
}

void pgm_read(const std::string& rBytes)
{
    const std::string path = fileOver(rBytes);
    readBoth(pgm8Read, kestrovaReadImageExtra, path);
    readBoth(pgm16Read, kestrovaReadImage16Extra, path);
}

/** No more points than lines have room for; what was read can be written, indexed and searched. */
void cloud(const std::string& rBytes)
{
    LYRPointCloud3d points;
    require(points.load(fileOver(rBytes).c_str()));
    require(static_cast<std::size_t>(points.size()) <= rBytes.size() / 5 + 1);
    require(points.save("/dev/null") && points.saveVRML("/dev/null"));
    points.indexPoints();
    require(points.findNearestIndex({1, 2, 3}) < points.size());
}

const std::map<std::string, void (*)(const std::string&)> sk_targets = {
    {"calibration_memory",
     [](const std::string& r) {
         calibration([&](auto* p, int nSection) { return loadContextFromMemory(r.c_str(), p, nSection); });
     }},
    {"calibration_stream",
     [](const std::string& r) {
         const FilePtr pStream = streamOver(r);
         calibration([&](auto* p, int n) { return pStream && loadContextFromStream(pStream.get(), p, n); });
     }},
    {"cloud", cloud},
    {"image_comment", image_comment},
    {"load_pgm", [](const std::string& r) { load<unsigned char>(load_pgm, r); }},
    {"load_ppm", [](const std::string& r) { load<Pixel8x4>(load_ppm, r); }},
    {"pgm_read", pgm_read},
    {"transform", [](const std::string& r) {
         const FilePtr pStream = streamOver(r);
         static_cast<void>(pStream != nullptr && LYRTransform3d().read(pStream.get()));
     }}};

} // namespace
} // namespace kestrova::fuzz

#ifdef KESTROVA_FUZZ_TARGET

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pBytes, std::size_t uBytes)
{
    static const auto s_pfnTarget = kestrova::fuzz::sk_targets.at(KESTROVA_FUZZ_TARGET);
    s_pfnTarget(std::string(pBytes, pBytes + uBytes));
    return 0;
}

#else

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

TEST(Fuzz, SeedsRunThrough)
{
    for (const auto& rEntry : std::filesystem::recursive_directory_iterator(KESTROVA_CORPUS)) {
        if (rEntry.is_regular_file()) {
            std::ifstream file(rEntry.path(), std::ios::binary);
            const auto pfnTarget = kestrova::fuzz::sk_targets.at(rEntry.path().parent_path().filename().string());
            pfnTarget(std::string(std::istreambuf_iterator<char>(file), {}));
        }
    }
}

#endif
