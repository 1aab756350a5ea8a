#ifndef KORVANE_CAMERA_CALIBRATION_TARGETDETECTOR_H
#define KORVANE_CAMERA_CALIBRATION_TARGETDETECTOR_H

#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "camera/calibration/KorvaneCalibrationExport.h"

#include "camera/calibration/CalibrationTarget.h"

namespace korvane::calibration {

// Finds a target's corners in a fisheye eye image and in both eyes of a
// side-by-side frame. A chessboard is looked for with OpenCV's sector-based
// finder, quickly first and exhaustively when a board seems to be there; a
// ChArUco board by its markers and the corners between them, so a partly
// seen board still gives corners. The two eyes are searched in parallel.
class KORVANE_CALIBRATION_EXPORT TargetDetector
{
public:
    // Corners found in one image: their numbers and sub-pixel positions.
    struct Corners
    {
        std::vector<int> ids;
        std::vector<cv::Point2f> pixels;
    };

    // Corners found in both eyes, in the same order; pixels are in each
    // eye's own half image.
    struct PairCorners
    {
        std::vector<int> ids;
        std::vector<cv::Point2f> left;
        std::vector<cv::Point2f> right;
    };

    // Fewest corners a view must show in both eyes to be used.
    static constexpr int kMinimumCorners = 12;

    explicit TargetDetector(const CalibrationTarget& target);

    // Empty when the target is not found.
    Corners detect(const cv::Mat& eyeImage) const;

    // Both eyes of a side-by-side BGR or grey frame. False, with `why`, when
    // the frame is not of an even width, or the target is not found in
    // both eyes with at least kMinimumCorners corners in common.
    bool detectPair(const cv::Mat& frame, PairCorners& pair, std::string& why) const;

    // The corners' board positions, for a calibration.
    std::vector<cv::Point3f> objectPoints(const std::vector<int>& ids) const;

private:
    Corners detectChessboard(const cv::Mat& grey) const;
    Corners detectCharuco(const cv::Mat& grey) const;
    static PairCorners common(const Corners& left, Corners right);

    // Eye images narrower than this are enlarged to find ChArUco markers.
    static constexpr int kEnlargeBelowWidth = 600;

    CalibrationTarget m_target;
};

} // namespace korvane::calibration

#endif
