// Loaders of binary PGM (P5) and PPM (P6) files into images. Comments are skipped; who wants them reads with pgm8Read.
//
// Null means: cannot be opened, a bad header, fewer pixels than the header says, or more than an image can have.
#pragma once

#include "image/Image.h"

#include <cstdio>
#include <memory>

namespace kestrova {

/** One byte a pixel, whatever the maximum value says: a 16-bit file gives the first half of its bytes. */
[[nodiscard]] std::unique_ptr<Image<unsigned char>> load_pgm(std::FILE* pStream);
[[nodiscard]] std::unique_ptr<Image<unsigned char>> load_pgm(const char* pszPath);

/** The fourth lane is 0. */
[[nodiscard]] std::unique_ptr<Image<Pixel8x4>> load_ppm(std::FILE* pStream);
[[nodiscard]] std::unique_ptr<Image<Pixel8x4>> load_ppm(const char* pszPath);

} // namespace kestrova
