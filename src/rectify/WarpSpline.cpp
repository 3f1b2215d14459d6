#include "rectify/WarpSpline.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <type_traits>

namespace kestrova {

namespace {

constexpr int sk_nOrder = 4; // cubic

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

std::uint64_t nextIdentity()
{
    static constinit std::atomic<std::uint64_t> s_uLast{0};
    return ++s_uLast;
}

} // namespace

WarpSpline::WarpSpline(const double* pdKnotsY, const double* pdKnotsX, const double* pdCoefs, int n)
    : m_uIdentity(nextIdentity()), m_knotsX(rowOf(pdKnotsX, n + sk_nOrder)), m_knotsY(rowOf(pdKnotsY, n + sk_nOrder)),
      m_coefficients(transposed(pdCoefs, n))
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

// ---- the basis values that a thread has worked out last ----

/**
 * Basis values of one axis by abscissa, for one spline of a map. A warper is built row by row: pixels of a row share
 * one abscissa, and pixels of a column the other.
 */
class WarpSpline::BasisCache
{
public:
    /** What the basis functions are at an abscissa; all that are not zero lie from m_nFirst to m_nEnd - 1. */
    struct Basis
    {
        std::uint64_t m_uSpline = 0; // whose it is; 0: nobody's
        double m_dAbscissa = 0;
        int m_nFirst = 0;
        int m_nEnd = 0;
        double* m_pdValues = nullptr; // by number of function
    };

    BasisCache(int nSlots, int nRoom)
        : m_nSlots(nSlots), m_nRoom(nRoom), m_pBases(std::make_unique<Basis[]>(static_cast<std::size_t>(nSlots))),
          m_pValues(std::make_unique_for_overwrite<double[]>(static_cast<std::size_t>(nSlots) *
                                                             static_cast<std::size_t>(nRoom)))
    {
        for (int i = 0; i < nSlots; ++i) {
            m_pBases[static_cast<std::size_t>(i)].m_pdValues = m_pValues.get() + std::ptrdiff_t{i} * nRoom;
        }
    }

    const Basis& at(std::uint64_t uSpline, const Image<double>& rKnots, int nCount, double d)
    {
        Basis& rKept = m_pBases[static_cast<std::size_t>(slotOf(d))];
        if (rKept.m_uSpline != uSpline || rKept.m_dAbscissa != d) {
            computeBasis(rKept.m_pdValues, nCount, rKnots.nCols() - nCount, rKnots.data(), d);
            rKept.m_uSpline = uSpline;
            rKept.m_dAbscissa = d;
            rKept.m_nFirst = 0;
            rKept.m_nEnd = nCount;
            trim(rKept);
        }
        return rKept;
    }

    [[nodiscard]] int room() const { return m_nRoom; }

private:
    /** The slot is a hash and nothing else: what does not fit shares slot 0 with the smallest coordinates. */
    [[nodiscard]] int slotOf(double d) const
    {
        const double dSlot = m_nSlots * d + 1.0;
        return dSlot >= 0.0 && dSlot < m_nSlots ? static_cast<int>(dSlot) : 0; // also false for NaN
    }

    static void trim(Basis& rBasis)
    {
        while (rBasis.m_nFirst < rBasis.m_nEnd && rBasis.m_pdValues[rBasis.m_nFirst] == 0.0) {
            ++rBasis.m_nFirst;
        }
        while (rBasis.m_nEnd > rBasis.m_nFirst && rBasis.m_pdValues[rBasis.m_nEnd - 1] == 0.0) {
            --rBasis.m_nEnd;
        }
    }

    int m_nSlots;
    int m_nRoom; // values of a slot
    std::unique_ptr<Basis[]> m_pBases;
    std::unique_ptr<double[]> m_pValues;
};

/** Both axes. */
struct WarpSpline::Caches
{
    explicit Caches(int nRoom) : m_x(1280, nRoom), m_y(960, nRoom) {}

    BasisCache m_x;
    BasisCache m_y;
};

namespace {

// Fetched through plain pointers: evaluation is too short to look for an object with a destructor each time.
[[gnu::tls_model("initial-exec")]] constinit thread_local void* t_apCaches[2] = {nullptr, nullptr};

} // namespace

/** Owns the caches of a coordinate. */
struct WarpSpline::OwnedCaches
{
    ~OwnedCaches() { t_apCaches[0] = t_apCaches[1] = nullptr; }

    std::unique_ptr<Caches> m_apCaches[2];
};

WarpSpline::Caches& WarpSpline::makeThreadCaches(std::size_t uCoordinate, int nRoom)
{
    static thread_local OwnedCaches t_owned;
    t_apCaches[uCoordinate] = nullptr;
    t_owned.m_apCaches[uCoordinate].reset(); // before the larger ones are there
    t_owned.m_apCaches[uCoordinate] = std::make_unique<Caches>(nRoom);
    t_apCaches[uCoordinate] = t_owned.m_apCaches[uCoordinate].get();
    return *t_owned.m_apCaches[uCoordinate];
}

WarpSpline::Caches& WarpSpline::threadCaches(Coordinate eCoordinate, int n)
{
    const auto u = static_cast<std::size_t>(eCoordinate);
    const int nRoom = n + sk_nOrder - 1; // as many values has the basis of the lowest order
    auto* const pCaches = static_cast<Caches*>(t_apCaches[u]);
    return pCaches != nullptr && pCaches->m_x.room() >= nRoom ? *pCaches : makeThreadCaches(u, nRoom);
}

namespace {

/** Inner product in ascending order; a constant count is worked out without a loop. */
template<typename Count>
double product(const double* pdA, const double* pdB, Count n)
{
    double dSum = 0.0;
    for (int i = 0; i < n; ++i) {
        dSum += pdA[i] * pdB[i];
    }
    return dSum;
}

} // namespace

double WarpSpline::at(double dY, double dX, Coordinate eCoordinate) const
{
    const int n = m_coefficients.nCols();
    Caches& rCaches = threadCaches(eCoordinate, n);
    const BasisCache::Basis& x = rCaches.m_x.at(m_uIdentity, m_knotsX, n, dX);
    const BasisCache::Basis& y = rCaches.m_y.at(m_uIdentity, m_knotsY, m_coefficients.nRows(), dY);
    // Of a cubic basis at most four neighbours are not zero; the sums run over those alone.
    const double* const pdBasis = x.m_pdValues + x.m_nFirst;
    const int nCount = x.m_nEnd - x.m_nFirst;
    const std::ptrdiff_t nStride = m_coefficients.rowDistance();
    const double* pdCoefs = m_coefficients.data() + y.m_nFirst * nStride + x.m_nFirst;
    double dResult = 0.0;
    for (int nRow = y.m_nFirst; nRow < y.m_nEnd; ++nRow, pdCoefs += nStride) {
        if (y.m_pdValues[nRow] != 0.0) {
            dResult += y.m_pdValues[nRow] * (nCount == 4 ? product(pdBasis, pdCoefs, std::integral_constant<int, 4>{})
                                                         : product(pdBasis, pdCoefs, nCount));
        }
    }
    return dResult;
}

} // namespace kestrova
