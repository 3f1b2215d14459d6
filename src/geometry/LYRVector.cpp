#include "geometry/LYRVector.h"

#include <cmath>

namespace kestrova {

LYRVector::LYRVector(double dX, double dY, double dZ)
{
    set(dX, dY, dZ);
    if (m_dMagnitude == 0.0) {
        *this = LYRVector();
    }
}

LYRVector::LYRVector(const LYRPoint3d& rPosition)
{
    set(rPosition.x(), rPosition.y(), rPosition.z());
}

LYRVector::LYRVector(const LYRPoint3d& a, const LYRPoint3d& b)
{
    set(b.x() - a.x(), b.y() - a.y(), b.z() - a.z());
}

LYRVector::LYRVector(const LYRPoint2d& a, const LYRPoint2d& b)
{
    set(b.x() - a.x(), b.y() - a.y(), 0.0);
}

LYRVector::LYRVector(const LYRPoint3d& a, const LYRPoint3d& b, const LYRPoint3d& c)
{
    const LYRVector u(a, b);
    const LYRVector v(a, c);
    set(u.m_dY * v.m_dZ - u.m_dZ * v.m_dY, u.m_dZ * v.m_dX - u.m_dX * v.m_dZ, u.m_dX * v.m_dY - u.m_dY * v.m_dX);
}

bool LYRVector::set(double dX, double dY, double dZ)
{
    m_dX = dX;
    m_dY = dY;
    m_dZ = dZ;
    setMag();
    m_bNormalized = m_dMagnitude == 1.0;
    return m_bNormalized;
}

void LYRVector::setMag()
{
    m_dMagnitude = std::sqrt(m_dX * m_dX + m_dY * m_dY + m_dZ * m_dZ);
}

void LYRVector::normalize()
{
    if (m_bNormalized) {
        return;
    }
    m_dX /= m_dMagnitude;
    m_dY /= m_dMagnitude;
    m_dZ /= m_dMagnitude;
    m_dMagnitude = 1.0;
    m_bNormalized = true;
}

LYRVector LYRVector::plus(const LYRVector& v) const
{
    return {m_dX + v.m_dX, m_dY + v.m_dY, m_dZ + v.m_dZ};
}

LYRVector LYRVector::minus(const LYRVector& v) const
{
    return {m_dX - v.m_dX, m_dY - v.m_dY, m_dZ - v.m_dZ};
}

LYRVector LYRVector::cross(const LYRVector& v) const
{
    return {m_dY * v.m_dZ - m_dZ * v.m_dY, m_dZ * v.m_dX - m_dX * v.m_dZ, m_dX * v.m_dY - m_dY * v.m_dX};
}

double LYRVector::dot(const LYRVector& v) const
{
    return m_dX * v.m_dX + m_dY * v.m_dY + m_dZ * v.m_dZ;
}

double LYRVector::dot(const LYRPoint2d& a, const LYRPoint2d& b, const LYRPoint2d& c)
{
    return LYRVector(a, b).dot(LYRVector(a, c));
}

double LYRVector::dot(const LYRPoint3d& a, const LYRPoint3d& b, const LYRPoint3d& c)
{
    return LYRVector(a, b).dot(LYRVector(a, c));
}

void LYRVector::multiplyBy(double dFactor)
{
    m_dX *= dFactor;
    m_dY *= dFactor;
    m_dZ *= dFactor;
    m_dMagnitude *= dFactor;
    m_bNormalized = false;
}

} // namespace kestrova
