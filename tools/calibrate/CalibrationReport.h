#ifndef KORVANE_TOOLS_CALIBRATE_CALIBRATIONREPORT_H
#define KORVANE_TOOLS_CALIBRATE_CALIBRATIONREPORT_H

#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "camera/calibration/StereoCalibrator.h"
#include "camera/calibration/TargetDetector.h"

// What a calibration run found and how good its result is: the text
// summary and the pictures of the report.
class CalibrationReport
{
public:
    // Rectified view the epipolar error and the preview are measured in:
    // the kit's default perspective view.
    static inline const cv::Size kRectifiedSize{640, 480};
    static constexpr double kFieldOfView = 90.0;

    struct Input
    {
        std::string target;                                       // the target's description
        std::string source;                                       // folder or video
        cv::Size rawSize;                                         // the frames' size
        std::vector<std::string> viewNames;                       // one per found view
        std::vector<korvane::calibration::TargetDetector::PairCorners> views;
        std::vector<std::string> missed;                          // "name: why" of frames without a view
        korvane::calibration::StereoCalibrator::Result result;
    };

    explicit CalibrationReport(Input input);

    std::string summary() const;
    double epipolarMedian() const { return m_epipolarMedian; }
    // The corners of each eye over its fisheye circle.
    cv::Mat coverage(bool right) const;
    // A frame rectified by the result in the kit's perspective view, both
    // eyes side by side, with horizontal lines to check rows against.
    cv::Mat rectifiedPreview(const cv::Mat& frame) const;

    // The summary as a page, showing the pictures when there are any.
    std::string html(bool withPictures) const;

    // summary.txt, summary.html, coverage_left.png, coverage_right.png,
    // rectified.png; the text alone when there is no calibration.
    bool write(const std::string& directory, const cv::Mat& previewFrame, std::string& error) const;

private:
    Input m_in;
    double m_epipolarMedian = 0.0;
    double m_epipolar95 = 0.0;
};

#endif
