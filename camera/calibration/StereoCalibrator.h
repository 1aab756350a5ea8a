#ifndef KORVANE_CAMERA_CALIBRATION_STEREOCALIBRATOR_H
#define KORVANE_CAMERA_CALIBRATION_STEREOCALIBRATOR_H

#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "camera/calibration/KorvaneCalibrationExport.h"

#include "camera/calibration/TargetDetector.h"

namespace korvane::calibration {

// Calibrates the two fisheye eyes and the pair with the unified model
// (OpenCV contrib's omnidir): each eye, then the pair. A view whose error
// is far above the others' (a misfound corner, a blurred frame) is dropped
// and the calibration run again; the result says which views went.
class KORVANE_CALIBRATION_EXPORT StereoCalibrator
{
public:
    // One eye's model, for the image size it was calibrated at.
    struct Eye
    {
        cv::Matx33d intrinsics;
        cv::Vec4d distortion; // k1, k2, p1, p2
        double xi = 0.0;
        double rms = 0.0; // reprojection error of the eye's own calibration, pixels
    };

    struct Result
    {
        bool ok = false;
        std::string error;
        cv::Size eyeSize;
        Eye left;
        Eye right;
        cv::Vec3d rotation;    // Rodrigues vector: X_right = R X_left + T
        cv::Vec3d translation; // millimetres
        double pairRms = 0.0;  // over both eyes of the pair calibration, pixels
        std::vector<double> viewErrors; // RMS per given view, pixels; -1 where not used
        std::vector<int> dropped;       // views dropped for their error
        std::vector<int> rejected;      // views the calibration could not use
    };

    // A view whose RMS exceeds this many times the median (and
    // kDropFloor pixels) is dropped.
    static constexpr double kDropFactor = 3.0;
    static constexpr double kDropFloor = 0.5;
    static constexpr int kMinimumViews = 5;

    explicit StereoCalibrator(const TargetDetector& detector);

    // views: the corners found in both eyes; eyeSize: one eye's image size.
    Result calibrate(const std::vector<TargetDetector::PairCorners>& views, cv::Size eyeSize) const;

private:
    Result calibrateOnce(const std::vector<TargetDetector::PairCorners>& views, const std::vector<int>& use,
                         cv::Size eyeSize) const;

    const TargetDetector& m_detector;
};

} // namespace korvane::calibration

#endif
