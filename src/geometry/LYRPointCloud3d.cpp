#include "geometry/LYRPointCloud3d.h"

#include "geometry/LYRBSP.h"

#include <cmath>
#include <new>
#include <type_traits>

namespace kestrova {

static_assert(std::is_trivially_destructible_v<LYRPoint3d> && std::is_trivially_destructible_v<LYRExtraPoint3d>);

void PointDeleter::operator()(LYRPoint3d* pPoint) const
{
    ::operator delete(pPoint);
}

LYRPointCloud3d::LYRPointCloud3d(int nCapacity, int nGrowBy) : LYRList(nCapacity, nGrowBy) {}

LYRPointCloud3d::~LYRPointCloud3d()
{
    LYRPointCloud3d::empty();
}

int LYRPointCloud3d::insertPoint(LYRPoint3d* pPoint)
{
    m_pBSP.reset();
    const int nIndex = addElement(pPoint);
    if (nIndex < 0) {
        return -1;
    }
    if (size() == 1) {
        m_centerOfMass = *pPoint;
        return nIndex;
    }
    const double n = size();
    const LYRPoint3d& c = m_centerOfMass;
    m_centerOfMass.setXYZ((pPoint->x() + (n - 1) * c.x()) / n, (pPoint->y() + (n - 1) * c.y()) / n,
                          (pPoint->z() + (n - 1) * c.z()) / n);
    return nIndex;
}

bool LYRPointCloud3d::deleteElementAt(int nIndex)
{
    LYRPoint3d* pPoint = elementAt(nIndex);
    if (!removeElementAt(nIndex)) {
        return false;
    }
    m_pBSP.reset();
    if (m_bOwnership) {
        PointDeleter()(pPoint);
    }
    return true;
}

void LYRPointCloud3d::empty()
{
    m_pBSP.reset();
    for (int i = 0; m_bOwnership && i < size(); ++i) {
        PointDeleter()(elementAt(i));
    }
    LYRList::empty();
}

void LYRPointCloud3d::indexPoints()
{
    m_pBSP = std::make_unique<LYRBSP>(*this);
}

LYRPoint3d LYRPointCloud3d::meanOfPoints() const
{
    double dX = 0;
    double dY = 0;
    double dZ = 0;
    for (int i = 0; i < size(); ++i) {
        const LYRPoint3d& rPoint = *elementAt(i);
        dX += rPoint.x();
        dY += rPoint.y();
        dZ += rPoint.z();
    }
    const double n = size();
    return {dX / n, dY / n, dZ / n};
}

void LYRPointCloud3d::getCenterOfMass(LYRPoint3d& rCenter)
{
    m_centerOfMass = meanOfPoints();
    rCenter = m_centerOfMass;
}

void LYRPointCloud3d::center()
{
    const LYRPoint3d& c = m_centerOfMass;
    for (int i = 0; i < size(); ++i) {
        LYRPoint3d& rPoint = *elementAt(i);
        rPoint.setXYZ(rPoint.x() - c.x(), rPoint.y() - c.y(), rPoint.z() - c.z());
    }
    m_centerOfMass = LYRPoint3d();
}

void LYRPointCloud3d::recenter()
{
    m_centerOfMass = meanOfPoints();
    center();
}

void LYRPointCloud3d::scale(double dFactor)
{
    for (int i = 0; i < size(); ++i) {
        LYRPoint3d& rPoint = *elementAt(i);
        rPoint.setXYZ(rPoint.x() * dFactor, rPoint.y() * dFactor, rPoint.z() * dFactor);
    }
}

void LYRPointCloud3d::normalize()
{
    double dLargest = 0;
    for (int i = 0; i < size(); ++i) {
        const LYRPoint3d& rPoint = *elementAt(i);
        for (int nAxis = 0; nAxis < LYRPoint3d::size(); ++nAxis) {
            dLargest = std::fmax(dLargest, std::fabs(rPoint[nAxis]));
        }
    }
    scale(1.0 / dLargest);
}

int LYRPointCloud3d::findNearestIndex(const LYRPoint3d& p) const
{
    if (m_pBSP != nullptr) {
        return m_pBSP->findNearestIndex(p);
    }
    double dBestSquare = 99999999.99;
    int nBest = -1;
    for (int i = 0; i < size(); ++i) {
        const double dSquare = elementAt(i)->squareDistance(p);
        if (dSquare < dBestSquare) {
            dBestSquare = dSquare;
            nBest = i;
        }
    }
    return nBest;
}

} // namespace kestrova
