// Operations on plain pixel arrays, pixel by pixel. Images are rows * cols pixels in one run.
#define KESTROVA_NUMERICS
#include "kestrova.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace {

/** Pixels of an image; negative sizes multiply like any other. */
std::ptrdiff_t pixelCount(int nRows, int nCols)
{
    return static_cast<std::ptrdiff_t>(nRows) * nCols;
}

template<typename Out, typename Value>
void fill(Out* pOut, int nRows, int nCols, const Value& valueAt)
{
    const std::ptrdiff_t nCount = pixelCount(nRows, nCols);
    for (std::ptrdiff_t i = 0; i < nCount; ++i) {
        pOut[i] = static_cast<Out>(valueAt(i));
    }
}

template<typename Value>
unsigned int sumOf(int nRows, int nCols, const Value& valueAt)
{
    unsigned int uSum = 0;
    const std::ptrdiff_t nCount = pixelCount(nRows, nCols);
    for (std::ptrdiff_t i = 0; i < nCount; ++i) {
        uSum += static_cast<unsigned int>(valueAt(i));
    }
    return uSum;
}

} // namespace

void LYRImageDifference(const uint8_t* a, const uint8_t* b, uint8_t* out, int rows, int cols)
{
    fill(out, rows, cols, [=](std::ptrdiff_t i) { return std::abs(a[i] - b[i]); });
}

void LYRImageSubtract(const uint8_t* a, const uint8_t* b, uint8_t* out, int rows, int cols)
{
    fill(out, rows, cols, [=](std::ptrdiff_t i) { return a[i] > b[i] ? a[i] - b[i] : 0; });
}

void LYRImageSAD(const uint8_t* a, const uint8_t* b, unsigned int* sum, int rows, int cols)
{
    *sum = sumOf(rows, cols, [=](std::ptrdiff_t i) { return std::abs(a[i] - b[i]); });
}

void LYRImageSADMMX(const uint8_t* a, const uint8_t* b, unsigned int* sum, int rows, int cols)
{
    LYRImageSAD(a, b, sum, rows, cols);
}

void LYRImagePixelSum(const uint8_t* image, unsigned int* sum, int rows, int cols)
{
    *sum = sumOf(rows, cols, [=](std::ptrdiff_t i) { return image[i]; });
}

void LYRImage16ThresholdHighValue(const uint16_t* in, uint16_t threshold, uint16_t* out, int rows, int cols)
{
    fill(out, rows, cols, [=](std::ptrdiff_t i) { return in[i] < threshold ? 0 : in[i]; });
}

void LYRImage16ThresholdLowValue(const uint16_t* in, uint16_t threshold, uint16_t* out, int rows, int cols)
{
    fill(out, rows, cols, [=](std::ptrdiff_t i) { return in[i] > threshold ? 0 : in[i]; });
}

void LYRImage16FindBrightestPixel(const uint16_t* image, int rows, int cols, int rowBytes, unsigned int* row,
                                  unsigned int* col, uint16_t* value)
{
    *row = 0;
    *col = 0;
    *value = 0;
    for (int r = 0; r < rows; ++r) {
        const uint16_t* pRow = image + static_cast<std::ptrdiff_t>(r) * rowBytes / 2;
        for (int c = 0; c < cols; ++c) {
            if (pRow[c] > *value) {
                *row = static_cast<unsigned int>(r);
                *col = static_cast<unsigned int>(c);
                *value = pRow[c];
            }
        }
    }
}

void LYRFloatImageSubtractAndMultiply(const float* a, const float* b, int rows, int cols, float* out, float k)
{
    for (std::ptrdiff_t i = pixelCount(rows, cols) - 1; i >= 0; --i) { // the order counts when out overlaps a or b
        out[i] = (b[i] - a[i]) * k;
    }
}

void LYRImageSobelMMX(uint8_t* /*in*/, uint8_t* /*out*/, int /*rows*/, int /*cols*/) {}

void LYRMemsetMMX(void* memory, int value, int bytes)
{
    if (bytes > 0) {
        std::memset(memory, value, static_cast<std::size_t>(bytes));
    }
}
