// A direction or displacement in space that carries its own length.
//
// The length is stored and kept up by each operation, never derived on reading. A result of exactly zero length that
// goes through the constructor with three doubles (plus, minus, cross) comes out as the unit vector (1, 0, 0); the
// other constructors and set() keep a zero vector as it is.
#pragma once

#include "geometry/LYRPoint2d.h"
#include "geometry/LYRPoint3d.h"

namespace kestrova {

class LYRVector
{
public:
    /** The unit vector (1, 0, 0), not the zero vector. */
    LYRVector() = default;
    /** Zero length becomes (1, 0, 0). */
    LYRVector(double dX, double dY, double dZ);
    explicit LYRVector(const LYRPoint3d& rPosition);
    /** b - a. */
    LYRVector(const LYRPoint3d& a, const LYRPoint3d& b);
    /** b - a with z = 0. */
    LYRVector(const LYRPoint2d& a, const LYRPoint2d& b);
    /** (b - a) x (c - a). */
    LYRVector(const LYRPoint3d& a, const LYRPoint3d& b, const LYRPoint3d& c);
    LYRVector(const LYRVector&) = default;
    LYRVector& operator=(const LYRVector&) = default;
    virtual ~LYRVector() = default;

    /** Sets components, length and flag; returns whether the length is exactly 1. */
    bool set(double dX, double dY, double dZ);
    /** Recomputes the stored length from the components. */
    void setMag();

    [[nodiscard]] double x() const { return m_dX; }
    [[nodiscard]] double y() const { return m_dY; }
    [[nodiscard]] double z() const { return m_dZ; }
    /** Component 0, 1 or 2; the index is not checked. */
    [[nodiscard]] double operator[](int i) const { return i == 0 ? m_dX : i == 1 ? m_dY : m_dZ; }
    [[nodiscard]] static int size() { return 3; }
    /** The stored length; negative after multiplyBy with a negative factor. */
    [[nodiscard]] double magnitude() const { return m_dMagnitude; }
    [[nodiscard]] bool normalized() const { return m_bNormalized; }

    /** Divides by the stored length unless held to be of length 1 already. A zero vector turns into NaN. */
    void normalize();
    [[nodiscard]] LYRVector plus(const LYRVector& v) const;
    [[nodiscard]] LYRVector minus(const LYRVector& v) const;
    [[nodiscard]] LYRVector cross(const LYRVector& v) const;
    [[nodiscard]] double dot(const LYRVector& v) const;
    /** (b - a) . (c - a). */
    [[nodiscard]] static double dot(const LYRPoint2d& a, const LYRPoint2d& b, const LYRPoint2d& c);
    [[nodiscard]] static double dot(const LYRPoint3d& a, const LYRPoint3d& b, const LYRPoint3d& c);
    /** Scales components and stored length alike. */
    void multiplyBy(double dFactor);
    [[nodiscard]] LYRPoint3d pointEquiv() const { return {m_dX, m_dY, m_dZ}; }

private:
    double m_dX = 1.0;
    double m_dY = 0.0;
    double m_dZ = 0.0;
    bool m_bNormalized = true; // held to have length 1
    double m_dMagnitude = 1.0;
};

} // namespace kestrova
