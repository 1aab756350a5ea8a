#include "ViewQuality.h"

#include <algorithm>
#include <cmath>

#include <opencv2/imgproc.hpp>

using korvane::calibration::CalibrationTarget;
using korvane::calibration::TargetDetector;

namespace {

double median(std::vector<double> values)
{
    if (values.empty())
        return 0.0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// The distance from each corner to its nearest neighbour, in pixels: about
// a square's side.
double squarePixels(const std::vector<cv::Point2f>& corners)
{
    std::vector<double> nearest;
    for (size_t i = 0; i < corners.size(); ++i) {
        double best = 1e9;
        for (size_t j = 0; j < corners.size(); ++j)
            if (i != j)
                best = std::min(best, static_cast<double>(cv::norm(corners[i] - corners[j])));
        nearest.push_back(best);
    }
    return median(nearest);
}

} // namespace

double ViewQuality::edgeWidth(const cv::Mat& eyeImage, const std::vector<cv::Point2f>& corners)
{
    if (eyeImage.empty() || eyeImage.depth() != CV_8U || (eyeImage.channels() != 1 && eyeImage.channels() != 3) ||
        corners.size() < 2)
        return 0.0;
    cv::Mat grey = eyeImage;
    if (eyeImage.channels() == 3)
        cv::cvtColor(eyeImage, grey, cv::COLOR_BGR2GRAY);
    // Each corner's window reaches into the four squares around it, short
    // of the next corners.
    const int half = std::clamp(static_cast<int>(squarePixels(corners) * 0.35), 3, 12);
    const cv::Rect frame(0, 0, grey.cols, grey.rows);
    std::vector<double> widths;
    for (const cv::Point2f& corner : corners) {
        const cv::Rect window = cv::Rect(cvRound(corner.x) - half, cvRound(corner.y) - half, 2 * half + 1,
                                         2 * half + 1) & frame;
        if (window.width < 2 * half + 1 || window.height < 2 * half + 1)
            continue;
        cv::Mat patch, dx, dy, magnitude;
        grey(window).convertTo(patch, CV_32F);
        // Sobel's 3x3 kernel weighs a step by 8; scaled back to grey levels per pixel.
        cv::Sobel(patch, dx, CV_32F, 1, 0, 3, 1.0 / 8.0);
        cv::Sobel(patch, dy, CV_32F, 0, 1, 3, 1.0 / 8.0);
        cv::magnitude(dx, dy, magnitude);
        double darkest = 0.0, brightest = 0.0, steepest = 0.0;
        cv::minMaxLoc(patch, &darkest, &brightest);
        cv::minMaxLoc(magnitude, nullptr, &steepest);
        if (steepest > 1.0 && brightest - darkest > 20.0)
            widths.push_back((brightest - darkest) / steepest);
    }
    return median(widths);
}

double ViewQuality::motion(const TargetDetector::PairCorners& a, const TargetDetector::PairCorners& b)
{
    std::vector<double> moves;
    for (size_t i = 0; i < a.ids.size(); ++i) {
        const auto match = std::find(b.ids.begin(), b.ids.end(), a.ids[i]);
        if (match == b.ids.end())
            continue;
        const size_t j = static_cast<size_t>(match - b.ids.begin());
        moves.push_back(std::max(cv::norm(a.left[i] - b.left[j]), cv::norm(a.right[i] - b.right[j])));
    }
    return moves.empty() ? -1.0 : median(moves);
}

ViewQuality::Tilt ViewQuality::tiltOf(const CalibrationTarget& target, const TargetDetector::PairCorners& pair)
{
    // Neighbours one square apart along the board's rows and its columns.
    const std::vector<cv::Point3f>& board = target.objectPoints();
    const float square = static_cast<float>(target.squareMillimetres());
    std::vector<double> across, down;
    for (size_t i = 0; i < pair.ids.size(); ++i)
        for (size_t j = 0; j < pair.ids.size(); ++j) {
            const cv::Point3f step = board.at(static_cast<size_t>(pair.ids[j])) -
                                     board.at(static_cast<size_t>(pair.ids[i]));
            const double pixels = cv::norm(pair.left[j] - pair.left[i]);
            if (std::abs(step.x - square) < 1e-3f && std::abs(step.y) < 1e-3f)
                across.push_back(pixels);
            else if (std::abs(step.y - square) < 1e-3f && std::abs(step.x) < 1e-3f)
                down.push_back(pixels);
        }
    if (across.empty() || down.empty())
        return Tilt::FaceOn;
    const double ratio = median(across) / median(down);
    if (ratio < kTurnedRatio)
        return Tilt::TurnedAboutColumns;
    if (ratio > 1.0 / kTurnedRatio)
        return Tilt::TurnedAboutRows;
    return Tilt::FaceOn;
}
