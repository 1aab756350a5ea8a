#ifndef KORVANE_CAMERA_CALIBRATION_CALIBRATIONTARGET_H
#define KORVANE_CAMERA_CALIBRATION_CALIBRATIONTARGET_H

#include <string>
#include <vector>

#include <opencv2/aruco/charuco.hpp>
#include <opencv2/core.hpp>

#include "camera/calibration/KorvaneCalibrationExport.h"

namespace korvane::calibration {

// A printed flat calibration target: a chessboard (its inner corners and
// square size) or a ChArUco board (its squares, square and marker size and
// marker dictionary). Corners are numbered: a chessboard's row by row as
// OpenCV finds them, a ChArUco board's by their ids. Sizes are millimetres,
// so a calibration's translation comes out in millimetres.
class KORVANE_CALIBRATION_EXPORT CalibrationTarget
{
public:
    enum class Kind { Chessboard, Charuco };

    static CalibrationTarget chessboard(cv::Size innerCorners, double squareMillimetres);
    // dictionary: a cv::aruco::PREDEFINED_DICTIONARY_NAME value.
    static CalibrationTarget charuco(cv::Size squares, double squareMillimetres, double markerMillimetres,
                                     int dictionary);

    Kind kind() const { return m_kind; }
    cv::Size squares() const { return m_squares; }
    cv::Size innerCorners() const { return {m_squares.width - 1, m_squares.height - 1}; }
    double squareMillimetres() const { return m_square; }
    double markerMillimetres() const { return m_marker; }
    int cornerCount() const { return innerCorners().area(); }
    const cv::Ptr<cv::aruco::CharucoBoard>& charucoBoard() const { return m_board; }

    // Corner positions on the board (millimetres, z = 0), by corner number.
    const std::vector<cv::Point3f>& objectPoints() const { return m_objectPoints; }

    // The image to print: the board with a white margin of one square,
    // pixelsPerSquare pixels to a square.
    cv::Mat print(int pixelsPerSquare) const;
    // Where a corner lies on that image, in pixels from its top-left edge.
    cv::Point2d printPosition(int corner, int pixelsPerSquare) const;

    // One line naming the target and its sizes.
    std::string describe() const;

private:
    CalibrationTarget(Kind kind, cv::Size squares, double square, double marker, int dictionary);

    Kind m_kind;
    cv::Size m_squares;
    double m_square;
    double m_marker;
    int m_dictionary;
    cv::Ptr<cv::aruco::CharucoBoard> m_board;
    std::vector<cv::Point3f> m_objectPoints;
};

} // namespace korvane::calibration

#endif
