#include "demo/Scene.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace kestrova::app {

namespace {

constexpr double sk_dFar = std::numeric_limits<double>::infinity();
constexpr double sk_dNearest = 1e-6; // a ray does not meet the surface that it starts on

// ---- paint ----

double latticeValue(std::uint32_t uSeed, std::int64_t nX, std::int64_t nY)
{
    std::uint64_t u = static_cast<std::uint64_t>(nX) * 0x9E3779B97F4A7C15u +
                      static_cast<std::uint64_t>(nY) * 0xC2B2AE3D27D4EB4Fu + uSeed * 0x165667B19E3779F9u;
    u = (u ^ (u >> 31)) * 0xBF58476D1CE4E5B9u;
    u = (u ^ (u >> 29)) * 0x94D049BB133111EBu;
    return static_cast<double>((u ^ (u >> 32)) & 0xFFFFFFu) / 0x7FFFFF - 1.0;
}

// Random values on a grid of unit cells, joined smoothly: -1 to 1.
double smoothNoise(std::uint32_t uSeed, double dX, double dY)
{
    const double dCellX = std::floor(dX);
    const double dCellY = std::floor(dY);
    const auto nX = static_cast<std::int64_t>(dCellX);
    const auto nY = static_cast<std::int64_t>(dCellY);
    const auto ease = [](double t) { return t * t * (3.0 - 2.0 * t); };
    const double dU = ease(dX - dCellX);
    const double dV = ease(dY - dCellY);
    const double dUpper = std::lerp(latticeValue(uSeed, nX, nY), latticeValue(uSeed, nX + 1, nY), dU);
    const double dLower = std::lerp(latticeValue(uSeed, nX, nY + 1), latticeValue(uSeed, nX + 1, nY + 1), dU);
    return std::lerp(dUpper, dLower, dV);
}

// Detail at four scales, like gravel, bark or cloth: fine enough to match, coarse enough to look at.
double texture(const Paint& rPaint, double dX, double dY)
{
    static constexpr std::array<std::array<double, 2>, 4> aaOctaves{
        {{1.0, 45.0}, {2.1, 45.0}, {4.7, 35.0}, {19.0, 30.0}}};
    double dGrey = rPaint.m_dGrey;
    std::uint32_t uSeed = rPaint.m_uSeed;
    for (const auto& [dCell, dAmplitude] : aaOctaves) {
        const double dSize = dCell * rPaint.m_dGrain;
        dGrey += dAmplitude * smoothNoise(++uSeed, dX / dSize, dY / dSize);
    }
    return std::clamp(dGrey, 8.0, 250.0);
}

double greyAt(const Paint& rPaint, double dX, double dY)
{
    switch (rPaint.m_eMaterial) {
    case Material::Plain:
        return rPaint.m_dGrey;
    case Material::Repeated:
        return rPaint.m_dGrey + 60.0 * std::sin(2.0 * CV_PI * dX / rPaint.m_dGrain);
    case Material::Textured:
        break;
    }
    return texture(rPaint, dX, dY / rPaint.m_dStretch);
}

// ---- rays ----

struct Place
{
    double m_dDistance = sk_dFar;
    double m_dX = 0.0; // where on the surface
    double m_dY = 0.0;
    cv::Vec3d m_normal;
};

Place meet(const Rectangle& rRectangle, const cv::Vec3d& rOrigin, const cv::Vec3d& rDirection)
{
    const cv::Vec3d normal = rRectangle.m_across.cross(rRectangle.m_along);
    const double dDistance = normal.dot(rRectangle.m_corner - rOrigin) / normal.dot(rDirection);
    const cv::Vec3d offset = rOrigin + dDistance * rDirection - rRectangle.m_corner;
    const double dX = offset.dot(rRectangle.m_across);
    const double dY = offset.dot(rRectangle.m_along);
    // Written so that the not-a-number of a ray along the plane misses.
    if (dDistance > sk_dNearest && dX >= 0.0 && dY >= 0.0 && dX <= rRectangle.m_dWidth && dY <= rRectangle.m_dHeight) {
        return {dDistance, dX, dY, normal};
    }
    return {};
}

Place meet(const Sphere& rSphere, const cv::Vec3d& rOrigin, const cv::Vec3d& rDirection)
{
    const cv::Vec3d toCentre = rSphere.m_centre - rOrigin;
    const double dSquare = rDirection.dot(rDirection);
    const double dHalf = rDirection.dot(toCentre);
    const double dRoot = dHalf * dHalf - dSquare * (toCentre.dot(toCentre) - rSphere.m_dRadius * rSphere.m_dRadius);
    if (dRoot < 0.0) {
        return {};
    }
    const double dDistance = (dHalf - std::sqrt(dRoot)) / dSquare;
    if (dDistance <= sk_dNearest) {
        return {};
    }
    const cv::Vec3d normal = (rOrigin + dDistance * rDirection - rSphere.m_centre) / rSphere.m_dRadius;
    return {dDistance, std::atan2(normal[0], -normal[2]) * rSphere.m_dRadius,
            std::asin(std::clamp(normal[1], -1.0, 1.0)) * rSphere.m_dRadius, normal};
}

// The lamp is matt and above the cameras; both cameras see the same grey of a place.
double shade(const cv::Vec3d& rNormal)
{
    static const cv::Vec3d s_light = cv::normalize(cv::Vec3d(-0.35, -0.8, -0.9));
    return 0.62 + 0.38 * std::abs(rNormal.dot(s_light));
}

} // namespace

Hit Scene::trace(const cv::Vec3d& rOrigin, const cv::Vec3d& rDirection) const
{
    Place nearest;
    const Paint* pPaint = nullptr;
    int nSurface = -1;
    int nNearest = -1;
    const auto tryAll = [&](const auto& rSurfaces) {
        for (const auto& rSurface : rSurfaces) {
            ++nSurface;
            if (const Place place = meet(rSurface, rOrigin, rDirection); place.m_dDistance < nearest.m_dDistance) {
                nearest = place;
                pPaint = &rSurface.m_paint;
                nNearest = nSurface;
            }
        }
    };
    tryAll(m_rectangles);
    tryAll(m_spheres);
    if (!pPaint) {
        return {sk_dFar, Material::Plain, 0.0, {}, -1};
    }
    return {nearest.m_dDistance, pPaint->m_eMaterial,
            greyAt(*pPaint, nearest.m_dX, nearest.m_dY) * shade(nearest.m_normal), pPaint->m_tint, nNearest};
}

// ---- the room ----

namespace {

// A box that stands turned about the upright axis; rFoot is the middle of its bottom face.
void addBox(Scene& rScene, const cv::Vec3d& rFoot, const cv::Vec3d& rSize, double dTurn, const Paint& rPaint)
{
    const std::array<cv::Vec3d, 3> aAxes{cv::Vec3d(std::cos(dTurn), 0, std::sin(dTurn)), cv::Vec3d(0, -1, 0),
                                         cv::Vec3d(-std::sin(dTurn), 0, std::cos(dTurn))};
    cv::Vec3d corner = rFoot;
    corner -= aAxes[0] * (rSize[0] / 2) + aAxes[2] * (rSize[2] / 2);
    Paint paint = rPaint;
    for (int i = 0; i < 3; ++i) {
        const int k = (i + 1) % 3;
        const int nOther = (i + 2) % 3;
        for (double dAway : {0.0, rSize[nOther]}) {
            paint.m_uSeed += 100;
            rScene.add(Rectangle{corner + aAxes[static_cast<std::size_t>(nOther)] * dAway,
                                 aAxes[static_cast<std::size_t>(i)], aAxes[static_cast<std::size_t>(k)], rSize[i],
                                 rSize[k], paint});
        }
    }
}

} // namespace

Scene demoRoom(std::uint32_t uSeed, double dPixelsPerRadian)
{
    std::uint32_t uNext = uSeed * 7919u;
    const auto painted = [&](double dGrey, double dDistance, const cv::Vec3d& rColour) {
        const double dBright = rColour.dot({0.114, 0.587, 0.299});
        return Paint{Material::Textured, dGrey, 2.4 * dDistance / dPixelsPerRadian, uNext += 1000, rColour / dBright};
    };
    const cv::Vec3d right(1, 0, 0);
    const cv::Vec3d down(0, 1, 0);
    Scene scene;
    scene.add(Rectangle{{-4.0, -3.0, 3.6}, right, down, 8.0, 6.0, painted(145, 3.6, {0.8, 1.0, 1.1})});
    // The boards hang a few millimetres before the wall.
    scene.add(Rectangle{{-1.35, -1.10, 3.595}, right, down, 0.55, 0.55, Paint{Material::Plain, 165.0, 0.0, 0}});
    scene.add(Rectangle{{0.55, -1.10, 3.595},
                        right,
                        down,
                        0.65,
                        0.50,
                        Paint{Material::Repeated, 130.0, 12.0 * 3.6 / dPixelsPerRadian, 0}});
    // Seen at a low angle: its detail is drawn out in depth, or it would be finer than a pixel.
    Paint floor = painted(95, 2.2, {0.6, 1.0, 0.7});
    floor.m_dStretch = 3.0;
    const cv::Vec3d uphill = cv::normalize(cv::Vec3d(0, -0.22, 3.2)); // the floor rises away from the cameras
    scene.add(Rectangle{{-4.0, 0.72, 0.4}, right, uphill, 8.0, 5.0, floor});
    scene.add(Sphere{{-0.62, 0.12, 2.25}, 0.33, painted(178, 2.1, {0.5, 0.9, 1.3})});
    addBox(scene, {0.28, 0.60, 1.42}, {0.26, 0.42, 0.20}, 0.35, painted(80, 1.35, {0.4, 0.6, 1.5}));
    addBox(scene, {0.95, 0.58, 2.35}, {0.40, 0.75, 0.35}, -0.30, painted(185, 2.2, {1.2, 1.0, 0.8}));
    addBox(scene, {0.05, 0.52, 3.05}, {0.60, 0.95, 0.30}, 0.20, painted(105, 2.9, {1.5, 0.9, 0.6}));
    return scene;
}

} // namespace kestrova::app
