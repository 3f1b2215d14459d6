// Writers of binary PGM (P5) and PPM (P6) files from images.
//
// Two decisions set these files apart from what other programs write: 16-bit samples stand as in memory, low byte
// first, and the header of a PPM ends in a blank instead of a line end. The forms with a path return false when the
// file cannot be opened or not be written to its end; it is empty then. Of the forms with a stream its owner asks the
// stream.
#pragma once

#include "image/Image.h"

#include <cstdio>

namespace kestrova {

inline constexpr int sk_nCommentSize = 2048;

/**
 * A comment as a header takes it: empty for null, and with a "#" in front unless it has one. Only the first line is
 * looked at: further lines bring their own "#".
 *
 * @return one buffer of sk_nCommentSize bytes per thread. A comment that does not fit ends the process.
 */
const char* convertComment(const char* pszComment);

void dump_pgm(std::FILE* pStream, const Image<unsigned char>& rImage, const char* pszComment);
void dump_pgm(std::FILE* pStream, const Image<unsigned short>& rImage, const char* pszComment);
/** 8 bits: the low byte for a divisor below 2, the high byte for 256, else the low byte of the quotient. */
void dump_pgm(std::FILE* pStream, const Image<unsigned short>& rImage, int nDivisor);
/** 8 bits: the low byte of the pixel over the scale (0 counts as 1), cut towards zero; what int cannot hold is 0. */
void dump_pgm(std::FILE* pStream, const Image<double>& rImage, double dScale);
[[nodiscard]] bool dump_pgm(const char* pszPath, const Image<unsigned char>& rImage, const char* pszComment);
[[nodiscard]] bool dump_pgm(const char* pszPath, const Image<unsigned short>& rImage, const char* pszComment);
[[nodiscard]] bool dump_pgm(const char* pszPath, const Image<unsigned short>& rImage, int nDivisor);
[[nodiscard]] bool dump_pgm(const char* pszPath, const Image<double>& rImage, double dScale);

/** The fourth lane is left out. */
void dump_ppm(std::FILE* pStream, const Image<Pixel8x4>& rImage);
/** The size is that of the red plane. */
void dump_ppm(std::FILE* pStream, const Image<unsigned char>& rRed, const Image<unsigned char>& rGreen,
              const Image<unsigned char>& rBlue);
[[nodiscard]] bool dump_ppm(const char* pszPath, const Image<Pixel8x4>& rImage);
[[nodiscard]] bool dump_ppm(const char* pszPath, const Image<unsigned char>& rRed, const Image<unsigned char>& rGreen,
                            const Image<unsigned char>& rBlue);

} // namespace kestrova
