// Points in the plane and the exact-sign predicates over them.
#pragma once

namespace kestrova {

/** m_dEpsilon is this class's own, holds for the whole process and is not locked. */
class LYRPoint2d
{
public:
    LYRPoint2d() = default;
    LYRPoint2d(double dX, double dY) : m_dX(dX), m_dY(dY) {}

    [[nodiscard]] double x() const { return m_dX; }
    [[nodiscard]] double y() const { return m_dY; }
    void getXY(double* pX, double* pY) const;
    void setXY(double dX, double dY);

    [[nodiscard]] static double getEpsilon() { return m_dEpsilon; }
    static void setEpsilon(double dEpsilon) { m_dEpsilon = dEpsilon; }

    [[nodiscard]] double squareDistance(const LYRPoint2d& rOther) const;
    [[nodiscard]] double distance(const LYRPoint2d& rOther) const;
    /** True when the epsilon is above the SQUARE of the distance. */
    [[nodiscard]] bool equals(const LYRPoint2d& rOther) const;
    friend bool operator==(const LYRPoint2d& a, const LYRPoint2d& b) { return a.equals(b); }

    /** TWICE the signed area, whatever the name says; positive counter-clockwise. */
    [[nodiscard]] static double triangleArea(const LYRPoint2d& a, const LYRPoint2d& b, const LYRPoint2d& c);
    /** No tolerance: collinear points are not counter-clockwise. */
    [[nodiscard]] static bool ccw(const LYRPoint2d& a, const LYRPoint2d& b, const LYRPoint2d& c);
    /** d strictly inside the circle through a, b, c, which run counter-clockwise. No tolerance. */
    [[nodiscard]] static bool inCircle(const LYRPoint2d& a, const LYRPoint2d& b, const LYRPoint2d& c,
                                       const LYRPoint2d& d);

private:
    static double m_dEpsilon;

    double m_dX = 0;
    double m_dY = 0;
};

} // namespace kestrova
