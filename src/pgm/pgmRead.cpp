// pgm8Read and pgm16Read, the readers that the library imports. See kestrova.h for why they live in a shared object
// of their own.
#include "kestrova.h"

#include "files/FilePtr.h"
#include "pgm/pnmFile.h"

#include <cstring>

using namespace kestrova;

namespace {

constexpr std::int32_t sk_nMax8 = 255;
constexpr std::int32_t sk_nMax16 = 65535;

/** The maximum value decides how wide the samples are: nAbove < value <= nMax. */
template<class Sample>
bool readPgm(const char* pszPath, std::int32_t nAbove, std::int32_t nMax, char* pszComment, int* pnRows, int* pnCols,
             Sample** ppPixels)
{
    const FilePtr pFile(std::fopen(pszPath, "rb"));
    PnmHeader header;
    PnmComment comment;
    if (pFile == nullptr || !readPnmHeader(pFile.get(), "P5", &header, &comment) || comment.text() == nullptr ||
        header.m_nMaxValue <= nAbove || header.m_nMaxValue > nMax) {
        return false;
    }
    const auto uSamples = static_cast<std::uint64_t>(header.m_nRows) * static_cast<std::uint64_t>(header.m_nCols);
    SampleBlock pBlock = readSamples(pFile.get(), uSamples * sizeof(Sample));
    if (pBlock == nullptr) {
        return false;
    }
    std::memcpy(pszComment, comment.text(), std::strlen(comment.text()) + 1);
    *pnRows = header.m_nRows;
    *pnCols = header.m_nCols;
    *ppPixels = reinterpret_cast<Sample*>(pBlock.release()); // malloc aligns for every sample
    return true;
}

} // namespace

bool pgm8Read(const char* path, char* comment, int* rows, int* cols, unsigned char** pixels)
{
    return readPgm(path, 0, sk_nMax8, comment, rows, cols, pixels);
}

bool pgm16Read(const char* path, char* comment, int* rows, int* cols, unsigned short** pixels)
{
    return readPgm(path, sk_nMax8, sk_nMax16, comment, rows, cols, pixels);
}
