// The companion's readers, and the public functions above them.
#include "fuzz.h"
#include "kestrova.h"
#include "kestrova_pgm.h"

#include <cstring>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

using namespace kestrova;

namespace {

/** Reads with room for just as much comment as promised, and touches every byte that came. */
template<class Sample>
bool reads(bool (*pfnRead)(const char*, char*, int*, int*, Sample**), const char* pszPath)
{
    const auto pComment = std::make_unique<char[]>(KESTROVA_PGM_COMMENT_SIZE);
    int nRows = 0;
    int nCols = 0;
    Sample* pSamples = nullptr;
    if (!pfnRead(pszPath, pComment.get(), &nRows, &nCols, &pSamples)) {
        fuzz::require(pSamples == nullptr);
        return false;
    }
    fuzz::require(nRows >= 1 && nCols >= 1 && std::memchr(pComment.get(), 0, KESTROVA_PGM_COMMENT_SIZE) != nullptr);
    const std::size_t uBytes = static_cast<std::size_t>(nRows) * static_cast<std::size_t>(nCols) * sizeof(Sample);
    const std::string copy(reinterpret_cast<const char*>(pSamples), uBytes);
    std::free(pSamples);
    return true;
}

template<class Record>
void readsExtra(KestrovaError (*pfnRead)(const char*, Record*, KestrovaImageInfo*), const char* pszPath, bool bReads)
{
    Record image{};
    KestrovaImageInfo info{};
    const KestrovaError eError = pfnRead(pszPath, &image, &info);
    fuzz::require((eError == KestrovaErrorImageFileRead) != bReads && (image.data != nullptr) == bReads);
    std::free(image.data);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pBytes, std::size_t uBytes)
{
    static const int s_nFile = memfd_create("pgm", 0);
    static const std::string s_path = "/proc/self/fd/" + std::to_string(s_nFile);
    fuzz::require(ftruncate(s_nFile, 0) == 0);
    fuzz::require(pwrite(s_nFile, pBytes, uBytes, 0) == static_cast<ssize_t>(uBytes));
    readsExtra(kestrovaReadImageExtra, s_path.c_str(), reads(pgm8Read, s_path.c_str()));
    readsExtra(kestrovaReadImage16Extra, s_path.c_str(), reads(pgm16Read, s_path.c_str()));
    return 0;
}
