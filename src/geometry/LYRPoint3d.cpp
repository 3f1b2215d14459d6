#include "geometry/LYRPoint3d.h"

#include "geometry/LYRVector.h"

#include <cmath>

namespace kestrova {

double LYRPoint3d::m_dEpsilon = 0.0;

void LYRPoint3d::getXYZ(double* pX, double* pY, double* pZ) const
{
    *pX = m_dX;
    *pY = m_dY;
    *pZ = m_dZ;
}

void LYRPoint3d::setXYZ(double dX, double dY, double dZ)
{
    m_dX = dX;
    m_dY = dY;
    m_dZ = dZ;
}

double LYRPoint3d::squareDistance(const LYRPoint3d& rOther) const
{
    const double dX = m_dX - rOther.m_dX;
    const double dY = m_dY - rOther.m_dY;
    const double dZ = m_dZ - rOther.m_dZ;
    return dX * dX + dY * dY + dZ * dZ;
}

double LYRPoint3d::distance(const LYRPoint3d& rOther) const
{
    return std::sqrt(squareDistance(rOther));
}

bool LYRPoint3d::equals(const LYRPoint3d& rOther) const
{
    return m_dEpsilon > squareDistance(rOther);
}

void LYRPoint3d::add(const LYRVector& rVector)
{
    m_dX += rVector.x();
    m_dY += rVector.y();
    m_dZ += rVector.z();
}

double LYRPoint3d::volume(const LYRPoint3d& a, const LYRPoint3d& b, const LYRPoint3d& c, const LYRPoint3d& d)
{
    const LYRPoint3d p(a.m_dX - d.m_dX, a.m_dY - d.m_dY, a.m_dZ - d.m_dZ);
    const LYRPoint3d q(b.m_dX - d.m_dX, b.m_dY - d.m_dY, b.m_dZ - d.m_dZ);
    const LYRPoint3d r(c.m_dX - d.m_dX, c.m_dY - d.m_dY, c.m_dZ - d.m_dZ);
    const double dDeterminant = p.m_dX * (q.m_dY * r.m_dZ - q.m_dZ * r.m_dY) +
                                p.m_dY * (q.m_dZ * r.m_dX - q.m_dX * r.m_dZ) +
                                p.m_dZ * (q.m_dX * r.m_dY - q.m_dY * r.m_dX);
    return dDeterminant / 6.0;
}

bool LYRPoint3d::collinear(const LYRPoint3d& a, const LYRPoint3d& b, const LYRPoint3d& c)
{
    return volume(a, b, c, LYRPoint3d()) == 0.0;
}

LYRColourPoint3d::LYRColourPoint3d(const LYRPoint3d& rPoint, double dRed, double dGreen, double dBlue)
    : LYRPoint3d(rPoint), m_dRed(dRed), m_dGreen(dGreen), m_dBlue(dBlue)
{}

LYRColourPoint3d::LYRColourPoint3d(double dX, double dY, double dZ, double dRed, double dGreen, double dBlue)
    : LYRColourPoint3d(LYRPoint3d(dX, dY, dZ), dRed, dGreen, dBlue)
{}

LYRColourPoint3d::LYRColourPoint3d(double dX, double dY, double dZ, double dGrey)
    : LYRColourPoint3d(LYRPoint3d(dX, dY, dZ), dGrey, dGrey, dGrey)
{}

void LYRColourPoint3d::getRGB(double* pRed, double* pGreen, double* pBlue) const
{
    *pRed = m_dRed;
    *pGreen = m_dGreen;
    *pBlue = m_dBlue;
}

void LYRColourPoint3d::setRGB(double dRed, double dGreen, double dBlue)
{
    m_dRed = dRed;
    m_dGreen = dGreen;
    m_dBlue = dBlue;
}

} // namespace kestrova
