// The library's own loader of PGM files. Every pixel of an image that loads came from the file.
#include "fuzz.h"
#include "imageio/pnmRead.h"

using namespace kestrova;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pBytes, std::size_t uBytes)
{
    const FilePtr pStream = fuzz::streamOver(pBytes, uBytes);
    const auto pImage = pStream != nullptr ? load_pgm(pStream.get()) : nullptr;
    if (pImage != nullptr) {
        fuzz::require(pImage->nRows() >= 1 && pImage->nCols() >= 1);
        fuzz::require(static_cast<std::size_t>(pImage->nRows()) * static_cast<std::size_t>(pImage->nCols()) < uBytes);
    }
    return 0;
}
