#include "emulator/synthetic/UnifiedEye.h"

#include <cmath>

namespace korvane::synthetic {

UnifiedEye::UnifiedEye(const cv::Matx33d& intrinsics, const cv::Vec4d& distortion, double xi,
                       const cv::Matx33d& rotation, const cv::Vec3d& centre, double fieldDegrees)
    : m_intrinsics(intrinsics),
      m_distortion(distortion),
      m_xi(xi),
      m_rotation(rotation),
      m_centre(centre),
      m_minAxisCosine(std::cos(fieldDegrees * CV_PI / 180.0))
{
}

cv::Matx33d UnifiedEye::scaledIntrinsics(double scale) const
{
    cv::Matx33d k = m_intrinsics;
    for (int r = 0; r < 2; ++r)
        for (int c = 0; c < 3; ++c)
            k(r, c) *= scale;
    return k;
}

cv::Point2d UnifiedEye::distort(const cv::Point2d& p) const
{
    const double k1 = m_distortion[0], k2 = m_distortion[1];
    const double p1 = m_distortion[2], p2 = m_distortion[3];
    const double r2 = p.x * p.x + p.y * p.y;
    const double radial = 1.0 + k1 * r2 + k2 * r2 * r2;
    return {p.x * radial + 2.0 * p1 * p.x * p.y + p2 * (r2 + 2.0 * p.x * p.x),
            p.y * radial + p1 * (r2 + 2.0 * p.y * p.y) + 2.0 * p2 * p.x * p.y};
}

// Newton's method on distort(p) = distorted, from p = distorted. Fails where
// the distortion folds over (Jacobian not positive) or does not converge.
bool UnifiedEye::undistort(const cv::Point2d& distorted, cv::Point2d& p) const
{
    const double k1 = m_distortion[0], k2 = m_distortion[1];
    const double p1 = m_distortion[2], p2 = m_distortion[3];
    p = distorted;
    for (int iteration = 0; iteration < 50; ++iteration) {
        const double r2 = p.x * p.x + p.y * p.y;
        const double radial = 1.0 + k1 * r2 + k2 * r2 * r2;
        const double radialSlope = 2.0 * (k1 + 2.0 * k2 * r2); // d radial/dx = radialSlope * x
        const double j00 = radial + p.x * radialSlope * p.x + 2.0 * p1 * p.y + 6.0 * p2 * p.x;
        const double j01 = p.x * radialSlope * p.y + 2.0 * p1 * p.x + 2.0 * p2 * p.y;
        const double j10 = p.y * radialSlope * p.x + 2.0 * p1 * p.x + 2.0 * p2 * p.y;
        const double j11 = radial + p.y * radialSlope * p.y + 6.0 * p1 * p.y + 2.0 * p2 * p.x;
        const double det = j00 * j11 - j01 * j10;
        if (!(det > 0.0))
            return false;
        const cv::Point2d error = distort(p) - distorted;
        const cv::Point2d step((j11 * error.x - j01 * error.y) / det, (j00 * error.y - j10 * error.x) / det);
        p -= step;
        if (std::abs(step.x) + std::abs(step.y) < 1e-15)
            break;
    }
    const cv::Point2d residual = distort(p) - distorted;
    return std::abs(residual.x) + std::abs(residual.y) < 1e-11;
}

bool UnifiedEye::project(const cv::Vec3d& point, double scale, cv::Point2d& pixel) const
{
    const cv::Vec3d camera = m_rotation.t() * (point - m_centre);
    const double n = cv::norm(camera);
    if (!(n > 0.0) || camera[2] / n < m_minAxisCosine)
        return false;
    const double denominator = camera[2] / n + m_xi;
    const cv::Point2d d = distort({camera[0] / n / denominator, camera[1] / n / denominator});
    const cv::Matx33d k = scaledIntrinsics(scale);
    pixel = {k(0, 0) * d.x + k(0, 1) * d.y + k(0, 2), k(1, 1) * d.y + k(1, 2)};
    return true;
}

bool UnifiedEye::pixelRay(const cv::Point2d& pixel, double scale, cv::Vec3d& direction) const
{
    const cv::Matx33d k = scaledIntrinsics(scale);
    const double yd = (pixel.y - k(1, 2)) / k(1, 1);
    const double xd = (pixel.x - k(0, 2) - k(0, 1) * yd) / k(0, 0);
    cv::Point2d p;
    if (!undistort({xd, yd}, p))
        return false;
    const double r2 = p.x * p.x + p.y * p.y;
    const double discriminant = 1.0 + (1.0 - m_xi * m_xi) * r2;
    if (discriminant < 0.0)
        return false;
    const double lift = (m_xi + std::sqrt(discriminant)) / (r2 + 1.0);
    const cv::Vec3d sphere(lift * p.x, lift * p.y, lift - m_xi);
    if (sphere[2] < m_minAxisCosine)
        return false;
    direction = m_rotation * sphere;
    return true;
}

} // namespace korvane::synthetic
