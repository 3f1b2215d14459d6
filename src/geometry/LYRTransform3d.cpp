#include "geometry/LYRTransform3d.h"

#include <cmath>
#include <utility>

namespace kestrova {

namespace {

struct Turn
{
    explicit Turn(double dAngle) { ::sincos(dAngle, &s, &c); }

    double s = 0;
    double c = 1;
};

constexpr double sk_dQuarterTurn = 1.5707963267948966;

} // namespace

LYRTransform3d::LYRTransform3d(double dTransX, double dTransY, double dTransZ, double dRotX, double dRotY, double dRotZ)
    : m_dRotX(dRotX), m_dRotY(dRotY), m_dRotZ(dRotZ), m_dTransX(dTransX), m_dTransY(dTransY), m_dTransZ(dTransZ)
{}

LYRTransform3d& LYRTransform3d::operator=(const LYRTransform3d& rOther)
{
    copy(rOther); // onto itself too: that drops a matrix the parameters do not describe
    return *this;
}

void LYRTransform3d::copy(const LYRTransform3d& rOther)
{
    m_dRotX = rOther.m_dRotX;
    m_dRotY = rOther.m_dRotY;
    m_dRotZ = rOther.m_dRotZ;
    m_dTransX = rOther.m_dTransX;
    m_dTransY = rOther.m_dTransY;
    m_dTransZ = rOther.m_dTransZ;
    m_bMatrixValid = false;
}

void LYRTransform3d::setRow(int nRow, double d0, double d1, double d2, double d3)
{
    m_adMatrix[4 * nRow] = d0;
    m_adMatrix[4 * nRow + 1] = d1;
    m_adMatrix[4 * nRow + 2] = d2;
    m_adMatrix[4 * nRow + 3] = d3;
}

void LYRTransform3d::setMatrix()
{
    if (m_bMatrixValid) {
        return;
    }
    const Turn x(m_dRotX);
    const Turn y(m_dRotY);
    const Turn z(m_dRotZ);
    setRow(0, y.c * z.c, x.s * y.s * z.c - x.c * z.s, x.c * y.s * z.c + x.s * z.s, m_dTransX);
    setRow(1, y.c * z.s, x.s * y.s * z.s + x.c * z.c, x.c * y.s * z.s - x.s * z.c, m_dTransY);
    setRow(2, -y.s, x.s * y.c, x.c * y.c, m_dTransZ);
    setRow(3, 0, 0, 0, 1);
    m_bMatrixValid = true;
}

void LYRTransform3d::unsetMatrix()
{
    const auto m = [this](int nRow, int nCol) { return m_adMatrix[4 * nRow + nCol]; };
    m_dRotY = std::atan2(-m(2, 0), std::sqrt(m(0, 0) * m(0, 0) + m(1, 0) * m(1, 0)));
    if (m_dRotY == sk_dQuarterTurn || m_dRotY == -sk_dQuarterTurn) {
        // Gimbal lock: X and Z turn about the same axis, and all of it is given to X. The formula is that of the
        // upper lock by our decision: after the lower one the parameters, and so a copy, turn the other way about X.
        m_dRotX = std::atan2(m(0, 1), m(1, 1));
        m_dRotZ = 0;
    } else if (m_dRotY > -sk_dQuarterTurn && m_dRotY < sk_dQuarterTurn) {
        m_dRotX = std::atan2(m(2, 1), m(2, 2));
        m_dRotZ = std::atan2(m(1, 0), m(0, 0));
    } else { // NaN only
        m_dRotX = std::atan2(-m(2, 1), -m(2, 2));
        m_dRotZ = std::atan2(-m(1, 0), -m(0, 0));
    }
    m_dTransX = m(0, 3);
    m_dTransY = m(1, 3);
    m_dTransZ = m(2, 3);
}

double* LYRTransform3d::data()
{
    setMatrix();
    return m_adMatrix.data();
}

double LYRTransform3d::elementAt(int nRow, int nCol)
{
    return data()[4 * nRow + nCol];
}

void LYRTransform3d::setParameter(double& rParameter, double dValue)
{
    rParameter = dValue;
    m_bMatrixValid = false;
}

void LYRTransform3d::setEulerZYX(double dRotX, double dRotY, double dRotZ, double dTransX, double dTransY,
                                 double dTransZ)
{
    *this = LYRTransform3d(dTransX, dTransY, dTransZ, dRotX, dRotY, dRotZ);
    setMatrix();
}

void LYRTransform3d::setEulerXYZ(double a, double b, double c, double dTransX, double dTransY, double dTransZ)
{
    const Turn x(a);
    const Turn y(b);
    const Turn z(c);
    setRow(0, y.c * z.c, -y.c * z.s, y.s, dTransX);
    setRow(1, x.s * y.s * z.c + x.c * z.s, -x.s * y.s * z.s + x.c * z.c, -x.s * y.c, dTransY);
    setRow(2, -x.c * y.s * z.c + x.s * z.s, x.c * y.s * z.s + x.s * z.c, x.c * y.c, dTransZ);
    setRow(3, 0, 0, 0, 1);
    m_bMatrixValid = true;
    unsetMatrix();
}

void LYRTransform3d::setGeneralAxisRotation(LYRVector axis, double dAngle)
{
    axis.normalize();
    const double x = axis.x();
    const double y = axis.y();
    const double z = axis.z();
    const Turn turn(dAngle);
    const double s = turn.s;
    const double c = turn.c;
    const double v = 1 - c;
    setRow(0, x * x * v + c, x * y * v - z * s, x * z * v + y * s, 0);
    setRow(1, x * y * v + z * s, y * y * v + c, y * z * v - x * s, 0);
    setRow(2, x * z * v - y * s, y * z * v + x * s, z * z * v + c, 0);
    setRow(3, 0, 0, 0, 1);
    unsetMatrix(); // the flag stays: the derived parameters describe the same motion
}

void LYRTransform3d::apply(double& rX, double& rY, double& rZ)
{
    setMatrix();
    const double dX = rX;
    const double dY = rY;
    const double dZ = rZ;
    const auto row = [&](int nRow) {
        const double* p = &m_adMatrix[4 * nRow];
        return p[0] * dX + p[1] * dY + p[2] * dZ + p[3];
    };
    rX = row(0);
    rY = row(1);
    rZ = row(2);
}

void LYRTransform3d::apply(LYRPoint3d& rPoint)
{
    double dX = rPoint.x();
    double dY = rPoint.y();
    double dZ = rPoint.z();
    apply(dX, dY, dZ);
    rPoint.setXYZ(dX, dY, dZ);
}

LYRTransform3d::Matrix LYRTransform3d::product(const Matrix& rLeft, const Matrix& rRight)
{
    Matrix result{};
    for (int nRow = 0; nRow < 4; ++nRow) {
        for (int nCol = 0; nCol < 4; ++nCol) {
            for (int i = 0; i < 4; ++i) {
                result[4 * nRow + nCol] += rLeft[4 * nRow + i] * rRight[4 * i + nCol];
            }
        }
    }
    return result;
}

void LYRTransform3d::preMultiply(LYRTransform3d& rOther)
{
    setMatrix();
    rOther.setMatrix();
    m_adMatrix = product(rOther.m_adMatrix, m_adMatrix);
    unsetMatrix();
}

void LYRTransform3d::postMultiply(LYRTransform3d& rOther)
{
    setMatrix();
    rOther.setMatrix();
    m_adMatrix = product(m_adMatrix, rOther.m_adMatrix);
    unsetMatrix();
}

void LYRTransform3d::transpose()
{
    setMatrix();
    for (int nRow = 0; nRow < 4; ++nRow) {
        for (int nCol = 0; nCol < nRow; ++nCol) {
            std::swap(m_adMatrix[4 * nRow + nCol], m_adMatrix[4 * nCol + nRow]);
        }
    }
    unsetMatrix();
}

void LYRTransform3d::invert()
{
    setMatrix();
    const Matrix m = m_adMatrix;
    const auto back = [&m](int nCol) { return -(m[nCol] * m[3] + m[4 + nCol] * m[7] + m[8 + nCol] * m[11]); };
    setRow(0, m[0], m[4], m[8], back(0));
    setRow(1, m[1], m[5], m[9], back(1));
    setRow(2, m[2], m[6], m[10], back(2));
    setRow(3, 0, 0, 0, 1);
    unsetMatrix();
}

LYRVector LYRTransform3d::column(int nCol)
{
    setMatrix();
    return {m_adMatrix[nCol], m_adMatrix[4 + nCol], m_adMatrix[8 + nCol]};
}

const float* LYRTransform3d::glMatrixf()
{
    setMatrix();
    for (int nRow = 0; nRow < 4; ++nRow) {
        for (int nCol = 0; nCol < 4; ++nCol) {
            m_afGLMatrix[4 * nCol + nRow] = static_cast<float>(m_adMatrix[4 * nRow + nCol]);
        }
    }
    return m_afGLMatrix.data();
}

} // namespace kestrova
