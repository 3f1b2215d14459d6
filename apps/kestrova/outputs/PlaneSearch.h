// The largest planes of a cloud, one after the other.
//
// The noise of a stereo point is even in disparity and grows with the square of its distance in metres. So a plane
// takes the points whose disparity it explains, and the band about it widens with depth.
#pragma once

#include "outputs/CloudWriter.h"

namespace kestrova::app {

struct PlaneWishes
{
    int m_nPlanes = 0;
    double m_dTolerance = 0.25; // pixels of disparity between a point and its plane
};

inline constexpr std::size_t sk_nLeastOfPlane = 100; // points; fewer agree by chance

struct FoundPlane
{
    cv::Vec3d m_normal;       // of length 1, towards the camera
    double m_dDistance = 0.0; // of the plane from the camera, metres
    double m_dSpread = 0.0;   // deviation of the distances to the plane in the last round of the fit, metres
    std::size_t m_nPoints = 0;
    cv::Vec3d m_middle; // mean of the points

    double distanceTo(const cv::Vec3d& rPoint) const { return m_normal.dot(rPoint) + m_dDistance; }
};

/**
 * At most as many as wished for, the one with most points first. Each point belongs to one plane. The same cloud gives
 * the same planes.
 */
std::vector<FoundPlane> findPlanes(const std::vector<CloudPoint>& rCloud, double dFocalTimesBaseline,
                                   const PlaneWishes& rWishes);

} // namespace kestrova::app
