#ifndef KORVANE_TESTS_CALIBRATION_RENDEREDVIEWS_H
#define KORVANE_TESTS_CALIBRATION_RENDEREDVIEWS_H

// A calibration target rendered by the synthetic module: the print of the
// target placed in the synthetic scene, and frames of it at varied poses
// with a little blur and noise, as a user's captures would be.

#include <vector>

#include <opencv2/core.hpp>

#include "camera/calibration/CalibrationTarget.h"
#include "emulator/synthetic/SyntheticTarget.h"
#include "emulator/synthetic/TargetPose.h"

namespace korvane::test {

constexpr int kPrintPixelsPerSquare = 60;
constexpr double kBlurSigma = 0.6;  // pixels
constexpr double kNoiseSigma = 2.0; // grey levels

inline synthetic::SyntheticTarget syntheticTarget(const calibration::CalibrationTarget& target)
{
    const double metresPerPixel = target.squareMillimetres() / 1000.0 / kPrintPixelsPerSquare;
    std::vector<cv::Point2d> corners;
    for (int k = 0; k < target.cornerCount(); ++k)
        corners.push_back(target.printPosition(k, kPrintPixelsPerSquare) * metresPerPixel);
    return synthetic::SyntheticTarget(target.print(kPrintPixelsPerSquare), metresPerPixel, corners);
}

// count frames at the varied poses of `seed`, blurred and noisy.
inline std::vector<cv::Mat> renderedViews(const calibration::CalibrationTarget& target, cv::Size rawSize, int count,
                                          std::uint64_t seed)
{
    const synthetic::SyntheticTarget rendered = syntheticTarget(target);
    std::vector<cv::Mat> frames;
    int index = 0;
    for (const synthetic::TargetPose& pose : synthetic::TargetPose::varied(count, seed)) {
        cv::Mat frame = rendered.render(pose, rawSize);
        synthetic::SyntheticTarget::degrade(frame, kBlurSigma, kNoiseSigma, seed * 1000 + index++);
        frames.push_back(frame);
    }
    return frames;
}

} // namespace korvane::test

#endif
