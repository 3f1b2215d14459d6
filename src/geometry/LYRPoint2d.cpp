#include "geometry/LYRPoint2d.h"

#include <cmath>

namespace kestrova {

double LYRPoint2d::m_dEpsilon = 0.0000001;

void LYRPoint2d::getXY(double* pX, double* pY) const
{
    *pX = m_dX;
    *pY = m_dY;
}

void LYRPoint2d::setXY(double dX, double dY)
{
    m_dX = dX;
    m_dY = dY;
}

double LYRPoint2d::squareDistance(const LYRPoint2d& rOther) const
{
    const double dX = m_dX - rOther.m_dX;
    const double dY = m_dY - rOther.m_dY;
    return dX * dX + dY * dY;
}

double LYRPoint2d::distance(const LYRPoint2d& rOther) const
{
    return std::sqrt(squareDistance(rOther));
}

bool LYRPoint2d::equals(const LYRPoint2d& rOther) const
{
    return m_dEpsilon > squareDistance(rOther);
}

double LYRPoint2d::triangleArea(const LYRPoint2d& a, const LYRPoint2d& b, const LYRPoint2d& c)
{
    return (b.m_dX - a.m_dX) * (c.m_dY - a.m_dY) - (c.m_dX - a.m_dX) * (b.m_dY - a.m_dY);
}

bool LYRPoint2d::ccw(const LYRPoint2d& a, const LYRPoint2d& b, const LYRPoint2d& c)
{
    return triangleArea(a, b, c) > 0.0;
}

bool LYRPoint2d::inCircle(const LYRPoint2d& a, const LYRPoint2d& b, const LYRPoint2d& c, const LYRPoint2d& d)
{
    const auto squareNorm = [](const LYRPoint2d& p) { return p.m_dX * p.m_dX + p.m_dY * p.m_dY; };
    return squareNorm(a) * triangleArea(b, c, d) - squareNorm(b) * triangleArea(a, c, d) +
               squareNorm(c) * triangleArea(a, b, d) - squareNorm(d) * triangleArea(a, b, c) >
           0.0;
}

} // namespace kestrova
