#ifndef KORVANE_CAMERA_CALIBRATION_CALIBRATIONFILE_H
#define KORVANE_CAMERA_CALIBRATION_CALIBRATIONFILE_H

#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "camera/calibration/KorvaneCalibrationExport.h"

#include "camera/CalibrationFormat.h"
#include "camera/calibration/StereoCalibrator.h"
#include "camera/calibration/TargetDetector.h"

namespace korvane::calibration {

// A calibration result as the kit's calibration file holds it: each eye's
// unified model with its intrinsics stated for the 1856-pixel raw width
// (the kit scales them to the raw width at capture start), the rectifying
// rotation of each eye (camera frame to the common rectified frame, from
// omnidir's stereo rectification) and the translation between the eyes in
// millimetres, whose norm the depth code takes for the baseline.
class KORVANE_CALIBRATION_EXPORT CalibrationFile
{
public:
    struct Numbers
    {
        int serialNumber = 0;
        int positionNumber = 0;
        cv::Size rectifiedSize{640, 480};
    };

    // rawSize: the side-by-side size the views were taken at.
    static CalibrationFormat::Contents contents(const StereoCalibrator::Result& result, cv::Size rawSize,
                                                const Numbers& numbers);
    static bool write(const std::string& path, const StereoCalibrator::Result& result, cv::Size rawSize,
                      const Numbers& numbers);

    // The vertical offset, in pixels of the kit's perspective rectified
    // view (rectifiedSize, hFovDegrees), between each corner in the left
    // and in the right view: the rectified epipolar error, over the corners
    // of the views the calibration used that both views show.
    static std::vector<double> epipolarErrors(const StereoCalibrator::Result& result,
                                              const std::vector<TargetDetector::PairCorners>& views,
                                              cv::Size rectifiedSize, double hFovDegrees);
};

} // namespace korvane::calibration

#endif
