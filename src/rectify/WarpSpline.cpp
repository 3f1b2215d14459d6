#include "rectify/WarpSpline.h"

#include <algorithm>

namespace kestrova {

namespace {

constexpr int sk_nOrder = 4;                    // cubic
constexpr int sk_nCacheSlack = 8;               // the tag, and room for the n + 3 values of order 1
constexpr double sk_dNoAbscissa = -123456789.0; // no normalised coordinate

Image<double> rowOf(const double* pdValues, int n)
{
    Image<double> image(1, n);
    std::copy_n(pdValues, n, image.data());
    return image;
}

Image<double> transposed(const double* pdCoefs, int n)
{
    Image<double> image(n, n);
    for (int nRow = 0; nRow < n; ++nRow) {
        Row<double> row = image[nRow];
        for (int nCol = 0; nCol < n; ++nCol) {
            row[nCol] = pdCoefs[static_cast<std::ptrdiff_t>(nCol) * n + nRow];
        }
    }
    return image;
}

Image<double> emptyCache(int nRows, int n)
{
    Image<double> cache(nRows, n + sk_nCacheSlack);
    cache.init(sk_dNoAbscissa);
    return cache;
}

/** The slot is a hash and nothing else: what does not fit shares slot 0 with the smallest coordinates. */
int cacheSlot(double d, int nSlots)
{
    const double dSlot = nSlots * d + 1.0;
    return dSlot >= 0.0 && dSlot < nSlots ? static_cast<int>(dSlot) : 0; // also false for NaN
}

const double* cachedBasis(Image<double>& rCache, const Image<double>& rKnots, int nCount, double d)
{
    double* pdSlot = rCache.data() + static_cast<std::ptrdiff_t>(cacheSlot(d, rCache.nRows())) * rCache.rowDistance();
    if (pdSlot[0] != d) {
        WarpSpline::computeBasis(pdSlot + 1, nCount, rKnots.nCols() - nCount, rKnots.data(), d);
        pdSlot[0] = d;
    }
    return pdSlot + 1;
}

/** The piecewise constant basis. The last interval includes its right end, so that the last knot is inside. */
void computeConstantBasis(double* pdOut, int nCount, const double* pdKnots, double t)
{
    const double dLast = pdKnots[nCount];
    for (int i = 0; i < nCount; ++i) {
        const bool bInside = pdKnots[i] <= t && t < pdKnots[i + 1];
        const bool bRightEnd = t == dLast && pdKnots[i] < t && pdKnots[i + 1] == t;
        pdOut[i] = bInside || bRightEnd ? 1.0 : 0.0;
    }
}

} // namespace

WarpSpline::WarpSpline(const double* pdKnotsY, const double* pdKnotsX, const double* pdCoefs, int n)
    : m_knotsX(rowOf(pdKnotsX, n + sk_nOrder)), m_knotsY(rowOf(pdKnotsY, n + sk_nOrder)),
      m_coefficients(transposed(pdCoefs, n)), m_basisCacheX(emptyCache(sk_nCacheRowsX, n)),
      m_basisCacheY(emptyCache(sk_nCacheRowsY, n))
{}

void WarpSpline::computeBasis(double* pdOut, int nCount, int nOrder, const double* pdKnots, double t)
{
    if (nOrder <= 1) {
        computeConstantBasis(pdOut, nCount, pdKnots, t);
        return;
    }
    computeBasis(pdOut, nCount + 1, nOrder - 1, pdKnots, t);
    for (int i = 0; i < nCount; ++i) { // ascending: entry i + 1 still holds the lower order
        const double d1 = pdKnots[i + nOrder - 1] - pdKnots[i];
        const double d2 = pdKnots[i + nOrder] - pdKnots[i + 1];
        double dValue = 0.0; // repeated knots drop their term
        if (d1 != 0.0 && d2 != 0.0) {
            dValue = (t - pdKnots[i]) / d1 * pdOut[i] + (pdKnots[i + nOrder] - t) / d2 * pdOut[i + 1];
        } else if (d2 != 0.0) {
            dValue = (pdKnots[i + nOrder] - t) / d2 * pdOut[i + 1];
        } else if (d1 != 0.0) {
            dValue = (t - pdKnots[i]) / d1 * pdOut[i];
        }
        pdOut[i] = dValue;
    }
}

double WarpSpline::spline(int i, int nOrder, double dX, const double* pdKnots)
{
    if (nOrder <= 1) {
        return pdKnots[i] <= dX && dX < pdKnots[i + 1] ? 1.0 : 0.0;
    }
    const double d1 = pdKnots[i + nOrder - 1] - pdKnots[i];
    const double d2 = pdKnots[i + nOrder] - pdKnots[i + 1];
    const double dLeft = d1 != 0.0 ? (dX - pdKnots[i]) / d1 * spline(i, nOrder - 1, dX, pdKnots) : 0.0;
    const double dRight = d2 != 0.0 ? (pdKnots[i + nOrder] - dX) / d2 * spline(i + 1, nOrder - 1, dX, pdKnots) : 0.0;
    return dLeft + dRight;
}

double WarpSpline::operator()(double dY, double dX) const
{
    const int n = m_coefficients.nCols();
    const double* pdBasisX = cachedBasis(m_basisCacheX, m_knotsX, n, dX);
    const double* pdBasisY = cachedBasis(m_basisCacheY, m_knotsY, m_coefficients.nRows(), dY);

    // Of a cubic basis at most four neighbours are not zero; the inner sum runs over those alone.
    int nFirst = 0;
    while (nFirst < n && pdBasisX[nFirst] == 0.0) {
        ++nFirst;
    }
    int nEnd = n;
    while (nEnd > nFirst && pdBasisX[nEnd - 1] == 0.0) {
        --nEnd;
    }
    double dResult = 0.0;
    for (int nRow = 0; nRow < m_coefficients.nRows(); ++nRow) {
        if (pdBasisY[nRow] == 0.0) {
            continue;
        }
        const Row<const double> coefs = m_coefficients[nRow];
        double dSum = 0.0;
        for (int nCol = nFirst; nCol < nEnd; ++nCol) {
            dSum += pdBasisX[nCol] * coefs[nCol];
        }
        dResult += pdBasisY[nRow] * dSum;
    }
    return dResult;
}

} // namespace kestrova
