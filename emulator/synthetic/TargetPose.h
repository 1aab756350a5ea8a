#ifndef KORVANE_EMULATOR_SYNTHETIC_TARGETPOSE_H
#define KORVANE_EMULATOR_SYNTHETIC_TARGETPOSE_H

#include <cstdint>
#include <vector>

#include <opencv2/core.hpp>

namespace korvane::synthetic {

// Where a flat target stands in the rig frame (metres): its centre and its
// axes. `across` and `down` run along the print's rows and columns; their
// cross product points away from the eyes when the print faces them.
class TargetPose
{
public:
    TargetPose(const cv::Vec3d& centre, const cv::Matx33d& axes);

    // A print facing the rig's origin from `centre`, turned by the Rodrigues
    // vector `tilt` about its own axes.
    static TargetPose facing(const cv::Vec3d& centre, const cv::Vec3d& tilt);

    // `count` poses as a person waving a board in front of the module would
    // take them: 0.25 to 0.45 m away, spread over the field up to 88 degrees
    // off the rig's axis (the outer ones partly beyond the fisheye circle),
    // tilted up to 40 degrees. The same seed gives the same poses.
    static std::vector<TargetPose> varied(int count, std::uint64_t seed);

    const cv::Vec3d& centre() const { return m_centre; }
    cv::Vec3d across() const { return {m_axes(0, 0), m_axes(1, 0), m_axes(2, 0)}; }
    cv::Vec3d down() const { return {m_axes(0, 1), m_axes(1, 1), m_axes(2, 1)}; }
    cv::Vec3d normal() const { return {m_axes(0, 2), m_axes(1, 2), m_axes(2, 2)}; }
    // Rig-frame point at (a, b) metres along across and down from the centre.
    cv::Vec3d point(double a, double b) const { return m_centre + across() * a + down() * b; }

private:
    cv::Vec3d m_centre;
    cv::Matx33d m_axes; // columns: across, down, normal
};

} // namespace korvane::synthetic

#endif
