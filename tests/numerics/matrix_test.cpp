// Small matrices against Eigen, and their control flow at the edges. Exact bits come from a model outside this library.
#define KESTROVA_NUMERICS
#include "kestrova.h"

#include <Eigen/Dense>
#include <gmock/gmock.h>

#include <algorithm>
#include <random>

namespace {

using Matrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
using Vector = Eigen::VectorXd;

constexpr double sk_dEpsilon = std::numeric_limits<double>::epsilon();
constexpr double sk_dNaN = std::numeric_limits<double>::quiet_NaN();

/** check(size, random matrix of size rows and extra more, random vector of as many rows), 20 times for each size. */
template<typename Check>
void forAllSizes(bool bExtraRows, const Check& check)
{
    std::mt19937 random;
    std::uniform_real_distribution<double> values(-1, 1);
    for (int i = 0; i < 20 * 32; ++i) {
        const int n = i / 20 + 1;
        const int nRows = n + (bExtraRows ? i % 20 : 0);
        const Matrix A = Matrix::NullaryExpr(nRows, n, [&] { return values(random); });
        const Vector b = Vector::NullaryExpr(nRows, [&] { return values(random); });
        const Vector s = Eigen::JacobiSVD<Matrix>(A).singularValues();
        ASSERT_NO_FATAL_FAILURE(check(n, A, b, s(0) / s(n - 1))) << "size " << n << ", matrix " << i % 20;
    }
}

struct Spectrum
{
    Spectrum(Matrix A, double dTolerance) : m_values(A.rows()), m_vectors(A.rows(), A.rows())
    {
        Vector b(A.rows());
        Vector z(A.rows());
        std::vector<double*> rows;
        std::vector<double*> vectors;
        for (int i = 0; i < A.rows(); ++i) {
            A.row(i).head(i).setConstant(sk_dNaN); // never read
            rows.push_back(A.row(i).data());
            vectors.push_back(m_vectors.row(i).data());
        }
        eigen(rows.data(), static_cast<int>(A.rows()), m_values.data(), b.data(), z.data(), vectors.data(), dTolerance);
    }
    Vector m_values;
    Matrix m_vectors;
};

struct Factors
{
    explicit Factors(const Matrix& A) : m_factors(A), m_index(A.rows())
    {
        m_nResult = ludcmp(m_factors.data(), static_cast<int>(A.rows()), m_index.data(), &m_dParity);
    }
    Vector solve(Vector b) const
    {
        lubksb(m_factors.data(), static_cast<int>(b.size()), m_index.data(), b.data());
        return b;
    }
    Matrix m_factors;
    std::vector<int> m_index;
    double m_dParity = 0;
    int m_nResult;
};

} // namespace

TEST(Eigen, ValuesAndVectorsAgreeAtEverySize)
{
    forAllSizes(false, [](int n, const Matrix& rAny, const Vector&, double) {
        const Matrix A = rAny + rAny.transpose();
        const auto [values, V] = Spectrum(A, 1e-13);
        Vector sorted = values;
        std::sort(sorted.begin(), sorted.end());
        const double dBound = 4 * n * sk_dEpsilon * A.norm() + 1e-13;
        // From 6 rows on elements that are 1 % of single precision beside their values are dropped: values hardly feel
        // it.
        const double dDropped = n < 6 ? 0 : n * 3e-10 * A.norm();
        ASSERT_LE((sorted - Eigen::SelfAdjointEigenSolver<Matrix>(A).eigenvalues()).cwiseAbs().maxCoeff(), dBound);
        ASSERT_LE((A * V - V * values.asDiagonal()).norm(), 4 * dBound + dDropped);
        ASSERT_LE((V.transpose() * V - Matrix::Identity(n, n)).norm(), 8 * n * sk_dEpsilon);
    });
}

TEST(Eigen, OrderToleranceAndRowDecideWhatIsDone)
{
    Matrix A = Matrix::Zero(7, 7);
    unsigned uState = 5;
    for (int i = 0; i < 28; ++i) { // the diagonal and what lies above it, row by row
        uState = (uState * 1103515245u + 12345u) % (1u << 31);
        const int nRow = i < 7 ? 0 : i < 13 ? 1 : i < 18 ? 2 : i < 22 ? 3 : i < 25 ? 4 : i < 27 ? 5 : 6;
        A(nRow, i - nRow * 7 + nRow * (nRow + 1) / 2) = uState / 2147483648.0 - 0.5;
    }
    EXPECT_THAT(Spectrum(A, 1e-7).m_values,
                testing::ElementsAre(-0x1.4e10b7cb48e7fp-1, 0x1.0dc0536015563p+0, 0x1.4c9e6e5919fc6p-2,
                                     0x1.fd1e546947447p-1, -0x1.096d25464b174p+0, -0x1.239735d921accp-4,
                                     -0x1.c1ac1f15f7454p-2));
    EXPECT_EQ(Spectrum(A, 1e-7).m_vectors(4, 2), -0x1.6efdf7e54c224p-2);
    A = Vector::LinSpaced(6, 1, 6).asDiagonal();
    EXPECT_TRUE(Spectrum(A, 0.0).m_values == A.diagonal() && Spectrum(A, 0.0).m_vectors.isIdentity(0));
    A(3, 5) = A(4, 5) = 1e-12;
    EXPECT_TRUE(Spectrum(A, 3e-12).m_vectors.isIdentity(0)) << "below the tolerance";
    const Matrix V = Spectrum(A, 2e-12).m_vectors; // the sum itself: not below
    EXPECT_TRUE(V(4, 5) == 0 && V(3, 5) == 0.5e-12) << "only from the fifth row on it is negligible";
}

TEST(LU, SolvesAndInvertsAtEverySize)
{
    forAllSizes(false, [](int n, const Matrix& A, const Vector& b, double dCondition) {
        const double dBound = 8 * n * sk_dEpsilon * dCondition;
        const Factors factors(A);
        const Eigen::PartialPivLU<Matrix> theirs(A);
        ASSERT_NEAR(factors.m_factors.diagonal().prod() * factors.m_dParity / theirs.determinant(), 1, dBound);
        ASSERT_LE((factors.solve(b) - theirs.solve(b)).norm(), dBound * theirs.solve(b).norm());
        Matrix copy = A;
        Matrix inverse(n, n);
        ASSERT_TRUE(matrixInverse(copy.data(), n, inverse.data()) == 0 && copy == factors.m_factors);
        ASSERT_LE((inverse - theirs.inverse()).norm(), dBound * theirs.inverse().norm());
    });
}

TEST(LU, PivotsAreScaledAndTheLastOfEqualsWins)
{
    const std::tuple<Matrix, std::vector<int>, double, Matrix> aCases[] = {
        {Matrix{{2, 4}, {1, 2}}, {1, 1}, -1, Matrix{{1, 2}, {2, 1e-20}}},    // equal once scaled; singular
        {Matrix{{10, 1000}, {1, 1}}, {1, 1}, -1, Matrix{{1, 1}, {10, 990}}}, // scaled, not largest
        {Matrix{{49, 0}, {49, 1}}, {1, 1}, -1, Matrix{{49, 1}, {1, -1}}},    // no product with an inverse
        {Matrix{{1, 4, 8}, {2, 2, 2}, {1, 3, 2}}, {1, 2, 2}, 1, Matrix{{2, 2, 2}, {0.5, 2, 1}, {0.5, 1.5, 5.5}}},
    };
    for (const auto& [A, index, dParity, factors] : aCases) {
        const Factors f(A);
        EXPECT_TRUE(f.m_nResult == 0 && f.m_index == index && f.m_dParity == dParity) << A;
        EXPECT_EQ(f.m_factors, factors);
    }
}

TEST(LU, EdgesOfSizeAndContent)
{
    for (const int n : {1, 16, 17, 32}) { // the scale factors move to the heap above 16
        Matrix A = Matrix::Identity(n, n);
        Matrix inverse = Matrix::Zero(n, n);
        EXPECT_TRUE(matrixInverse(A.data(), n, inverse.data()) == 0 && inverse.isIdentity(0));
        EXPECT_EQ(Factors(A).solve(Vector::Zero(n)), Vector::Zero(n));
        A.row(n - 1).setZero();
        EXPECT_TRUE(matrixInverse(A.data(), n, inverse.data()) == 2 && inverse.isIdentity(0));
        EXPECT_EQ(Factors(Matrix::Ones(n, n)).m_nResult, 0) << "a singular matrix goes unnoticed";
    }
    Factors lower(Matrix::Identity(3, 3));
    lower.m_factors = Matrix{{1, 0, 0}, {sk_dNaN, 1, 0}, {sk_dNaN, 2, 1}};
    EXPECT_EQ(lower.solve(Vector{{0, 1, 5}}), (Vector{{0, 1, 3}})) << "leading zeros skip their column";
    EXPECT_TRUE(lower.solve(Vector{{sk_dNaN, 0, 0}}).array().isNaN().all());
    EXPECT_EQ(matrixInverse(nullptr, 0, nullptr), 0);
}

TEST(LeastSquares, AgreesAtEverySize)
{
    forAllSizes(true, [](int n, const Matrix& A, const Vector& b, double dCondition) {
        const Vector expected = A.colPivHouseholderQr().solve(b);
        Vector x(n);
        ASSERT_EQ(leastSquares(A.data(), b.data(), x.data(), static_cast<int>(b.size()), n), 0);
        ASSERT_LE((x - expected).norm(), 8 * n * sk_dEpsilon * dCondition * dCondition * (b.norm() + expected.norm()));
    });
    EXPECT_EQ(leastSquares(nullptr, nullptr, nullptr, 3, -1), 0);
    Vector x(12);
    EXPECT_EQ(leastSquares(x.data(), x.data(), x.data(), 0, 3), 2) << "no equations";
}
