#ifndef KORVANE_TOOLS_CALIBRATE_VIEWQUALITY_H
#define KORVANE_TOOLS_CALIBRATE_VIEWQUALITY_H

#include <vector>

#include <opencv2/core.hpp>

#include "camera/calibration/CalibrationTarget.h"
#include "camera/calibration/TargetDetector.h"

// Measures of a view of the target that decide whether it is worth
// keeping: how sharp its corners are, how far they moved since another
// view, and which way the board is turned.
class ViewQuality
{
public:
    // How the board faces the eye, from the spacing of its corners: face
    // on, or turned about the line of one of its columns or rows.
    enum class Tilt { FaceOn, TurnedAboutColumns, TurnedAboutRows };

    // Median width in pixels of the edges around the corners: the
    // contrast over the steepest grey step near each corner. A sharp edge
    // is one to two pixels wide; blur and motion widen it. Needs an 8-bit
    // grey or BGR eye image; 0 when no corner can be measured.
    static double edgeWidth(const cv::Mat& eyeImage, const std::vector<cv::Point2f>& corners);

    // How far the corners both views show moved, in pixels: the median
    // over the corners of each one's larger move in the two eyes, so that
    // one corner placed differently does not count as a moving board; -1
    // when they share no corner.
    static double motion(const korvane::calibration::TargetDetector::PairCorners& a,
                                const korvane::calibration::TargetDetector::PairCorners& b);

    // The board's turn, from the left eye's corners: its squares look
    // narrower than tall when it is turned about a column's line, and the
    // other way round about a row's.
    static Tilt tiltOf(const korvane::calibration::CalibrationTarget& target,
                       const korvane::calibration::TargetDetector::PairCorners& pair);

private:
    // Squares foreshortened beyond this ratio of width to height count as
    // turned.
    static constexpr double kTurnedRatio = 0.95;
};

#endif
