#ifndef KORVANE_EMULATOR_SYNTHETIC_UNIFIEDEYE_H
#define KORVANE_EMULATOR_SYNTHETIC_UNIFIEDEYE_H

#include <opencv2/core.hpp>

namespace korvane::synthetic {

// One fisheye eye of the synthetic module: the unified camera model (mirror
// parameter xi) with radial-tangential distortion k1, k2, p1, p2, the
// rectifying rotation of the eye and its optical centre in the rig.
//
// The rig frame is the common rectified frame: x right, y down, z forward,
// metres, origin at the left eye. The rotation takes this eye's camera frame
// to the rig frame. Intrinsics are stated for a side-by-side frame 1856
// pixels wide, as calibration files hold them; `scale` (raw width / 1856)
// multiplies their rows 0 and 1, as the kit does at capture start.
class UnifiedEye
{
public:
    UnifiedEye(const cv::Matx33d& intrinsics, const cv::Vec4d& distortion, double xi,
               const cv::Matx33d& rotation, const cv::Vec3d& centre, double fieldDegrees);

    const cv::Matx33d& intrinsics() const { return m_intrinsics; }
    cv::Matx33d scaledIntrinsics(double scale) const;
    const cv::Vec4d& distortion() const { return m_distortion; }
    double xi() const { return m_xi; }
    const cv::Matx33d& rotation() const { return m_rotation; }
    const cv::Vec3d& centre() const { return m_centre; }

    // Fisheye pixel of a rig-frame point; false when the lens does not see it
    // (farther than the field angle from the optical axis).
    bool project(const cv::Vec3d& point, double scale, cv::Point2d& pixel) const;

    // Unit direction, in the rig frame, of the ray seen at a fisheye pixel:
    // the distortion inverted by Newton steps, then the unified model's
    // lifting onto the unit sphere. False where the lens sees nothing.
    bool pixelRay(const cv::Point2d& pixel, double scale, cv::Vec3d& direction) const;

private:
    cv::Point2d distort(const cv::Point2d& p) const;
    bool undistort(const cv::Point2d& distorted, cv::Point2d& p) const;

    cv::Matx33d m_intrinsics;
    cv::Vec4d m_distortion;
    double m_xi;
    cv::Matx33d m_rotation;
    cv::Vec3d m_centre;
    double m_minAxisCosine; // rays closer to the axis than the field angle
};

} // namespace korvane::synthetic

#endif
