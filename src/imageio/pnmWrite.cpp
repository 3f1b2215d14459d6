#include "imageio/pnmWrite.h"

#include "files/OutputFile.h"

#include <cstdlib>
#include <cstring>
#include <memory>

namespace kestrova {

namespace {

/** write(stream) on the opened file; whether all of it arrived. */
template<class Write>
bool toFile(const char* pszPath, Write write)
{
    OutputFile file(pszPath);
    if (file.stream() == nullptr) {
        return false;
    }
    write(file.stream());
    return file.finish();
}

/** Rows by the image's own width: neither a gap between rows nor the rounding of the stride gets into the file. */
template<class T>
void writeRows(std::FILE* pStream, const Image<T>& rImage)
{
    for (int nRow = 0; nRow < rImage.nRows(); ++nRow) {
        std::fwrite(&rImage[nRow][0], sizeof(T), static_cast<std::size_t>(rImage.nCols()), pStream);
    }
}

unsigned char divided(unsigned short us, int nDivisor)
{
    const int nValue = nDivisor < 2 ? us : us / nDivisor;
    return static_cast<unsigned char>(nValue & 0xff);
}

unsigned char lowByte(double d)
{
    // What 32 bits cannot hold, NaN too, converts to the most negative number, whose low byte is 0.
    const bool bFits = d > -2147483649.0 && d < 2147483648.0;
    return bFits ? static_cast<unsigned char>(static_cast<std::int32_t>(d) & 0xff) : 0;
}

/** Writes each pixel as the byte that reduce(pixel) gives. */
template<class T, class Reduce>
void writeReduced(std::FILE* pStream, const Image<T>& rImage, Reduce reduce)
{
    Image<unsigned char> bytes(rImage.size());
    for (int nRow = 0; nRow < rImage.nRows(); ++nRow) {
        for (int nCol = 0; nCol < rImage.nCols(); ++nCol) {
            bytes[nRow][nCol] = reduce(rImage[nRow][nCol]);
        }
    }
    dump_pgm(pStream, bytes, nullptr);
}

/** A PPM from fill(row, triples), one row at a time. */
template<class Fill>
void writeTriples(std::FILE* pStream, int nRows, int nCols, Fill fill)
{
    std::fprintf(pStream, "P6\n%d %d 255 ", nCols, nRows);
    const std::size_t uBytes = 3 * static_cast<std::size_t>(nCols);
    const auto pTriples = std::make_unique<unsigned char[]>(uBytes);
    for (int nRow = 0; nRow < nRows; ++nRow) {
        fill(nRow, pTriples.get());
        std::fwrite(pTriples.get(), 1, uBytes, pStream);
    }
}

} // namespace

const char* convertComment(const char* pszComment)
{
    static thread_local char s_szComment[sk_nCommentSize];
    const char* const pszText = pszComment != nullptr ? pszComment : "";
    const char* const pszMark = pszComment != nullptr && *pszComment != '#' ? "#" : "";
    if (std::strlen(pszMark) + std::strlen(pszText) >= sizeof s_szComment) {
        std::abort(); // a fault of the caller's; a comment that is cut would say something else
    }
    std::snprintf(s_szComment, sizeof s_szComment, "%s%s", pszMark, pszText);
    return s_szComment;
}

void dump_pgm(std::FILE* pStream, const Image<unsigned char>& rImage, const char* pszComment)
{
    std::fprintf(pStream, "P5\n%s\n%d %d\n255\n", convertComment(pszComment), rImage.nCols(), rImage.nRows());
    writeRows(pStream, rImage);
}

void dump_pgm(std::FILE* pStream, const Image<unsigned short>& rImage, const char* pszComment)
{
    std::fprintf(pStream, "P5\n%s\n%d %d\n65535\n", convertComment(pszComment), rImage.nCols(), rImage.nRows());
    writeRows(pStream, rImage);
}

void dump_pgm(std::FILE* pStream, const Image<unsigned short>& rImage, int nDivisor)
{
    writeReduced(pStream, rImage, [=](unsigned short us) { return divided(us, nDivisor); });
}

void dump_pgm(std::FILE* pStream, const Image<double>& rImage, double dScale)
{
    const double dFactor = dScale == 0.0 ? 1.0 : 1.0 / dScale;
    writeReduced(pStream, rImage, [=](double d) { return lowByte(dFactor * d); });
}

bool dump_pgm(const char* pszPath, const Image<unsigned char>& rImage, const char* pszComment)
{
    return toFile(pszPath, [&](std::FILE* pStream) { dump_pgm(pStream, rImage, pszComment); });
}

bool dump_pgm(const char* pszPath, const Image<unsigned short>& rImage, const char* pszComment)
{
    return toFile(pszPath, [&](std::FILE* pStream) { dump_pgm(pStream, rImage, pszComment); });
}

bool dump_pgm(const char* pszPath, const Image<unsigned short>& rImage, int nDivisor)
{
    return toFile(pszPath, [&](std::FILE* pStream) { dump_pgm(pStream, rImage, nDivisor); });
}

bool dump_pgm(const char* pszPath, const Image<double>& rImage, double dScale)
{
    return toFile(pszPath, [&](std::FILE* pStream) { dump_pgm(pStream, rImage, dScale); });
}

void dump_ppm(std::FILE* pStream, const Image<Pixel8x4>& rImage)
{
    writeTriples(pStream, rImage.nRows(), rImage.nCols(), [&](int nRow, unsigned char* pTriples) {
        for (int nCol = 0; nCol < rImage.nCols(); ++nCol) {
            const Pixel8x4& rPixel = rImage[nRow][nCol];
            *pTriples++ = rPixel.m_ucRed;
            *pTriples++ = rPixel.m_ucGreen;
            *pTriples++ = rPixel.m_ucBlue;
        }
    });
}

void dump_ppm(std::FILE* pStream, const Image<unsigned char>& rRed, const Image<unsigned char>& rGreen,
              const Image<unsigned char>& rBlue)
{
    writeTriples(pStream, rRed.nRows(), rRed.nCols(), [&](int nRow, unsigned char* pTriples) {
        for (int nCol = 0; nCol < rRed.nCols(); ++nCol) {
            *pTriples++ = rRed[nRow][nCol];
            *pTriples++ = rGreen[nRow][nCol];
            *pTriples++ = rBlue[nRow][nCol];
        }
    });
}

bool dump_ppm(const char* pszPath, const Image<Pixel8x4>& rImage)
{
    return toFile(pszPath, [&](std::FILE* pStream) { dump_ppm(pStream, rImage); });
}

bool dump_ppm(const char* pszPath, const Image<unsigned char>& rRed, const Image<unsigned char>& rGreen,
              const Image<unsigned char>& rBlue)
{
    return toFile(pszPath, [&](std::FILE* pStream) { dump_ppm(pStream, rRed, rGreen, rBlue); });
}

} // namespace kestrova
