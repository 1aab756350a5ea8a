#include <cstdio>

#include <opencv2/aruco/dictionary.hpp>

#include <camera/calibration/TargetDetector.h>

// Finds every corner of a ChArUco board on its own print, through the
// installed calibration library.
int main()
{
    using korvane::calibration::CalibrationTarget;
    const CalibrationTarget target = CalibrationTarget::charuco({5, 4}, 40.0, 30.0, cv::aruco::DICT_4X4_50);
    const auto corners = korvane::calibration::TargetDetector(target).detect(target.print(60));
    const bool ok = static_cast<int>(corners.ids.size()) == target.cornerCount();
    std::printf("%s\n", ok ? "calibration consumer ok" : "calibration consumer failed");
    return ok ? 0 : 1;
}
