// Fits of a plane to a cloud, with rejection of outliers.
//
// The two fits measure deviation by different formulas, and round differently for it: keep them apart.
#include "geometry/LYRPlane.h"
#include "geometry/LYRPointCloud3d.h"

#define KESTROVA_NUMERICS
#include "kestrova.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace kestrova {

namespace {

using Points = std::vector<const LYRPoint3d*>;

Points pointsOf(const LYRPointCloud3d& rCloud)
{
    Points points;
    points.reserve(static_cast<std::size_t>(rCloud.size()));
    for (int i = 0; i < rCloud.size(); ++i) {
        points.push_back(rCloud.elementAt(i));
    }
    return points;
}

int removeBeyond(Points& rPoints, const LYRPlane& rPlane, double dThreshold)
{
    return static_cast<int>(
        std::erase_if(rPoints, [&](const LYRPoint3d* p) { return std::fabs(rPlane.distance(*p)) > dThreshold; }));
}

LYRPoint3d meanOf(const Points& rPoints)
{
    std::array<double, 3> sums{};
    for (const LYRPoint3d* p : rPoints) {
        for (int i = 0; i < 3; ++i) {
            sums[i] += (*p)[i];
        }
    }
    const auto n = static_cast<double>(rPoints.size());
    return {sums[0] / n, sums[1] / n, sums[2] / n};
}

struct Matrix3
{
    double m_aadElements[3][3] = {};
    double* m_apRows[3] = {m_aadElements[0], m_aadElements[1], m_aadElements[2]};
};

/** Sums of products of deviations, not divided by the count: the tolerance of the eigenvalues is for these. */
void fillCovariance(double** a, const Points& rPoints, const LYRPoint3d& rMean)
{
    for (const LYRPoint3d* p : rPoints) {
        for (int i = 0; i < 3; ++i) {
            for (int j = i; j < 3; ++j) {
                a[i][j] += ((*p)[i] - rMean[i]) * ((*p)[j] - rMean[j]);
            }
        }
    }
}

/** The column of the strictly smallest value, -1 when there is none. */
int strictlySmallest(const std::array<double, 3>& l)
{
    if (l[1] > l[0] && l[2] > l[0]) {
        return 0;
    }
    if (l[0] > l[1] && l[2] > l[1]) {
        return 1;
    }
    return l[0] > l[2] && l[1] > l[2] ? 2 : -1;
}

LYRVector directionOfLeastSpread(const Points& rPoints, const LYRPoint3d& rMean)
{
    constexpr double dTolerance = 0.0000001;
    Matrix3 covariance;
    Matrix3 vectors;
    fillCovariance(covariance.m_apRows, rPoints, rMean);
    std::array<double, 3> values;
    std::array<double, 3> b;
    std::array<double, 3> z;
    eigen(covariance.m_apRows, 3, values.data(), b.data(), z.data(), vectors.m_apRows, dTolerance);
    const int k = strictlySmallest(values);
    const auto& v = vectors.m_aadElements;
    return k < 0 ? LYRVector(0.0, 0.0, -1.0) : LYRVector(v[0][k], v[1][k], v[2][k]);
}

/** In one pass; rounding may leave less than 0 under the root, and the result is NaN. */
double deviationInOnePass(const Points& rPoints, const LYRPlane& rPlane)
{
    double dSum = 0;
    double dSquares = 0;
    for (const LYRPoint3d* p : rPoints) {
        const double d = rPlane.distance(*p);
        dSum += d;
        dSquares += d * d;
    }
    const auto m = static_cast<double>(rPoints.size());
    return std::sqrt((dSquares - m * ((dSum / m) * (dSum / m))) / (m - 1));
}

double deviationFromMean(const Points& rPoints, const LYRPlane& rPlane)
{
    const auto m = static_cast<double>(rPoints.size());
    double dSum = 0;
    for (const LYRPoint3d* p : rPoints) {
        dSum += rPlane.distance(*p);
    }
    const double dMean = dSum / m;
    double dSquares = 0;
    for (const LYRPoint3d* p : rPoints) {
        const double d = rPlane.distance(*p) - dMean;
        dSquares += d * d;
    }
    return std::sqrt(dSquares / (m - 1));
}

bool solvePlane(LYRPlane& rPlane, const Points& rPoints)
{
    std::vector<double> coordinates;
    coordinates.reserve(3 * rPoints.size());
    for (const LYRPoint3d* p : rPoints) {
        coordinates.insert(coordinates.end(), {p->x(), p->y(), p->z()});
    }
    const std::vector<double> rightSide(rPoints.size(), -1.0);
    std::array<double, 3> s;
    if (leastSquares(coordinates.data(), rightSide.data(), s.data(), static_cast<int>(rPoints.size()), 3) != 0) {
        return false;
    }
    rPlane.setCoefficients(s[0], s[1], s[2], 1.0);
    return true;
}

} // namespace

bool LYRPlane::fitToPoints(const LYRPointCloud3d& rCloud, int nMaxIterations, double dMultiple)
{
    if (nMaxIterations < 1 || 0.0 >= dMultiple || rCloud.size() < 3) {
        return false;
    }
    double dStdDev = 0;
    int nIterations = 0;
    int nRemoved = 0;
    return eigenFitToPoints(rCloud, nMaxIterations, dMultiple, dStdDev, nIterations, nRemoved);
}

bool LYRPlane::eigenFitToPoints(const LYRPointCloud3d& rCloud, int nMaxIterations, double dMultiple, double& rStdDev,
                                int& rIterations, int& rRemoved)
{
    rRemoved = 0;
    rIterations = 0;
    rStdDev = std::numeric_limits<double>::max();
    Points points = pointsOf(rCloud);
    while (rIterations < nMaxIterations && rStdDev != 0.0) {
        if (rIterations > 0) {
            const int nCount = removeBeyond(points, *this, rStdDev * dMultiple);
            if (nCount == 0) {
                break;
            }
            rRemoved += nCount;
        }
        const LYRPoint3d mean = meanOf(points);
        set(mean, directionOfLeastSpread(points, mean));
        rStdDev = deviationInOnePass(points, *this);
        ++rIterations;
    }
    return true;
}

bool LYRPlane::leastSquaresFitToPoints(const LYRPointCloud3d& rCloud, int nMaxIterations, double dMultiple,
                                       double& rStdDev, int& rIterations, int& rRemoved)
{
    rStdDev = 0.0;
    rIterations = 0;
    rRemoved = 0;
    Points points = pointsOf(rCloud);
    if (!solvePlane(*this, points)) {
        return false;
    }
    for (rIterations = 1; rIterations < nMaxIterations; ++rIterations) {
        rStdDev = deviationFromMean(points, *this);
        const int nCount = removeBeyond(points, *this, rStdDev * dMultiple);
        rRemoved += nCount;
        if (nCount == 0) {
            break;
        }
        if (!solvePlane(*this, points)) {
            return false;
        }
    }
    return true;
}

} // namespace kestrova
