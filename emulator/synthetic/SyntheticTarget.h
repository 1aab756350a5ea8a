#ifndef KORVANE_EMULATOR_SYNTHETIC_SYNTHETICTARGET_H
#define KORVANE_EMULATOR_SYNTHETIC_SYNTHETICTARGET_H

#include <cstdint>
#include <vector>

#include <opencv2/core.hpp>

#include "emulator/synthetic/SceneObject.h"
#include "emulator/synthetic/TargetPose.h"

namespace korvane::synthetic {

// A printed calibration target (a chessboard, a ChArUco board) in front of
// the synthetic module: its frames at chosen poses and the ground truth of
// where each of its corners appears in each eye.
class SyntheticTarget
{
public:
    // `print`: the target's image; `metresPerPixel`: its printed scale;
    // `corners`: the corners' places on the print, metres from its top-left
    // corner (x along rows, y down).
    SyntheticTarget(const cv::Mat& print, double metresPerPixel, std::vector<cv::Point2d> corners);

    // The print as an object of the synthetic scene.
    SceneObject object(const TargetPose& pose) const;
    // Rig-frame positions of the corners, in the order given.
    std::vector<cv::Vec3d> cornerPoints(const TargetPose& pose) const;

    // Side-by-side frame of the room with the target at `pose`.
    cv::Mat render(const TargetPose& pose, cv::Size rawSize) const;

    // Where each corner appears in one eye's half of a raw frame of
    // rawSize; `seen` tells the corners that eye sees (in its half, inside
    // its field, on the printed side).
    std::vector<cv::Point2d> cornerPixels(const TargetPose& pose, cv::Size rawSize, bool right,
                                          std::vector<bool>& seen) const;

    // A little defocus (Gaussian, blurSigma pixels) and sensor noise
    // (Gaussian, noiseSigma grey levels), the same for the same seed.
    static void degrade(cv::Mat& frame, double blurSigma, double noiseSigma, std::uint64_t seed);

private:
    cv::Mat m_print;
    double m_metresPerPixel;
    std::vector<cv::Point2d> m_corners; // metres from the print's centre
};

} // namespace korvane::synthetic

#endif
