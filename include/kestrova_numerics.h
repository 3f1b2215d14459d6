/**
 * @file kestrova_numerics.h
 * Small dense matrices and operations on plain pixel arrays, as plain C functions of libkestrova.so.3.
 *
 * None of them looks at a context, keeps state or checks its pointers: all may run in several threads. The header is
 * apart from kestrova.h because the names carry no prefix. It compiles as C11 and as C++17.
 */
#ifndef KESTROVA_NUMERICS_H
#define KESTROVA_NUMERICS_H

#include "kestrova.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- small matrices, double precision, sizes around 3 to 16 ---------------------------------------------------- */

/**
 * Eigenvalues and eigenvectors of a symmetric matrix, by cyclic Jacobi rotations.
 *
 * @param a          n row pointers; the diagonal and what lies above it are read, what lies above it is destroyed
 * @param values     n values out, in no particular order
 * @param b          n doubles of work space
 * @param z          n doubles of work space
 * @param vectors    n row pointers; column k becomes the unit vector of values[k], of either sign
 * @param tolerance  ends as soon as the absolute values above the diagonal sum to less than this; it does not scale
 * with the matrix. Choose it above 0: at 0 all 100 sweeps run, a nearly diagonal matrix may give NaN
 *
 * There is no error: after 100 sweeps the function ends with what it has.
 */
KESTROVA_API void eigen(double** a, int n, double* values, double* b, double* z, double** vectors, double tolerance);

/**
 * LU decomposition by Crout's method with implicitly scaled partial pivoting.
 *
 * @param a       n by n, row by row; replaced by both factors, the lower one with ones on its diagonal
 * @param index   n row numbers out: the row that was swapped with each
 * @param parity  out: 1.0 for an even number of swaps, -1.0 for an odd one
 * @return 0; 1 when there is no memory (sizes above 16 only); 2 when a row is all zeros.
 *
 * A singular matrix without a row of zeros goes unnoticed: a pivot of 0 becomes 1e-20, and solutions become huge.
 */
KESTROVA_API int ludcmp(double* a, int n, int* index, double* parity);

/** Solves for one right side b, in place, from what ludcmp made. Always 0. */
KESTROVA_API int lubksb(const double* a, int n, const int* index, double* b);

/**
 * The x that brings A x closest to b, by the normal equations.
 *
 * @param A     rows by cols, row by row
 * @param b     rows values
 * @param x     cols values out
 * @param rows  equations
 * @param cols  unknowns
 * @return 0; 1 or 2 as ludcmp of the normal matrix.
 */
KESTROVA_API int leastSquares(const double* A, const double* b, double* x, int rows, int cols);

/**
 * Inverts n by n, row by row. The matrix is replaced by its factors.
 *
 * @return 0; 1 or 2 as ludcmp, and inverse stays as it was.
 */
KESTROVA_API int matrixInverse(double* a, int n, double* inverse);

/* ---- pixel arrays ---------------------------------------------------------------------------------------------- */

/* Images are rows * cols pixels in one run, unless a function takes the distance of rows. A product of sizes of 0 or
 * less does nothing. */

/** out = |a - b|. */
KESTROVA_API void LYRImageDifference(const uint8_t* a, const uint8_t* b, uint8_t* out, int rows, int cols);

/** out = a - b, and 0 where that would be negative. */
KESTROVA_API void LYRImageSubtract(const uint8_t* a, const uint8_t* b, uint8_t* out, int rows, int cols);

/** The sum of |a - b|, modulo 2^32; 0 when there are no pixels. */
KESTROVA_API void LYRImageSAD(const uint8_t* a, const uint8_t* b, unsigned int* sum, int rows, int cols);

/** As LYRImageSAD. */
KESTROVA_API void LYRImageSADMMX(const uint8_t* a, const uint8_t* b, unsigned int* sum, int rows, int cols);

/** The sum of all pixels, modulo 2^32; 0 when there are none. */
KESTROVA_API void LYRImagePixelSum(const uint8_t* image, unsigned int* sum, int rows, int cols);

/** Keeps pixels at or above the threshold; the others become 0. */
KESTROVA_API void LYRImage16ThresholdHighValue(const uint16_t* in, uint16_t threshold, uint16_t* out, int rows,
                                               int cols);

/** Keeps pixels at or below the threshold; the others become 0. */
KESTROVA_API void LYRImage16ThresholdLowValue(const uint16_t* in, uint16_t threshold, uint16_t* out, int rows,
                                              int cols);

/**
 * The brightest pixel, the first of equals from the top left; row 0, column 0 and value 0 when all are 0.
 *
 * @param rowBytes  distance of rows in BYTES; half the byte offset of a row, rounded toward 0, is its pixel offset
 */
KESTROVA_API void LYRImage16FindBrightestPixel(const uint16_t* image, int rows, int cols, int rowBytes,
                                               unsigned int* row, unsigned int* col, uint16_t* value);

/**
 * Half the size, each pixel the truncated average of 2 by 2.
 *
 * @param rowInc  distance of the rows of in; out is packed: its row m begins at m * cols / 2
 *
 * Sizes should be even. With odd ones the last pair reads one row or column beyond the image, and with an odd cols the
 * last pixel of a row is overwritten by the first of the next; out then needs one pixel more than rows * cols / 4
 * tells.
 */
KESTROVA_API void LYRImageHalfSize(const uint8_t* in, int rows, int cols, int rowInc, uint8_t* out);

/** As LYRImageHalfSize, but takes the top left pixel of each 2 by 2 and reads nothing beyond the image. */
KESTROVA_API void LYRImageHalfSizeFast(const uint8_t* in, int rows, int cols, int rowInc, uint8_t* out);

/** out = (b - a) * k, from the last element to the first. */
KESTROVA_API void LYRFloatImageSubtractAndMultiply(const float* a, const float* b, int rows, int cols, float* out,
                                                   float k);

/**
 * Two thirds of the size, bilinear: each whole block of 3 by 3 gives 2 by 2. Rows and columns beyond the last whole
 * block are ignored; out is packed with cols / 3 * 2 columns and must not be in.
 */
KESTROVA_API void LYRFloatImageBilinearSubsample(const float* in, int rows, int cols, float* out);

/**
 * Votes for circles: every pixel adds its value to the ring of 4 * radius places around it, modulo 65536.
 *
 * @param rowInc               distance of the rows of image
 * @param accumulatorRowBytes  distance of the rows of accumulator in BYTES, at least 2 * cols; rows rows are cleared
 *                             first
 * @param radius               above 0; only pixels at least this far from every side vote
 */
KESTROVA_API void LYRImageHoughTransform(const uint8_t* image, uint16_t* accumulator, int rows, int cols, int rowInc,
                                         int accumulatorRowBytes, int radius);

/** Does nothing: the name is kept for programs that were linked against it. */
KESTROVA_API void LYRImageSobelMMX(uint8_t* in, uint8_t* out, int rows, int cols);

/** Fills bytes with the low byte of value. */
KESTROVA_API void LYRMemsetMMX(void* memory, int value, int bytes);

#ifdef __cplusplus
}
#endif

#endif /* KESTROVA_NUMERICS_H */
