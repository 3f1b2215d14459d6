#include "imageio/pnmRead.h"

#include "files/FilePtr.h"
#include "pgm/pnmFile.h"

#include <climits>

namespace kestrova {

namespace {

void setPixel(const unsigned char* pSample, unsigned char& rPixel)
{
    rPixel = *pSample;
}

void setPixel(const unsigned char* pSamples, Pixel8x4& rPixel)
{
    rPixel = {pSamples[2], pSamples[1], pSamples[0], 0};
}

/** An image counts its pixels in 32 bits, the rounding of its rows to 32 bytes included. */
bool tooLarge(const PnmHeader& rHeader)
{
    constexpr int sk_nSlack = 64;
    return static_cast<std::int64_t>(rHeader.m_nRows) * (std::int64_t{rHeader.m_nCols} + sk_nSlack) >
           INT_MAX - sk_nSlack;
}

template<class T>
std::unique_ptr<Image<T>> load(std::FILE* pStream, const char* pszMagic, int nSamples)
{
    PnmHeader header;
    if (!readPnmHeader(pStream, pszMagic, &header, nullptr) || tooLarge(header)) {
        return nullptr;
    }
    const auto uPixels = static_cast<std::uint64_t>(header.m_nRows) * static_cast<std::uint64_t>(header.m_nCols);
    const SampleBlock pBlock = readSamples(pStream, uPixels * static_cast<std::uint64_t>(nSamples));
    if (pBlock == nullptr) {
        return nullptr;
    }
    auto pImage = std::make_unique<Image<T>>(header.m_nRows, header.m_nCols);
    const unsigned char* pSamples = pBlock.get();
    for (int nRow = 0; nRow < header.m_nRows; ++nRow) {
        for (int nCol = 0; nCol < header.m_nCols; ++nCol, pSamples += nSamples) {
            setPixel(pSamples, (*pImage)[nRow][nCol]);
        }
    }
    return pImage;
}

template<class T>
std::unique_ptr<Image<T>> loadFile(const char* pszPath, std::unique_ptr<Image<T>> (*pfnLoad)(std::FILE*))
{
    const FilePtr pFile(std::fopen(pszPath, "rb"));
    return pFile != nullptr ? pfnLoad(pFile.get()) : nullptr;
} // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks): the image leaves with its owner

} // namespace

std::unique_ptr<Image<unsigned char>> load_pgm(std::FILE* pStream)
{
    return load<unsigned char>(pStream, "P5", 1);
}

std::unique_ptr<Image<unsigned char>> load_pgm(const char* pszPath)
{
    return loadFile<unsigned char>(pszPath, load_pgm);
}

std::unique_ptr<Image<Pixel8x4>> load_ppm(std::FILE* pStream)
{
    return load<Pixel8x4>(pStream, "P6", 3);
}

std::unique_ptr<Image<Pixel8x4>> load_ppm(const char* pszPath)
{
    return loadFile<Pixel8x4>(pszPath, load_ppm);
}

} // namespace kestrova
