// Points in space, plain and coloured.
//
// Two oddities that the rest of the toolkit leans on: equals() is false for every pair, identical points included,
// until setEpsilon() has been given a positive value; and collinear() asks whether the three points and the origin lie
// in one plane. m_dEpsilon holds for the whole process and is not locked.
#pragma once

namespace kestrova {

class LYRVector;

class LYRPoint3d
{
public:
    LYRPoint3d() = default;
    LYRPoint3d(double dX, double dY, double dZ) : m_dX(dX), m_dY(dY), m_dZ(dZ) {}

    [[nodiscard]] double x() const { return m_dX; }
    [[nodiscard]] double y() const { return m_dY; }
    [[nodiscard]] double z() const { return m_dZ; }
    /** Coordinate 0, 1 or 2; the index is not checked. */
    [[nodiscard]] double operator[](int i) const { return i == 0 ? m_dX : i == 1 ? m_dY : m_dZ; }
    [[nodiscard]] static int size() { return 3; }
    void getXYZ(double* pX, double* pY, double* pZ) const;
    void setXYZ(double dX, double dY, double dZ);

    [[nodiscard]] static double getEpsilon() { return m_dEpsilon; }
    static void setEpsilon(double dEpsilon) { m_dEpsilon = dEpsilon; }

    [[nodiscard]] double squareDistance(const LYRPoint3d& rOther) const;
    [[nodiscard]] double distance(const LYRPoint3d& rOther) const;
    /** True when the epsilon is above the SQUARE of the distance. */
    [[nodiscard]] bool equals(const LYRPoint3d& rOther) const;

    [[nodiscard]] LYRPoint3d operator-() const { return {-m_dX, -m_dY, -m_dZ}; }
    void add(const LYRVector& rVector);

    /** Signed volume of the tetrahedron; +1/6 for the three unit points with d in the origin. */
    [[nodiscard]] static double volume(const LYRPoint3d& a, const LYRPoint3d& b, const LYRPoint3d& c,
                                       const LYRPoint3d& d);
    /** True when the volume with the origin is exactly 0: collinear points pass, and so do many others. */
    [[nodiscard]] static bool collinear(const LYRPoint3d& a, const LYRPoint3d& b, const LYRPoint3d& c);

private:
    static double m_dEpsilon;

    double m_dX = 0;
    double m_dY = 0;
    double m_dZ = 0;
};

/** A point with a colour, each channel meant to lie in 0 to 1. */
class LYRColourPoint3d : public LYRPoint3d
{
public:
    LYRColourPoint3d() = default;
    LYRColourPoint3d(const LYRPoint3d& rPoint, double dRed, double dGreen, double dBlue);
    LYRColourPoint3d(double dX, double dY, double dZ, double dRed, double dGreen, double dBlue);
    LYRColourPoint3d(double dX, double dY, double dZ, double dGrey);

    [[nodiscard]] double red() const { return m_dRed; }
    [[nodiscard]] double green() const { return m_dGreen; }
    [[nodiscard]] double blue() const { return m_dBlue; }
    void getRGB(double* pRed, double* pGreen, double* pBlue) const;
    void setRGB(double dRed, double dGreen, double dBlue);

private:
    double m_dRed = 0;
    double m_dGreen = 0;
    double m_dBlue = 0;
};

} // namespace kestrova
