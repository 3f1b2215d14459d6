// Eigenvalues of a symmetric matrix by cyclic Jacobi rotations.
//
// When a rotation counts as negligible is judged in single precision, and from the fifth row on only: plane fits and
// whoever compares results to the last bit depend on it. Only the part above the diagonal is kept up.
#define KESTROVA_NUMERICS
#include "kestrova.h"

#include <cmath>

namespace {

constexpr int sk_nMaxSweeps = 100;
constexpr int sk_nThresholdSweeps = 3; // in the first sweeps small elements wait for the large ones

/** A rotation of two values, in the form that loses least: by s = sin and tau = tan of half the angle. */
struct Rotation
{
    double s;
    double tau;

    void turn(double& rFirst, double& rSecond) const
    {
        const double g = rFirst;
        const double h = rSecond;
        rFirst = g - s * (h + g * tau);
        rSecond = h + s * (g - h * tau);
    }
};

bool isLostBeside(double dValue, double dAdded)
{
    return static_cast<float>(std::fabs(dValue) + dAdded) == static_cast<float>(std::fabs(dValue));
}

double sumAboveDiagonal(double* const* a, int n)
{
    double dSum = 0;
    for (int p = 0; p < n - 1; ++p) {
        for (int q = p + 1; q < n; ++q) {
            dSum += std::fabs(a[p][q]);
        }
    }
    return dSum;
}

void rotateAboveDiagonal(double** a, int n, int p, int q, const Rotation& rRotation)
{
    for (int i = 0; i < p; ++i) {
        rRotation.turn(a[i][p], a[i][q]);
    }
    for (int i = p + 1; i < q; ++i) {
        rRotation.turn(a[p][i], a[i][q]);
    }
    for (int i = q + 1; i < n; ++i) {
        rRotation.turn(a[p][i], a[q][i]);
    }
}

/** Tangent of the angle that brings element (p, q) to 0, with h the difference of the two values. */
double tangent(double dElement, double h)
{
    if (isLostBeside(h, 100.0 * std::fabs(dElement))) {
        return dElement / h;
    }
    const double dTheta = 0.5 * h / dElement;
    const double t = 1.0 / (std::fabs(dTheta) + std::sqrt(1.0 + dTheta * dTheta));
    return dTheta < 0.0 ? -t : t;
}

} // namespace

void eigen(double** a, int n, double* values, double* b, double* z, double** vectors, double tolerance)
{
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            vectors[i][j] = i == j ? 1.0 : 0.0;
        }
        values[i] = b[i] = a[i][i];
        z[i] = 0.0;
    }
    for (int nSweep = 0; nSweep < sk_nMaxSweeps; ++nSweep) {
        const double dSum = sumAboveDiagonal(a, n);
        if (tolerance > dSum) {
            return;
        }
        const double dThreshold = nSweep < sk_nThresholdSweeps ? 0.2 * dSum / (static_cast<double>(n) * n) : 0.0;
        for (int p = 0; p < n - 1; ++p) {
            for (int q = p + 1; q < n; ++q) {
                const double g = 100.0 * std::fabs(a[p][q]);
                // Asks for the row, where one would expect the sweep: up to 4 rows it never applies.
                if (p > 3 && isLostBeside(values[p], g) && isLostBeside(values[q], g)) {
                    a[p][q] = 0.0;
                } else if (std::fabs(a[p][q]) > dThreshold) {
                    const double t = tangent(a[p][q], values[q] - values[p]);
                    const double c = 1.0 / std::sqrt(1.0 + t * t);
                    const Rotation rotation{t * c, t * c / (1.0 + c)};
                    const double hh = t * a[p][q];
                    z[p] -= hh;
                    z[q] += hh;
                    values[p] -= hh;
                    values[q] += hh;
                    a[p][q] = 0.0;
                    rotateAboveDiagonal(a, n, p, q, rotation);
                    for (int i = 0; i < n; ++i) {
                        rotation.turn(vectors[i][p], vectors[i][q]);
                    }
                }
            }
        }
        // The corrections of a whole sweep are added at once: less rounding than one by one.
        for (int i = 0; i < n; ++i) {
            b[i] += z[i];
            values[i] = b[i];
            z[i] = 0.0;
        }
    }
}
