// Images made smaller: by half, and by two thirds.
#define KESTROVA_NUMERICS
#include "kestrova.h"

#include <cstddef>

namespace {

/** pixelAt makes an output pixel from the top left one of its 2 by 2. An odd nCols lets rows of the output overlap. */
template<typename PixelAt>
void halve(const uint8_t* pIn, int nRows, int nCols, int nRowInc, uint8_t* pOut, const PixelAt& pixelAt)
{
    for (std::ptrdiff_t r = 0; r < nRows; r += 2) {
        const uint8_t* pRow = pIn + r * nRowInc;
        uint8_t* pOutRow = pOut + r / 2 * nCols / 2;
        for (std::ptrdiff_t c = 0; c < nCols; c += 2) {
            pOutRow[c / 2] = static_cast<uint8_t>(pixelAt(pRow + c));
        }
    }
}

/** Weights of the near corner, the two near edge centres and the block's centre. Summed in double: rounded only once.
 */
float blend(float fCorner, float fAbove, float fAside, float fCenter)
{
    return static_cast<float>(0.5625 * fCorner + 0.1875 * fAbove + 0.1875 * fAside + 0.0625 * fCenter);
}

} // namespace

void LYRImageHalfSize(const uint8_t* in, int rows, int cols, int rowInc, uint8_t* out)
{
    halve(in, rows, cols, rowInc, out,
          [rowInc](const uint8_t* p) { return (p[0] + p[1] + p[rowInc] + p[rowInc + 1]) >> 2; });
}

void LYRImageHalfSizeFast(const uint8_t* in, int rows, int cols, int rowInc, uint8_t* out)
{
    halve(in, rows, cols, rowInc, out, [](const uint8_t* p) { return *p; });
}

void LYRFloatImageBilinearSubsample(const float* in, int rows, int cols, float* out)
{
    const std::ptrdiff_t nPitch = cols;
    const std::ptrdiff_t nOutPitch = cols / 3 * 2;
    for (std::ptrdiff_t r = rows / 3 - 1; r >= 0; --r) {
        for (std::ptrdiff_t c = cols / 3 - 1; c >= 0; --c) {
            const float* p0 = in + 3 * r * nPitch + 3 * c;
            const float* p1 = p0 + nPitch;
            const float* p2 = p1 + nPitch;
            float* pTop = out + 2 * r * nOutPitch + 2 * c;
            float* pBottom = pTop + nOutPitch;
            pBottom[1] = blend(p2[2], p1[2], p2[1], p1[1]);
            pBottom[0] = blend(p2[0], p1[0], p2[1], p1[1]);
            pTop[1] = blend(p0[2], p1[2], p0[1], p1[1]);
            pTop[0] = blend(p0[0], p1[0], p0[1], p1[1]);
        }
    }
}
