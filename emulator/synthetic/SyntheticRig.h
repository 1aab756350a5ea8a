#ifndef KORVANE_EMULATOR_SYNTHETIC_SYNTHETICRIG_H
#define KORVANE_EMULATOR_SYNTHETIC_SYNTHETICRIG_H

#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "emulator/synthetic/UnifiedEye.h"

namespace korvane::synthetic {

// The synthetic module's two eyes and their calibration: unified model with
// distortion per eye (intrinsics for the 1856 x 800 frame), slightly turned
// eyes with their rectifying rotations, and a 60 mm baseline along the rig's
// x axis. Translation follows the stereo calibration convention
// X_right = R X_left + T, in millimetres, so its norm is the baseline.
class SyntheticRig
{
public:
    SyntheticRig();

    const UnifiedEye& eye(bool right) const { return right ? m_right : m_left; }
    double baselineMetres() const;
    cv::Vec3d translationMillimetres() const;
    int serialNumber() const { return 7001; }
    int positionNumber() const { return 0; }

    // One eye's parameter vector as the stereo camera takes it: intrinsic
    // matrix, distortion row, xi, rotation, translation (64-bit floats).
    std::vector<cv::Mat> calibParams(bool right) const;

    // The calibration parameter file, with the keys, order and forms of the
    // stereo camera's own calibration files.
    bool writeCalibrationFile(const std::string& path, cv::Size rectifiedSize) const;

private:
    UnifiedEye m_left;
    UnifiedEye m_right;
};

} // namespace korvane::synthetic

#endif
