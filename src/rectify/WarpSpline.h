// A cubic tensor-product B-spline over the unit square: one coordinate of a warp map.
//
// Arguments are row direction first, both normalised. Evaluation writes caches, also through a const object, and copies
// of a spline share them: one thread at a time evaluates a spline or any copy of it.
#pragma once

#include "image/Image.h"

namespace kestrova {

class WarpSpline
{
public:
    /**
     * Copies n + 4 knots of each axis and n times n coefficients, n at least 1. Coefficients come column by column:
     * coefs[c * n + r] belongs to row basis r and column basis c. Values are not checked; knots that do not ascend give
     * values without meaning, not harm.
     */
    WarpSpline(const double* pdKnotsY, const double* pdKnotsX, const double* pdCoefs, int n);

    /** The surface value. Outside the knots it is 0; on the last knot it is the limit from inside. */
    double operator()(double dY, double dX) const;

    /** One basis function by the textbook recursion, zero on the last knot; the evaluator does not use it. */
    [[nodiscard]] static double spline(int i, int nOrder, double dX, const double* pdKnots);

    /**
     * All basis values at t, in place: pdOut has nCount + nOrder - 1 entries, of which the first nCount hold the
     * result, and pdKnots nCount + nOrder. On the last knot the basis has its limit from inside.
     */
    static void computeBasis(double* pdOut, int nCount, int nOrder, const double* pdKnots, double t);

private:
    static constexpr int sk_nCacheRowsX = 1280;
    static constexpr int sk_nCacheRowsY = 960;

    Image<double> m_knotsX; // one row of n + 4
    Image<double> m_knotsY;
    Image<double> m_coefficients; // [row basis][column basis]
    // Per row the abscissa that the rest of the row is valid for, then the basis values. Shared by copies.
    mutable Image<double> m_basisCacheX;
    mutable Image<double> m_basisCacheY;
};

} // namespace kestrova
