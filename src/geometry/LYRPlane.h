// An oriented plane a x + b y + c z + d = 0 with a unit normal, and its fits to point clouds.
//
// Both fits drop outliers round by round: what lies further from the plane than a multiple of the last deviation goes,
// and the rest is fitted again. They look at the input cloud only. The normal has the sign that the solver gives it.
#pragma once

#include "geometry/LYRPoint3d.h"
#include "geometry/LYRVector.h"

namespace kestrova {

class LYRPointCloud3d;

class LYRPlane
{
public:
    /** The plane x = 0. */
    LYRPlane() = default;
    LYRPlane(const LYRPoint3d& p1, const LYRPoint3d& p2, const LYRPoint3d& p3) { setPoints(p1, p2, p3); }
    /** The plane through p1, p2 and p1 + v. */
    LYRPlane(const LYRPoint3d& p1, const LYRPoint3d& p2, const LYRVector& v);
    LYRPlane(const LYRPlane&) = default;
    LYRPlane& operator=(const LYRPlane&) = default;
    virtual ~LYRPlane() = default;

    /** Normal along (p2 - p1) x (p3 - p1); points on a line give the normal (1, 0, 0), and so do points so close to
     * each other (1e-160) that the product is 0. */
    void setPoints(const LYRPoint3d& p1, const LYRPoint3d& p2, const LYRPoint3d& p3);
    void set(const LYRPoint3d& p, LYRVector normal);
    /** Any multiple of the coefficients; all of a, b and c 0 gives NaN. */
    void setCoefficients(double a, double b, double c, double d);
    /** Takes the normal from the coefficients. */
    void setNormal();

    [[nodiscard]] LYRVector getNormal() const { return m_normal; }
    void getControlValues(double& rA, double& rB, double& rC, double& rD) const;
    /** Signed: above 0 on the side of the normal. */
    [[nodiscard]] double distance(const LYRPoint3d& p) const;
    /** The nearest point of the plane. Where that is exactly the origin it comes out as (1, 0, 0), as zero vectors do.
     */
    [[nodiscard]] LYRPoint3d project(const LYRPoint3d& p) const;

    /**
     * eigenFitToPoints for arguments that make sense: false, and the plane stays, for fewer than 3 points, fewer than 1
     * round or a multiple of 0 or less.
     */
    [[nodiscard]] bool fitToPoints(const LYRPointCloud3d& rCloud, int nMaxIterations, double dMultiple);

    /**
     * Fits through the mean along the direction of least spread; (0, 0, -1) when there is none, as on a line.
     *
     * @param nMaxIterations  rounds at most; below 1 nothing happens
     * @param dMultiple       points further away than this many deviations go
     * @param rStdDev         deviation of the distances in the last round, at first the largest double
     * @param rIterations     rounds done; a round that removes nothing is not counted and ends the fit
     * @param rRemoved        points removed
     * @return true, always. A cloud of no points, one that is removed as a whole, or one with a coordinate that is NaN
     *         gives the normal (0, 0, -1) at a distance of NaN and ends with a deviation of NaN: look at that.
     *
     * The search for the direction ends when what is left is below 1e-7 in squares of the unit, summed over the points,
     * whatever their spread. So a patch that is tiny in its unit, such as 100 points within 0.0001, keeps the direction
     * of an axis: fit it in a smaller unit.
     */
    bool eigenFitToPoints(const LYRPointCloud3d& rCloud, int nMaxIterations, double dMultiple, double& rStdDev,
                          int& rIterations, int& rRemoved);

    /**
     * Fits a x + b y + c z = -1 by least squares: a plane through the origin cannot be had, and one close to it badly.
     *
     * As eigenFitToPoints, but rStdDev is that of the last round that measured it, one solve behind the plane, and 0
     * for a single round.
     * @return false when the equations cannot be solved, as with all points in one coordinate plane, no points, or a
     *         coordinate that is NaN; the plane is then that of the round before.
     */
    [[nodiscard]] bool leastSquaresFitToPoints(const LYRPointCloud3d& rCloud, int nMaxIterations, double dMultiple,
                                               double& rStdDev, int& rIterations, int& rRemoved);

private:
    LYRVector m_normal; // (m_dA, m_dB, m_dC)
    double m_dA = 1;
    double m_dB = 0;
    double m_dC = 0;
    double m_dD = 0;
};

} // namespace kestrova
