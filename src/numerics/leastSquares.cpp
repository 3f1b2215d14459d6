// Least squares by the normal equations. Squaring the matrix halves the digits: meant for well-scaled problems.
#define KESTROVA_NUMERICS
#include "kestrova.h"

#include <array>
#include <cstddef>
#include <vector>

namespace {

constexpr int sk_nLocalCols = 9; // up to here there is no allocation

/** Fills the normal matrix and x with the normal right side, then solves in place. */
int solveNormal(const double* A, const double* b, double* x, int rows, int cols, double* pNormal, int* pIndex)
{
    for (std::ptrdiff_t i = 0; i < cols; ++i) {
        for (std::ptrdiff_t j = 0; j < cols; ++j) {
            double& rSum = pNormal[i * cols + j] = 0.0;
            for (std::ptrdiff_t t = 0; t < rows; ++t) {
                rSum += A[t * cols + i] * A[t * cols + j];
            }
        }
        x[i] = 0.0;
        for (std::ptrdiff_t t = 0; t < rows; ++t) {
            x[i] += A[t * cols + i] * b[t];
        }
    }
    double dParity = 0;
    const int nResult = ludcmp(pNormal, cols, pIndex, &dParity);
    return nResult != 0 ? nResult : lubksb(pNormal, cols, pIndex, x);
}

} // namespace

int leastSquares(const double* A, const double* b, double* x, int rows, int cols)
{
    if (cols <= sk_nLocalCols) {
        std::array<double, sk_nLocalCols * sk_nLocalCols> normal;
        std::array<int, sk_nLocalCols> index;
        return solveNormal(A, b, x, rows, cols, normal.data(), index.data());
    }
    const auto uCols = static_cast<std::size_t>(cols);
    std::vector<double> normal(uCols * uCols);
    std::vector<int> index(uCols);
    return solveNormal(A, b, x, rows, cols, normal.data(), index.data());
}
