#include "emulator/synthetic/SceneObject.h"

#include <algorithm>
#include <cmath>

namespace korvane::synthetic {

SceneObject::SceneObject(Shape shape, const cv::Vec3d& centre, const cv::Vec3d& u, const cv::Vec3d& v,
                         double halfU, double halfV, const ProceduralTexture& texture)
    : m_shape(shape),
      m_centre(centre),
      m_u(u),
      m_v(v),
      m_normal(u.cross(v)),
      m_halfU(halfU),
      m_halfV(halfV),
      m_texture(texture)
{
}

SceneObject SceneObject::plane(const cv::Vec3d& origin, const cv::Vec3d& u, const cv::Vec3d& v,
                               const ProceduralTexture& texture)
{
    return SceneObject(Shape::Plane, origin, u, v, 0.0, 0.0, texture);
}

SceneObject SceneObject::panel(const cv::Vec3d& centre, const cv::Vec3d& u, const cv::Vec3d& v,
                               double halfU, double halfV, const ProceduralTexture& texture)
{
    return SceneObject(Shape::Panel, centre, u, v, halfU, halfV, texture);
}

SceneObject SceneObject::sphere(const cv::Vec3d& centre, double radius, const ProceduralTexture& texture)
{
    return SceneObject(Shape::Sphere, centre, {1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, radius, radius, texture);
}

SceneObject SceneObject::moving(const cv::Vec3d& amplitude, double periodSeconds, double phase) const
{
    SceneObject moved = *this;
    moved.m_amplitude = amplitude;
    moved.m_period = periodSeconds;
    moved.m_phase = phase;
    return moved;
}

cv::Vec3d SceneObject::centreAt(double t) const
{
    return m_centre + m_amplitude * std::sin(2.0 * CV_PI * t / m_period + m_phase);
}

cv::Vec3d SceneObject::surfacePoint(double a, double b, double t) const
{
    return centreAt(t) + m_u * a + m_v * b;
}

bool SceneObject::intersect(const cv::Vec3d& origin, const cv::Vec3d& direction, double t,
                            double minDistance, double& distance) const
{
    const cv::Vec3d centre = centreAt(t);
    if (m_shape == Shape::Sphere) {
        const cv::Vec3d offset = origin - centre;
        const double b = offset.dot(direction);
        const double c = offset.dot(offset) - m_halfU * m_halfU;
        const double discriminant = b * b - c;
        if (discriminant < 0.0)
            return false;
        const double root = std::sqrt(discriminant);
        distance = -b - root > minDistance ? -b - root : -b + root;
        return distance > minDistance;
    }
    const double facing = m_normal.dot(direction);
    if (std::abs(facing) < 1e-12)
        return false;
    distance = m_normal.dot(centre - origin) / facing;
    if (!(distance > minDistance))
        return false;
    if (m_shape == Shape::Plane)
        return true;
    const cv::Vec3d local = origin + direction * distance - centre;
    return std::abs(local.dot(m_u)) <= m_halfU && std::abs(local.dot(m_v)) <= m_halfV;
}

cv::Vec3d SceneObject::colourAt(const cv::Vec3d& point, double t) const
{
    const cv::Vec3d local = point - centreAt(t);
    if (m_shape != Shape::Sphere)
        return m_texture.colour(local.dot(m_u), local.dot(m_v));
    // Longitude and latitude, as arc lengths on the sphere.
    const double radius = m_halfU;
    const double longitude = std::atan2(local[0], -local[2]);
    const double latitude = std::asin(std::max(-1.0, std::min(1.0, local[1] / radius)));
    return m_texture.colour(radius * longitude, radius * latitude);
}

} // namespace korvane::synthetic
