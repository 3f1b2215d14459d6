// A cubic tensor-product B-spline over the unit square: one coordinate of a warp map.
//
// Arguments are row direction first, both normalised. Splines do not change once constructed. What evaluation keeps for
// the next one belongs to the thread, so a spline and its copies are evaluated on any number of threads at once.
#pragma once

#include "image/Image.h"

#include <cstddef>
#include <cstdint>

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

    /** The two splines of a map, which are evaluated by turns and do not take each other's memory. */
    enum class Coordinate
    {
        Row,
        Col
    };

    /**
     * The surface value. Outside the knots it is 0; on the last knot it is the limit from inside. The first evaluation
     * of a thread allocates; which coordinate is named makes no difference to the value.
     */
    [[nodiscard]] double at(double dY, double dX, Coordinate eCoordinate) const;
    double operator()(double dY, double dX) const { return at(dY, dX, Coordinate::Row); }

    /** One basis function by the textbook recursion, zero on the last knot; the evaluator does not use it. */
    [[nodiscard]] static double spline(int i, int nOrder, double dX, const double* pdKnots);

    /**
     * All basis values at t, in place: pdOut has nCount + nOrder - 1 entries, of which the first nCount hold the
     * result, and pdKnots nCount + nOrder. On the last knot the basis has its limit from inside.
     */
    static void computeBasis(double* pdOut, int nCount, int nOrder, const double* pdKnots, double t);

private:
    class BasisCache;
    struct Caches;
    struct OwnedCaches;

    /** Of this thread, with room for splines of n coefficients an axis. */
    static Caches& threadCaches(Coordinate eCoordinate, int n);
    static Caches& makeThreadCaches(std::size_t uCoordinate, int nRoom);

    std::uint64_t m_uIdentity; // the same for copies, which have the same values
    Image<double> m_knotsX;    // one row of n + 4
    Image<double> m_knotsY;
    Image<double> m_coefficients; // [row basis][column basis]
};

} // namespace kestrova
