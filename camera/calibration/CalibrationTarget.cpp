#include "camera/calibration/CalibrationTarget.h"

#include <cstdio>

#include <opencv2/imgproc.hpp>

namespace korvane::calibration {

CalibrationTarget::CalibrationTarget(Kind kind, cv::Size squares, double square, double marker, int dictionary)
    : m_kind(kind), m_squares(squares), m_square(square), m_marker(marker), m_dictionary(dictionary)
{
    if (kind == Kind::Charuco) {
        m_board = cv::aruco::CharucoBoard::create(squares.width, squares.height, static_cast<float>(square),
                                                  static_cast<float>(marker),
                                                  cv::aruco::getPredefinedDictionary(dictionary));
        m_objectPoints = m_board->chessboardCorners;
        return;
    }
    const cv::Size inner = innerCorners();
    for (int row = 0; row < inner.height; ++row)
        for (int col = 0; col < inner.width; ++col)
            m_objectPoints.emplace_back(static_cast<float>(col * square), static_cast<float>(row * square), 0.0f);
}

CalibrationTarget CalibrationTarget::chessboard(cv::Size innerCorners, double squareMillimetres)
{
    return CalibrationTarget(Kind::Chessboard, {innerCorners.width + 1, innerCorners.height + 1},
                             squareMillimetres, 0.0, -1);
}

CalibrationTarget CalibrationTarget::charuco(cv::Size squares, double squareMillimetres, double markerMillimetres,
                                             int dictionary)
{
    return CalibrationTarget(Kind::Charuco, squares, squareMillimetres, markerMillimetres, dictionary);
}

cv::Mat CalibrationTarget::print(int pixelsPerSquare) const
{
    const int margin = pixelsPerSquare;
    const cv::Size boardSize(m_squares.width * pixelsPerSquare, m_squares.height * pixelsPerSquare);
    cv::Mat image(boardSize.height + 2 * margin, boardSize.width + 2 * margin, CV_8UC1, cv::Scalar(255));
    cv::Mat board = image(cv::Rect(margin, margin, boardSize.width, boardSize.height));
    if (m_kind == Kind::Charuco) {
        m_board->draw(boardSize, board, 0, 1);
        return image;
    }
    for (int row = 0; row < m_squares.height; ++row)
        for (int col = 0; col < m_squares.width; ++col)
            if ((row + col) % 2 == 0)
                board(cv::Rect(col * pixelsPerSquare, row * pixelsPerSquare, pixelsPerSquare, pixelsPerSquare))
                    .setTo(0);
    return image;
}

cv::Point2d CalibrationTarget::printPosition(int corner, int pixelsPerSquare) const
{
    const cv::Point3f& p = m_objectPoints.at(static_cast<size_t>(corner));
    const double x = p.x / m_square, y = p.y / m_square;
    // Past the margin, a chessboard's first corner is one square in; a
    // ChArUco board's points are measured from its top-left corner.
    const double first = m_kind == Kind::Chessboard ? 2.0 : 1.0;
    return {(x + first) * pixelsPerSquare, (y + first) * pixelsPerSquare};
}

std::string CalibrationTarget::describe() const
{
    char text[160];
    if (m_kind == Kind::Chessboard)
        std::snprintf(text, sizeof text, "chessboard of %dx%d inner corners, %.2f mm squares", innerCorners().width,
                      innerCorners().height, m_square);
    else
        std::snprintf(text, sizeof text, "ChArUco board of %dx%d squares, %.2f mm squares, %.2f mm markers, dictionary %d",
                      m_squares.width, m_squares.height, m_square, m_marker, m_dictionary);
    return text;
}

} // namespace korvane::calibration
