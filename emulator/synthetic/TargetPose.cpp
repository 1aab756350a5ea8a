#include "emulator/synthetic/TargetPose.h"

#include <algorithm>
#include <cmath>

#include <opencv2/calib3d.hpp>

namespace korvane::synthetic {

TargetPose::TargetPose(const cv::Vec3d& centre, const cv::Matx33d& axes) : m_centre(centre), m_axes(axes)
{
}

TargetPose TargetPose::facing(const cv::Vec3d& centre, const cv::Vec3d& tilt)
{
    const cv::Vec3d forward = cv::normalize(centre);
    const cv::Vec3d across = cv::normalize(cv::Vec3d(0.0, 1.0, 0.0).cross(forward));
    const cv::Vec3d down = forward.cross(across);
    const cv::Matx33d facingAxes(across[0], down[0], forward[0], across[1], down[1], forward[1], across[2],
                                 down[2], forward[2]);
    cv::Matx33d turn;
    cv::Rodrigues(tilt, turn);
    return TargetPose(centre, facingAxes * turn);
}

std::vector<TargetPose> TargetPose::varied(int count, std::uint64_t seed)
{
    constexpr double kGoldenAngle = 2.399963229728653;
    constexpr double kDegree = CV_PI / 180.0;
    const cv::Vec3d rigMiddle(0.03, 0.0, 0.0);
    cv::RNG rng(seed);
    std::vector<TargetPose> poses;
    for (int i = 0; i < count; ++i) {
        // Off-axis angle grows with the index, so every part of the field
        // gets views; the azimuth turns by the golden angle.
        const double offAxis = (5.0 + 83.0 * i / std::max(1, count - 1) + rng.uniform(-3.0, 3.0)) * kDegree;
        const double azimuth = i * kGoldenAngle + rng.uniform(-0.2, 0.2);
        const double distance = rng.uniform(0.25, 0.45);
        const cv::Vec3d direction(std::sin(offAxis) * std::cos(azimuth), std::sin(offAxis) * std::sin(azimuth),
                                  std::cos(offAxis));
        const cv::Vec3d tilt(rng.uniform(-40.0, 40.0) * kDegree, rng.uniform(-40.0, 40.0) * kDegree,
                             rng.uniform(-30.0, 30.0) * kDegree);
        poses.push_back(facing(rigMiddle + direction * distance, tilt));
    }
    return poses;
}

} // namespace korvane::synthetic
