#include "geometry/LYRPlane.h"

namespace kestrova {

namespace {

LYRPoint3d sum(LYRPoint3d p, const LYRVector& v)
{
    p.add(v);
    return p;
}

} // namespace

LYRPlane::LYRPlane(const LYRPoint3d& p1, const LYRPoint3d& p2, const LYRVector& v)
{
    setPoints(p1, p2, sum(p1, v));
}

void LYRPlane::setPoints(const LYRPoint3d& p1, const LYRPoint3d& p2, const LYRPoint3d& p3)
{
    set(p1, LYRVector(p1, p2).cross(LYRVector(p1, p3)));
}

void LYRPlane::set(const LYRPoint3d& p, LYRVector normal)
{
    normal.normalize();
    m_dA = normal.x();
    m_dB = normal.y();
    m_dC = normal.z();
    m_dD = -(m_dA * p.x() + m_dB * p.y() + m_dC * p.z());
    setNormal();
}

void LYRPlane::setCoefficients(double a, double b, double c, double d)
{
    m_normal.set(a, b, c);
    m_dD = d / m_normal.magnitude();
    m_normal.normalize();
    m_dA = m_normal.x();
    m_dB = m_normal.y();
    m_dC = m_normal.z();
}

void LYRPlane::setNormal()
{
    m_normal.set(m_dA, m_dB, m_dC);
    m_normal.normalize();
}

void LYRPlane::getControlValues(double& rA, double& rB, double& rC, double& rD) const
{
    rA = m_dA;
    rB = m_dB;
    rC = m_dC;
    rD = m_dD;
}

double LYRPlane::distance(const LYRPoint3d& p) const
{
    return m_dA * p.x() + m_dB * p.y() + m_dC * p.z() + m_dD;
}

LYRPoint3d LYRPlane::project(const LYRPoint3d& p) const
{
    const double dDistance = distance(p);
    if (dDistance == 0.0) {
        return p;
    }
    LYRVector away = m_normal;
    away.multiplyBy(dDistance);
    return LYRVector(p).minus(away).pointEquiv();
}

} // namespace kestrova
