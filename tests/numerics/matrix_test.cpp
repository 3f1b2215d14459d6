// Small matrices against Eigen, and their control flow at the edges. Exact bits come from a model outside this library.
#include "kestrova_numerics.h"

#include <Eigen/Dense>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

using Matrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
using Vector = Eigen::VectorXd;

constexpr double sk_dEpsilon = std::numeric_limits<double>::epsilon();
constexpr double sk_dNaN = std::numeric_limits<double>::quiet_NaN();
constexpr int sk_nMaxSize = 32;
constexpr int sk_nSeeds = 20;

Matrix randomMatrix(int nRows, int nCols, int nSeed)
{
    std::mt19937 random(static_cast<unsigned>(1000 * nSeed + 40 * nRows + nCols));
    std::uniform_real_distribution<double> values(-1, 1);
    return Matrix::NullaryExpr(nRows, nCols, [&] { return values(random); });
}

double conditionOf(const Matrix& A)
{
    const Vector s = Eigen::JacobiSVD<Matrix>(A).singularValues();
    return s(0) / s(s.size() - 1);
}

/** check(size, seed) for every size and seed. */
template<typename Check>
void forAllSizes(const Check& check)
{
    for (int n = 1; n <= sk_nMaxSize; ++n) {
        for (int nSeed = 0; nSeed < sk_nSeeds; ++nSeed) {
            SCOPED_TRACE(testing::Message() << "size " << n << ", seed " << nSeed);
            ASSERT_NO_FATAL_FAILURE(check(n, nSeed));
        }
    }
}

struct Spectrum
{
    Vector m_values;
    Matrix m_vectors;
};

Spectrum spectrumOf(Matrix A, double dTolerance)
{
    const auto n = A.rows();
    Spectrum spectrum{Vector(n), Matrix(n, n)};
    Vector b(n);
    Vector z(n);
    std::vector<double*> rows;
    std::vector<double*> vectorRows;
    for (Eigen::Index i = 0; i < n; ++i) {
        std::fill_n(A.row(i).data(), i, sk_dNaN); // never read
        rows.push_back(A.row(i).data());
        vectorRows.push_back(spectrum.m_vectors.row(i).data());
    }
    eigen(rows.data(), static_cast<int>(n), spectrum.m_values.data(), b.data(), z.data(), vectorRows.data(),
          dTolerance);
    return spectrum;
}

struct Factors
{
    explicit Factors(Matrix A) : m_factors(std::move(A)), m_index(m_factors.rows())
    {
        m_nResult = ludcmp(m_factors.data(), static_cast<int>(m_factors.rows()), m_index.data(), &m_dParity);
    }

    Vector solve(Vector b) const
    {
        EXPECT_EQ(lubksb(m_factors.data(), static_cast<int>(m_factors.rows()), m_index.data(), b.data()), 0);
        return b;
    }

    Matrix m_factors;
    std::vector<int> m_index;
    double m_dParity = 0;
    int m_nResult;
};

/** The sequence that the golden values were made with. */
double nextValue(unsigned& ruState)
{
    ruState = (ruState * 1103515245u + 12345u) % (1u << 31);
    return ruState / 2147483648.0;
}

} // namespace

TEST(Eigen, ValuesAndVectorsAgreeAtEverySize)
{
    forAllSizes([](int n, int nSeed) {
        Matrix A = randomMatrix(n, n, nSeed);
        A += A.transpose().eval();
        const Spectrum found = spectrumOf(A, 1e-13);
        Vector sorted = found.m_values;
        std::sort(sorted.begin(), sorted.end());
        const double dBound = 4 * n * sk_dEpsilon * A.norm() + 1e-13;
        const Vector expected = Eigen::SelfAdjointEigenSolver<Matrix>(A, Eigen::EigenvaluesOnly).eigenvalues();
        const Matrix& V = found.m_vectors;
        EXPECT_LE((sorted - expected).cwiseAbs().maxCoeff(), dBound);
        // From 6 rows on elements that are 1 % of single precision beside their values are dropped: values hardly feel
        // it.
        const double dDropped = n < 6 ? 0 : n * 3e-10 * A.norm();
        EXPECT_LE((A * V - V * found.m_values.asDiagonal()).norm(), 4 * dBound + dDropped);
        ASSERT_LE((V.transpose() * V - Matrix::Identity(n, n)).norm(), 8 * n * sk_dEpsilon);
    });
}

TEST(Eigen, RotatesInItsOwnOrder)
{
    unsigned uState = 5;
    Matrix A(7, 7);
    for (int i = 0; i < 7; ++i) {
        for (int j = i; j < 7; ++j) {
            A(i, j) = nextValue(uState) - 0.5;
        }
    }
    const Spectrum found = spectrumOf(A, 1e-7);
    EXPECT_THAT(found.m_values,
                ElementsAre(-0x1.4e10b7cb48e7fp-1, 0x1.0dc0536015563p+0, 0x1.4c9e6e5919fc6p-2, 0x1.fd1e546947447p-1,
                            -0x1.096d25464b174p+0, -0x1.239735d921accp-4, -0x1.c1ac1f15f7454p-2));
    EXPECT_EQ(found.m_vectors(4, 2), -0x1.6efdf7e54c224p-2);
}

TEST(Eigen, ToleranceAndTheRowDecideWhatIsDone)
{
    Matrix A = Vector::LinSpaced(6, 1, 6).asDiagonal();
    const Spectrum diagonal = spectrumOf(A, 0.0);
    EXPECT_EQ(diagonal.m_values, A.diagonal());
    EXPECT_EQ(diagonal.m_vectors, Matrix::Identity(6, 6));
    A(3, 5) = A(4, 5) = 1e-12;
    EXPECT_EQ(spectrumOf(A, 3e-12).m_vectors, Matrix::Identity(6, 6)) << "below the tolerance";
    const Matrix V = spectrumOf(A, 2e-12).m_vectors; // the sum itself: not below
    EXPECT_EQ(V(4, 5), 0) << "from the fifth row on it is negligible in single precision";
    EXPECT_EQ(V(3, 5), 0.5e-12) << "above it is not";
}

TEST(LU, SolvesAndInvertsAtEverySize)
{
    forAllSizes([](int n, int nSeed) {
        const Matrix A = randomMatrix(n, n, nSeed);
        const Vector b = randomMatrix(n, 1, nSeed);
        const double dBound = 8 * n * sk_dEpsilon * conditionOf(A);
        const Factors factors(A);
        const Eigen::PartialPivLU<Matrix> theirs(A);
        const double dDeterminant = theirs.determinant();
        ASSERT_EQ(factors.m_nResult, 0);
        EXPECT_NEAR(factors.m_factors.diagonal().prod() * factors.m_dParity / dDeterminant, 1, dBound);
        EXPECT_LE((factors.solve(b) - theirs.solve(b)).norm(), dBound * theirs.solve(b).norm());
        Matrix copy = A;
        Matrix inverse(n, n);
        ASSERT_EQ(matrixInverse(copy.data(), n, inverse.data()), 0);
        EXPECT_EQ(copy, factors.m_factors);
        ASSERT_LE((inverse - theirs.inverse()).norm(), dBound * theirs.inverse().norm());
    });
}

TEST(LU, PivotsAreScaledAndTheLastOfEqualsWins)
{
    struct Case
    {
        const char* pszWhat;
        Matrix A;
        std::vector<int> index;
        double dParity;
        Matrix factors;
    };
    const Case aCases[] = {
        {"equal once scaled", Matrix{{2, 4}, {1, 2}}, {1, 1}, -1, Matrix{{1, 2}, {2, 1e-20}}},
        {"scaled, not largest", Matrix{{10, 1000}, {1, 1}}, {1, 1}, -1, Matrix{{1, 1}, {10, 990}}},
        {"scale moves along",
         Matrix{{1, 4, 8}, {2, 2, 2}, {1, 3, 2}},
         {1, 2, 2},
         1,
         Matrix{{2, 2, 2}, {0.5, 2, 1}, {0.5, 1.5, 5.5}}},
        {"divided by 49, not multiplied by its inverse",
         Matrix{{49, 0}, {49, 1}},
         {1, 1},
         -1,
         Matrix{{49, 1}, {1, -1}}},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.pszWhat);
        const Factors factors(c.A);
        EXPECT_EQ(factors.m_nResult, 0);
        EXPECT_EQ(factors.m_index, c.index);
        EXPECT_EQ(factors.m_dParity, c.dParity);
        EXPECT_EQ(factors.m_factors, c.factors);
    }
}

TEST(LU, EdgesOfSizeAndContent)
{
    for (const int n : {1, 16, 17, 32}) { // the scale factors move to the heap above 16
        Matrix A = Matrix::Identity(n, n);
        Matrix inverse = Matrix::Zero(n, n);
        EXPECT_EQ(matrixInverse(A.data(), n, inverse.data()), 0);
        EXPECT_EQ(inverse, Matrix::Identity(n, n));
        A.row(n - 1).setZero();
        const Matrix before = A;
        EXPECT_EQ(matrixInverse(A.data(), n, inverse.data()), 2);
        EXPECT_TRUE(A == before && inverse == Matrix::Identity(n, n)) << n;
        EXPECT_EQ(Factors(Matrix::Ones(n, n)).m_nResult, 0) << "a singular matrix goes unnoticed";
        EXPECT_EQ(Factors(Matrix::Identity(n, n)).solve(Vector::Zero(n)), Vector::Zero(n));
    }
    Matrix lower{{1, 0, 0}, {sk_dNaN, 1, 0}, {sk_dNaN, 2, 1}};
    const int anIndex[] = {0, 1, 2};
    Vector b{{0, 1, 5}};
    lubksb(lower.data(), 3, anIndex, b.data());
    EXPECT_THAT(b, ElementsAre(0, 1, 3)) << "leading zeros skip their column";
    b = Vector{{sk_dNaN, 0, 0}};
    lubksb(lower.data(), 3, anIndex, b.data());
    EXPECT_TRUE(b.array().isNaN().all());
    EXPECT_EQ(matrixInverse(nullptr, 0, nullptr), 0);
    EXPECT_EQ(leastSquares(nullptr, nullptr, nullptr, 3, -1), 0);
}

TEST(LeastSquares, AgreesAtEverySize)
{
    forAllSizes([](int nCols, int nSeed) {
        const int nRows = nCols + nSeed;
        const Matrix A = randomMatrix(nRows, nCols, nSeed);
        const Vector b = randomMatrix(nRows, 1, nSeed + 100);
        const Vector expected = A.colPivHouseholderQr().solve(b);
        const double dCondition = conditionOf(A);
        Vector x(nCols);
        ASSERT_EQ(leastSquares(A.data(), b.data(), x.data(), nRows, nCols), 0);
        ASSERT_LE((x - expected).norm(),
                  8 * nCols * sk_dEpsilon * dCondition * dCondition * (b.norm() + expected.norm()));
    });
    for (const int nCols : {3, 12}) {
        Matrix A = Matrix::Ones(4, nCols);
        A.col(1).setZero();
        const Vector b = Vector::Ones(4);
        Vector x(nCols);
        EXPECT_EQ(leastSquares(A.data(), b.data(), x.data(), 4, nCols), 2);
    }
}
