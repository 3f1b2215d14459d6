// LU decomposition with implicitly scaled partial pivoting, back-substitution, and the inverse made of both.
//
// Of equal pivot candidates the last one wins. A pivot of 0 becomes a tiny one, so that a singular matrix yields huge
// numbers and no error.
#define KESTROVA_NUMERICS
#include "kestrova.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

namespace {

constexpr int sk_nLocalRows = 16; // up to here there is no allocation
constexpr double sk_dTinyPivot = 1e-20;

struct Free
{
    void operator()(double* p) const { std::free(p); }
};

/** Row r of a matrix of n columns. */
template<typename T>
T* rowOf(T* a, int n, int r)
{
    return a + static_cast<std::ptrdiff_t>(r) * n;
}

/** One over the largest element of each row; false when a row is all zeros. */
bool findScales(const double* a, int n, double* pScales)
{
    for (int i = 0; i < n; ++i) {
        double dLargest = 0.0;
        for (int j = 0; j < n; ++j) {
            dLargest = std::fmax(dLargest, std::fabs(rowOf(a, n, i)[j]));
        }
        if (dLargest == 0.0) {
            return false;
        }
        pScales[i] = 1.0 / dLargest;
    }
    return true;
}

/** Element (i, j) less the products of the first nTerms elements of its row and column. */
double reduced(const double* a, int n, int i, int j, int nTerms)
{
    double dSum = rowOf(a, n, i)[j];
    for (int k = 0; k < nTerms; ++k) {
        dSum -= rowOf(a, n, i)[k] * rowOf(a, n, k)[j];
    }
    return dSum;
}

/** Works out column j down to its last row; returns the row with the largest scaled element from the diagonal down. */
int reduceColumn(double* a, int n, int j, const double* pScales)
{
    for (int i = 0; i < j; ++i) {
        rowOf(a, n, i)[j] = reduced(a, n, i, j, i);
    }
    double dLargest = 0.0;
    int nPivot = j;
    for (int i = j; i < n; ++i) {
        rowOf(a, n, i)[j] = reduced(a, n, i, j, j);
        const double dScaled = pScales[i] * std::fabs(rowOf(a, n, i)[j]);
        if (dScaled >= dLargest) {
            dLargest = dScaled;
            nPivot = i;
        }
    }
    return nPivot;
}

} // namespace

int ludcmp(double* a, int n, int* index, double* parity)
{
    std::array<double, sk_nLocalRows> localScales;
    std::unique_ptr<double, Free> pMemory;
    double* pScales = localScales.data();
    if (n > sk_nLocalRows) {
        pMemory.reset(static_cast<double*>(std::malloc(static_cast<std::size_t>(n) * sizeof(double))));
        pScales = pMemory.get();
        if (pScales == nullptr) {
            return 1;
        }
    }
    *parity = 1.0;
    if (!findScales(a, n, pScales)) {
        return 2;
    }
    for (int j = 0; j < n; ++j) {
        const int nPivot = reduceColumn(a, n, j, pScales);
        if (nPivot != j) {
            std::swap_ranges(rowOf(a, n, j), rowOf(a, n, j + 1), rowOf(a, n, nPivot));
            *parity = -*parity;
            pScales[nPivot] = pScales[j];
        }
        index[j] = nPivot;
        double& rPivot = rowOf(a, n, j)[j];
        if (rPivot == 0.0) {
            rPivot = sk_dTinyPivot;
        }
        for (int i = j + 1; i < n; ++i) {
            rowOf(a, n, i)[j] /= rPivot;
        }
    }
    return 0;
}

int lubksb(const double* a, int n, const int* index, double* b)
{
    int nFirst = -1; // first row whose value is not 0: the sums before it are skipped
    for (int i = 0; i < n; ++i) {
        double dSum = b[index[i]];
        b[index[i]] = b[i];
        if (nFirst >= 0) {
            for (int j = nFirst; j < i; ++j) {
                dSum -= rowOf(a, n, i)[j] * b[j];
            }
        } else if (dSum != 0.0) { // NaN too
            nFirst = i;
        }
        b[i] = dSum;
    }
    for (int i = n - 1; i >= 0; --i) {
        double dSum = b[i];
        for (int j = i + 1; j < n; ++j) {
            dSum -= rowOf(a, n, i)[j] * b[j];
        }
        b[i] = dSum / rowOf(a, n, i)[i];
    }
    return 0;
}

int matrixInverse(double* a, int n, double* inverse)
{
    const std::size_t uSize = n > 0 ? static_cast<std::size_t>(n) : 0;
    std::vector<double> column(uSize);
    std::vector<int> index(uSize);
    double dParity = 0;
    if (const int nResult = ludcmp(a, n, index.data(), &dParity); nResult != 0) {
        return nResult;
    }
    for (int j = 0; j < n; ++j) {
        std::fill(column.begin(), column.end(), 0.0);
        column[j] = 1.0;
        lubksb(a, n, index.data(), column.data());
        for (int i = 0; i < n; ++i) {
            rowOf(inverse, n, i)[j] = column[i];
        }
    }
    return 0;
}
