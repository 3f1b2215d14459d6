// A rigid motion with two faces: six parameters and a 4 by 4 matrix.
//
// The matrix is rebuilt from the parameters on first use after a setter, and every matrix operation derives the
// parameters back. Copies take the parameters only, so a matrix that no six parameters describe does not survive a
// copy. Operations that only look (apply, elementAt) may rebuild, hence no const on them: an object shared between
// threads must have had its matrix built before.
#pragma once

#include "geometry/LYRPoint3d.h"
#include "geometry/LYRVector.h"

#include <array>
#include <cstdio>

namespace kestrova {

class LYRPlane;
class LYRPointCloud3d;

/** p goes to R p + t with R = Rz Ry Rx: the rotation about X acts first. Angles in radians. */
class LYRTransform3d
{
public:
    /** The identity. */
    LYRTransform3d() = default;
    /** TRANSLATION first, unlike setEulerZYX. */
    LYRTransform3d(double dTransX, double dTransY, double dTransZ, double dRotX, double dRotY, double dRotZ);
    LYRTransform3d(const LYRTransform3d& rOther) { copy(rOther); }
    LYRTransform3d& operator=(const LYRTransform3d& rOther);
    virtual ~LYRTransform3d() = default;

    /** Rebuilds the matrix from the parameters, unless it is valid. */
    void setMatrix();
    /** Derives the parameters from the matrix; matrix and flag stay. */
    void unsetMatrix();
    /** The matrix, row by row. After writing to it call unsetMatrix() to bring the parameters along. */
    [[nodiscard]] double* data();
    [[nodiscard]] double elementAt(int nRow, int nCol);

    [[nodiscard]] double rX() const { return m_dRotX; }
    [[nodiscard]] double rY() const { return m_dRotY; }
    [[nodiscard]] double rZ() const { return m_dRotZ; }
    [[nodiscard]] double tX() const { return m_dTransX; }
    [[nodiscard]] double tY() const { return m_dTransY; }
    [[nodiscard]] double tZ() const { return m_dTransZ; }
    void setRotX(double dAngle) { setParameter(m_dRotX, dAngle); }
    void setRotY(double dAngle) { setParameter(m_dRotY, dAngle); }
    void setRotZ(double dAngle) { setParameter(m_dRotZ, dAngle); }
    void setTransX(double dDistance) { setParameter(m_dTransX, dDistance); }
    void setTransY(double dDistance) { setParameter(m_dTransY, dDistance); }
    void setTransZ(double dDistance) { setParameter(m_dTransZ, dDistance); }

    /** R = Rz Ry Rx. ROTATION first, unlike the constructor. */
    void setEulerZYX(double dRotX, double dRotY, double dRotZ, double dTransX, double dTransY, double dTransZ);
    /** R = Rx(a) Ry(b) Rz(c). */
    void setEulerXYZ(double a, double b, double c, double dTransX, double dTransY, double dTransZ);
    /** Rotation about an axis through the origin, right-handed; no translation. */
    void setGeneralAxisRotation(LYRVector axis, double dAngle);

    void apply(double& rX, double& rY, double& rZ);
    void apply(LYRPoint3d& rPoint);
    void apply(LYRPointCloud3d& rCloud);
    /** this := other * this. */
    void preMultiply(LYRTransform3d& rOther);
    /** this := this * other. */
    void postMultiply(LYRTransform3d& rOther);
    /** Transposes all 16 elements. The parameters keep only what they can describe of the result. */
    void transpose();
    /** Inverts a rigid motion: the rotation is transposed. No general inverse. */
    void invert();

    [[nodiscard]] LYRPoint3d location() const { return {m_dTransX, m_dTransY, m_dTransZ}; }
    /** Column 0, 1 or 2 of the rotation. */
    [[nodiscard]] LYRVector vectorX() { return column(0); }
    [[nodiscard]] LYRVector vectorY() { return column(1); }
    [[nodiscard]] LYRVector vectorZ() { return column(2); }
    /** The plane of the moved X and Y axes, normal along the moved Z axis. */
    [[nodiscard]] LYRPlane planeXY();
    /** The SAME plane as planeXY(), whatever the name says: programs depend on all three. */
    [[nodiscard]] LYRPlane planeYZ();
    /** The same plane again, with the opposite normal. */
    [[nodiscard]] LYRPlane planeXZ();
    /** The matrix as floats, column by column; valid until the next call. */
    [[nodiscard]] const float* glMatrixf();

    /** Writes the parameters as they stand, six decimals each. Always true: the stream knows what arrived. */
    bool write(std::FILE* pFile) const;
    /** Writes "<name>.trans"; false when the path is too long, or the file cannot be opened or not written whole. */
    [[nodiscard]] bool write(const char* pszName) const;
    /**
     * Reads the six parameters; false at the first that is missing or bad, and those before it stay read. A matrix that
     * was built before stays in force until a setter runs: read into a fresh object.
     */
    [[nodiscard]] bool read(std::FILE* pFile);
    /** Reads "<name>.trans"; false when it cannot be opened or read. */
    [[nodiscard]] bool read(const char* pszName);
    /** Finds one key anywhere in the file; a "//" that stands alone opens a comment to the end of the line. */
    [[nodiscard]] static bool transRead(std::FILE* pFile, const char* pszKey, double* pValue);

private:
    using Matrix = std::array<double, 16>; // element (r, c) at 4 r + c

    static Matrix product(const Matrix& rLeft, const Matrix& rRight);
    void copy(const LYRTransform3d& rOther);
    void setRow(int nRow, double d0, double d1, double d2, double d3);
    void setParameter(double& rParameter, double dValue);
    LYRVector column(int nCol);

    bool m_bMatrixValid = false; // m_adMatrix need not be rebuilt
    Matrix m_adMatrix{};
    std::array<float, 16> m_afGLMatrix{};
    double m_dRotX = 0;
    double m_dRotY = 0;
    double m_dRotZ = 0;
    double m_dTransX = 0;
    double m_dTransY = 0;
    double m_dTransZ = 0;
};

} // namespace kestrova
