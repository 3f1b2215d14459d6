// A plane begins as the best of many that were laid through three random points, and is then fitted by the geometry
// toolkit to the points near it. This is the one unit of the program that uses classes of the library.
#include "outputs/PlaneSearch.h"

#include "geometry/LYRPlane.h"
#include "geometry/LYRPointCloud3d.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace kestrova::app {

namespace {

using Points = std::vector<LYRPoint3d>;

constexpr std::mt19937::result_type sk_uSeed = 20;
constexpr int sk_nTrials = 2000;          // finds a plane of an eighth of the points in 98 of 100 searches
constexpr std::size_t sk_nJudges = 2000;  // points that choose among the trials
constexpr int sk_nRounds = 20;            // of fit and new choice of points; they settle after a few
constexpr int sk_nFitRounds = 10;         // of the toolkit's fit,
constexpr double sk_dFitDeviations = 3.0; // which drops what lies beyond

/**
 * The points near a plane. A disparity that is off by t pixels moves its point along the ray, and thereby away from a
 * plane at a distance D from the camera by t * D * z / (f B).
 */
class Band
{
public:
    Band(const LYRPlane& rPlane, double dPerDepth)
        : m_plane(rPlane), m_dPerDepth(dPerDepth * std::abs(rPlane.distance({0, 0, 0})))
    {}
    bool holds(const LYRPoint3d& rPoint) const
    {
        return std::abs(m_plane.distance(rPoint)) <= m_dPerDepth * rPoint.z();
    }

private:
    const LYRPlane& m_plane;
    double m_dPerDepth;
};

std::vector<LYRPoint3d*> pointsIn(const Band& rBand, Points& rPoints)
{
    std::vector<LYRPoint3d*> near;
    for (LYRPoint3d& rPoint : rPoints) {
        if (rBand.holds(rPoint)) {
            near.push_back(&rPoint);
        }
    }
    return near;
}

LYRPlane findSeed(const Points& rPoints, double dPerDepth, std::mt19937& rRandom)
{
    const auto any = [&]() -> const LYRPoint3d& { return rPoints[rRandom() % rPoints.size()]; };
    Points judges(std::min(sk_nJudges, rPoints.size()));
    std::generate(judges.begin(), judges.end(), any);
    LYRPlane best;
    std::ptrdiff_t nMost = -1;
    for (int i = 0; i < sk_nTrials; ++i) {
        const LYRPoint3d& p1 = any(); // drawn one after the other: the order within one call is up to the compiler
        const LYRPoint3d& p2 = any();
        const LYRPlane plane(p1, p2, any());
        const Band band(plane, dPerDepth);
        const auto nHeld =
            std::count_if(judges.begin(), judges.end(), [&](const LYRPoint3d& r) { return band.holds(r); });
        if (nHeld > nMost) {
            nMost = nHeld;
            best = plane;
        }
    }
    return best;
}

double fit(LYRPlane& rPlane, const std::vector<LYRPoint3d*>& rNear)
{
    LYRPointCloud3d cloud(static_cast<int>(rNear.size()));
    cloud.setOwnership(false);
    for (LYRPoint3d* p : rNear) {
        cloud.insertPoint(p);
    }
    double dSpread = 0.0;
    int nIterations = 0;
    int nRemoved = 0;
    rPlane.eigenFitToPoints(cloud, sk_nFitRounds, sk_dFitDeviations, dSpread, nIterations, nRemoved);
    return std::isnan(dSpread) ? 0.0 : dSpread; // the root of a sum that rounding took below 0: they lie in the plane
}

FoundPlane describe(const LYRPlane& rPlane, const std::vector<LYRPoint3d*>& rNear, double dSpread)
{
    cv::Vec3d normal;
    double dDistance = 0.0;
    rPlane.getControlValues(normal[0], normal[1], normal[2], dDistance);
    const double dSide = dDistance < 0.0 ? -1.0 : 1.0; // the camera, the origin, is on the side that the normal is on
    FoundPlane found{dSide * normal, dSide * dDistance, dSpread, rNear.size(), {}};
    for (const LYRPoint3d* p : rNear) {
        found.m_middle += cv::Vec3d(p->x(), p->y(), p->z()) / static_cast<double>(rNear.size());
    }
    return found;
}

/** Takes the plane's points out. */
FoundPlane takeLargest(Points& rPoints, double dPerDepth, std::mt19937& rRandom)
{
    LYRPlane plane = findSeed(rPoints, dPerDepth, rRandom);
    std::vector<LYRPoint3d*> near = pointsIn(Band(plane, dPerDepth), rPoints);
    double dSpread = 0.0;
    std::size_t nBefore = 0;
    for (int i = 0; i < sk_nRounds && near.size() >= sk_nLeastOfPlane && near.size() != nBefore; ++i) {
        nBefore = near.size();
        dSpread = fit(plane, near);
        near = pointsIn(Band(plane, dPerDepth), rPoints);
    }
    const FoundPlane found = describe(plane, near, dSpread);
    const Band band(plane, dPerDepth);
    std::erase_if(rPoints, [&](const LYRPoint3d& r) { return band.holds(r); });
    return found;
}

} // namespace

std::vector<FoundPlane> findPlanes(const std::vector<CloudPoint>& rCloud, double dFocalTimesBaseline,
                                   const PlaneWishes& rWishes)
{
    Points points;
    for (const CloudPoint& rPoint : rCloud) {
        points.emplace_back(rPoint.m_position.x, rPoint.m_position.y, rPoint.m_position.z);
    }
    const double dPerDepth = rWishes.m_dTolerance / dFocalTimesBaseline;
    std::mt19937 random(sk_uSeed); // its numbers, unlike those of the distributions, are the same with every compiler
    std::vector<FoundPlane> planes;
    for (int i = 0; i < rWishes.m_nPlanes && points.size() >= sk_nLeastOfPlane; ++i) {
        const FoundPlane found = takeLargest(points, dPerDepth, random);
        if (found.m_nPoints < sk_nLeastOfPlane) {
            break;
        }
        planes.push_back(found);
    }
    std::stable_sort(planes.begin(), planes.end(),
                     [](const FoundPlane& a, const FoundPlane& b) { return a.m_nPoints > b.m_nPoints; });
    return planes;
}

} // namespace kestrova::app
