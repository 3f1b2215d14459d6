// A room whose distances are known exactly: rectangles and spheres that rays are cast against.
//
// The frame is that of the right camera before rectification: metres, x right, y down, z forward.
#pragma once

#include <opencv2/core.hpp>

#include <cstdint>
#include <vector>

namespace kestrova::app {

enum class Material
{
    Textured,
    Plain,
    Repeated
};

struct Paint
{
    Material m_eMaterial = Material::Textured;
    double m_dGrey = 120.0; // mean level
    double m_dGrain = 0.01; // metres: finest detail of a texture, or the period of a repeated pattern
    std::uint32_t m_uSeed = 0;
    cv::Vec3d m_tint{1.0, 1.0, 1.0}; // blue, green, red of grey 1, together as bright as that
    double m_dStretch = 1.0;         // of a texture along the surface
};

struct Rectangle
{
    cv::Vec3d m_corner;
    cv::Vec3d m_across; // unit vectors along the sides
    cv::Vec3d m_along;
    double m_dWidth = 0.0;
    double m_dHeight = 0.0;
    Paint m_paint;
};

struct Sphere
{
    cv::Vec3d m_centre;
    double m_dRadius = 0.0;
    Paint m_paint;
};

struct Hit
{
    double m_dDistance = 0.0; // in lengths of the ray's direction
    Material m_eMaterial = Material::Plain;
    double m_dGrey = 0.0; // 0 where the ray meets nothing
    cv::Vec3d m_tint;
    int m_nSurface = -1; // in the order of the scene, rectangles first
};

class Scene
{
public:
    void add(const Rectangle& rRectangle) { m_rectangles.push_back(rRectangle); }
    void add(const Sphere& rSphere) { m_spheres.push_back(rSphere); }

    /** The nearest surface along the ray; the distance is infinite when there is none. */
    Hit trace(const cv::Vec3d& rOrigin, const cv::Vec3d& rDirection) const;

    const Rectangle& rectangle(int nSurface) const { return m_rectangles.at(static_cast<std::size_t>(nSurface)); }

private:
    std::vector<Rectangle> m_rectangles;
    std::vector<Sphere> m_spheres;
};

inline constexpr int sk_nWall = 0;  // behind everything
inline constexpr int sk_nFloor = 3; // the slanted surface of the room

/**
 * Back wall with a plain board and a striped one, rising floor, sphere, three boxes, between 1.2 and 3.6 metres.
 * dPixelsPerRadian sets how fine the textures are: their grain is a few pixels wide at any image size.
 */
Scene demoRoom(std::uint32_t uSeed, double dPixelsPerRadian);

} // namespace kestrova::app
