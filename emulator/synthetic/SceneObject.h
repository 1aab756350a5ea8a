#ifndef KORVANE_EMULATOR_SYNTHETIC_SCENEOBJECT_H
#define KORVANE_EMULATOR_SYNTHETIC_SCENEOBJECT_H

#include <opencv2/core.hpp>

#include "emulator/synthetic/ProceduralTexture.h"

namespace korvane::synthetic {

// One textured object of the synthetic scene: an unbounded plane, a
// rectangular panel or a sphere, in the rig frame (metres). An object may
// move: its centre at time t is centre + amplitude * sin(2 pi t / period +
// phase); the texture moves with it.
class SceneObject
{
public:
    // Plane through `origin` spanned by the unit, orthogonal axes u and v;
    // texture coordinates are the offsets along them.
    static SceneObject plane(const cv::Vec3d& origin, const cv::Vec3d& u, const cv::Vec3d& v,
                             const ProceduralTexture& texture);
    // The part of such a plane within halfU and halfV of the centre.
    static SceneObject panel(const cv::Vec3d& centre, const cv::Vec3d& u, const cv::Vec3d& v,
                             double halfU, double halfV, const ProceduralTexture& texture);
    static SceneObject sphere(const cv::Vec3d& centre, double radius, const ProceduralTexture& texture);

    SceneObject moving(const cv::Vec3d& amplitude, double periodSeconds, double phase) const;

    cv::Vec3d centreAt(double t) const;
    // Rig-frame point at texture coordinates (a, b) of a plane or panel.
    cv::Vec3d surfacePoint(double a, double b, double t) const;

    // Distance along a unit direction to the first crossing of the surface
    // beyond `minDistance`; false when there is none.
    bool intersect(const cv::Vec3d& origin, const cv::Vec3d& direction, double t, double minDistance,
                   double& distance) const;
    // Colour at a point of the surface at time t.
    cv::Vec3d colourAt(const cv::Vec3d& point, double t) const;

private:
    enum class Shape { Plane, Panel, Sphere };

    SceneObject(Shape shape, const cv::Vec3d& centre, const cv::Vec3d& u, const cv::Vec3d& v,
                double halfU, double halfV, const ProceduralTexture& texture);

    Shape m_shape;
    cv::Vec3d m_centre;
    cv::Vec3d m_u;
    cv::Vec3d m_v;
    cv::Vec3d m_normal;
    double m_halfU; // sphere: radius
    double m_halfV;
    ProceduralTexture m_texture;
    cv::Vec3d m_amplitude{0.0, 0.0, 0.0};
    double m_period = 1.0;
    double m_phase = 0.0;
};

} // namespace korvane::synthetic

#endif
