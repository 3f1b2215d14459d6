// Rigid motions against products of textbook rotations, and their files.
#include "geometry/LYRTransform3d.h"

#include "support/CalibrationText.h"

#include <Eigen/Geometry>

#include <cmath>
#include <limits>
#include <numbers>

using namespace kestrova;

namespace {

using Matrix = Eigen::Matrix4d;

constexpr double sk_dHalfPi = std::numbers::pi / 2;

// A right-handed turn about axis 0, 1 or 2.
Matrix turn(int nAxis, double dAngle)
{
    return Eigen::Affine3d(Eigen::AngleAxisd(dAngle, Eigen::Vector3d::Unit(nAxis))).matrix();
}

Matrix moved(Matrix m, double x, double y, double z)
{
    m.col(3).head<3>() = Eigen::Vector3d(x, y, z);
    return m;
}

// What six parameters keep of a rotation. A quarter turn down about Y turns the other way about X afterwards.
Matrix described(const Matrix& m)
{
    const Matrix down = turn(1, -sk_dHalfPi) * turn(0, std::atan2(m(0, 1), m(1, 1)));
    return m(2, 0) > 1 - 1e-14 ? moved(down, m(0, 3), m(1, 3), m(2, 3)) : m;
}

void expectMatrix(LYRTransform3d transform, const Matrix& rExpected, const char* pszWhat)
{
    for (int r = 0; r < 4; ++r) {
        for (int c = 0; c < 4; ++c) {
            ASSERT_NEAR(transform.elementAt(r, c), rExpected(r, c), 1e-12) << pszWhat << " (" << r << ", " << c << ")";
        }
    }
}

} // namespace

TEST(LYRTransform3d, MatricesAreProductsOfTurns)
{
    const double aAngles[] = {-3.0, -sk_dHalfPi, -0.4, 0.0, 0.7, sk_dHalfPi, 2.5};
    for (const double a : aAngles) {
        for (const double b : aAngles) {
            for (const double c : aAngles) {
                const Matrix zyx = moved(turn(2, c) * turn(1, b) * turn(0, a), 4, 5, 6);
                const Matrix xyz = moved(turn(0, a) * turn(1, b) * turn(2, c), 4, 5, 6);
                LYRTransform3d transform(4, 5, 6, a, b, c);
                expectMatrix(transform, zyx, "constructor");
                transform.setEulerXYZ(a, b, c, 4, 5, 6);
                EXPECT_NEAR(transform.elementAt(1, 0), xyz(1, 0), 1e-12);
                EXPECT_NEAR(transform.elementAt(0, 1), xyz(0, 1), 1e-12);
                expectMatrix(transform, described(xyz), "a copy, which has the derived parameters only");
                transform.setEulerZYX(a, b, c, 4, 5, 6);
                EXPECT_EQ(transform.elementAt(1, 0), LYRTransform3d(4, 5, 6, a, b, c).elementAt(1, 0));
                transform.unsetMatrix();
                expectMatrix(transform, described(zyx), "from derived parameters");
                ASSERT_LE(std::abs(transform.rY()), sk_dHalfPi);
            }
        }
    }
}

TEST(LYRTransform3d, TurnsAboutAnyAxis)
{
    // Turning the X axis onto (1, 2, 2) and back around a turn about X; the translation goes.
    const double dRise = std::asin(2.0 / 3);
    const double dAside = std::atan2(2.0, 1.0);
    LYRTransform3d transform(7, 7, 7, 0, 0, 0);
    transform.setGeneralAxisRotation(LYRVector(1.0, 2.0, 2.0), 0.8);
    expectMatrix(transform, turn(2, dAside) * turn(1, -dRise) * turn(0, 0.8) * turn(1, dRise) * turn(2, -dAside),
                 "any");
}

TEST(LYRTransform3d, ProductsAndInverses)
{
    const Matrix a = moved(turn(2, 0.3) * turn(1, 0.2) * turn(0, 0.1), 1, 2, 3);
    const Matrix b = moved(turn(2, -2.0) * turn(1, 1.1) * turn(0, 0.6), -4, 0.5, 6);
    LYRTransform3d other(-4, 0.5, 6, 0.6, 1.1, -2.0);
    LYRTransform3d transform(1, 2, 3, 0.1, 0.2, 0.3);
    transform.preMultiply(other);
    expectMatrix(transform, b * a, "other after this");
    transform = LYRTransform3d(1, 2, 3, 0.1, 0.2, 0.3);
    transform.postMultiply(other);
    transform.postMultiply(transform);
    expectMatrix(transform, a * b * (a * b), "this after other, and by itself");
    LYRTransform3d inverse = other;
    inverse.invert();
    inverse.preMultiply(other);
    expectMatrix(inverse, turn(0, 0), "inverse");
    other.setTransY(0.75); // its matrix is of before
    other.transpose();
    EXPECT_EQ(other.elementAt(3, 1), 0.75) << "all 16 elements";
}

TEST(LYRTransform3d, ParametersAndMatrixGoTheirOwnWays)
{
    LYRTransform3d transform(1, 2, 3, 0, 0, 0);
    transform.data()[3] = 50;
    LYRPoint3d point;
    transform.apply(point);
    EXPECT_TRUE(point.x() == 50 && transform.tX() == 1);
    EXPECT_EQ(LYRTransform3d(transform).elementAt(0, 3), 1);
    transform.unsetMatrix();
    EXPECT_EQ(transform.tX(), 50);
    double* p = transform.data();
    std::fill(p, p + 12, 0.0);
    p[8] = std::numeric_limits<double>::quiet_NaN();
    p[10] = 1;
    transform.unsetMatrix();
    EXPECT_DOUBLE_EQ(std::abs(transform.rX()), std::numbers::pi) << "both signs turned around for NaN";
}

TEST(LYRTransform3dFile, WhateverAFileHoldsIsReadOrRefused)
{
    LYRTransform3d built;
    EXPECT_EQ(built.elementAt(0, 3), 0);
    const std::string good = "Rx 1 Ry 2 Rz 3 Tx 4 Ty 5 Tz 6";
    const std::string word(499, 'w');
    const std::tuple<const char*, std::string, double> aCases[] = {
        {"reverse order, the first of two", "Tz 6\nTy\t5\nTx\t4\nRz\t3\nRy\t2\nRx\t1\nRx 9", 1},
        {"comment glued to a word", "//Rx 5\n" + good, 1},
        {"comment without a line end", "Ry 2 //", 0},
        {"comment longer than its step", "// " + word + " Rx 5\n" + good, 5},
        {"word too long", word + "w " + good, 0},
        {"zero bytes", std::string(100000, '\0') + good, 0},
        {"not a number", "Rx abc Ry 2 Rz 3 Tx 4 Ty 5 Tz 6", 0},
        {"empty", "", 0},
    };
    for (const auto& [pszWhat, text, dRotX] : aCases) {
        LYRTransform3d transform;
        const test::TempFile file(text, ".trans");
        ASSERT_EQ(transform.read(file.stem()), dRotX != 0) << pszWhat;
        if (dRotX != 0) {
            EXPECT_TRUE(transform.rX() == dRotX && transform.rY() == 2 && transform.rZ() == 3 && transform.tX() == 4 &&
                        transform.tY() == 5 && transform.tZ() == 6)
                << pszWhat;
            ASSERT_TRUE(built.read(file.stem()));
        }
    }
    EXPECT_TRUE(built.tX() == 4 && built.elementAt(0, 3) == 0) << "a built matrix stays until a setter runs";
}
