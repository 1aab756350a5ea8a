#include "CoverageMap.h"

#include <cmath>

#include <opencv2/imgproc.hpp>

CoverageMap::CoverageMap(cv::Size eyeSize)
    : m_eyeSize(eyeSize),
      m_cell(static_cast<double>(eyeSize.width) / kCellsAcross),
      m_covered(static_cast<int>(std::ceil(eyeSize.height / m_cell)), kCellsAcross, CV_8UC1, cv::Scalar(0))
{
}

bool CoverageMap::insideCircle(int row, int col) const
{
    const cv::Point2d centre(m_eyeSize.width / 2.0, m_eyeSize.height / 2.0);
    const cv::Point2d cell((col + 0.5) * m_cell, (row + 0.5) * m_cell);
    return cv::norm(cell - centre) <= m_eyeSize.width / 2.0 && cell.y < m_eyeSize.height;
}

bool CoverageMap::cellOf(const cv::Point2f& point, int& row, int& col) const
{
    if (point.x < 0.0f || point.y < 0.0f)
        return false;
    col = static_cast<int>(point.x / m_cell);
    row = static_cast<int>(point.y / m_cell);
    return row < m_covered.rows && col < m_covered.cols;
}

void CoverageMap::add(const std::vector<cv::Point2f>& corners)
{
    int row = 0, col = 0;
    for (const cv::Point2f& p : corners)
        if (cellOf(p, row, col))
            m_covered.at<uchar>(row, col) = 1;
}

int CoverageMap::newCells(const std::vector<cv::Point2f>& corners) const
{
    cv::Mat added = cv::Mat::zeros(m_covered.size(), CV_8UC1);
    int row = 0, col = 0, count = 0;
    for (const cv::Point2f& p : corners)
        if (cellOf(p, row, col) && insideCircle(row, col) && !m_covered.at<uchar>(row, col) &&
            !added.at<uchar>(row, col)) {
            added.at<uchar>(row, col) = 1;
            ++count;
        }
    return count;
}

std::string CoverageMap::emptiestDirection() const
{
    static const char* const kDirections[] = {"right", "bottom-right", "bottom", "bottom-left",
                                              "left",  "top-left",     "top",    "top-right"};
    const cv::Point2d centre(m_eyeSize.width / 2.0, m_eyeSize.height / 2.0);
    cv::Point2d sum(0.0, 0.0);
    double distances = 0.0;
    int empty = 0;
    for (int row = 0; row < m_covered.rows; ++row)
        for (int col = 0; col < m_covered.cols; ++col)
            if (insideCircle(row, col) && !m_covered.at<uchar>(row, col)) {
                const cv::Point2d offset = cv::Point2d((col + 0.5) * m_cell, (row + 0.5) * m_cell) - centre;
                sum += offset;
                distances += cv::norm(offset);
                ++empty;
            }
    if (empty == 0)
        return "";
    // Nothing covered yet: a start in the middle.
    if (cv::countNonZero(m_covered) == 0)
        return "centre";
    const cv::Point2d mean = sum / empty;
    // Empty cells all round pull nowhere in particular: they are the
    // middle or the rim.
    const double radius = m_eyeSize.width / 2.0;
    if (cv::norm(mean) < 0.15 * radius)
        return distances / empty < 0.5 * radius ? "centre" : "edges";
    const double turns = std::atan2(mean.y, mean.x) / (2.0 * CV_PI); // image y points down
    const int sector = (static_cast<int>(std::lround(turns * 8.0)) + 8) % 8;
    return kDirections[sector];
}

double CoverageMap::fraction() const
{
    int inside = 0, covered = 0;
    for (int row = 0; row < m_covered.rows; ++row)
        for (int col = 0; col < m_covered.cols; ++col)
            if (insideCircle(row, col)) {
                ++inside;
                covered += m_covered.at<uchar>(row, col);
            }
    return inside > 0 ? static_cast<double>(covered) / inside : 0.0;
}

cv::Mat CoverageMap::image(const std::vector<std::vector<cv::Point2f>>& used,
                           const std::vector<std::vector<cv::Point2f>>& dropped) const
{
    cv::Mat out(m_eyeSize, CV_8UC3, cv::Scalar::all(30));
    for (int row = 0; row < m_covered.rows; ++row)
        for (int col = 0; col < m_covered.cols; ++col)
            if (insideCircle(row, col)) {
                const cv::Rect cell(static_cast<int>(col * m_cell), static_cast<int>(row * m_cell),
                                    static_cast<int>(m_cell), static_cast<int>(m_cell));
                cv::rectangle(out, cell, m_covered.at<uchar>(row, col) ? cv::Scalar(90, 90, 90) : cv::Scalar(40, 40, 110),
                              cv::FILLED);
            }
    cv::circle(out, {m_eyeSize.width / 2, m_eyeSize.height / 2}, m_eyeSize.width / 2, cv::Scalar(200, 200, 200), 1,
               cv::LINE_AA);
    const auto dots = [&](const std::vector<std::vector<cv::Point2f>>& views, const cv::Scalar& colour) {
        for (const auto& view : views)
            for (const cv::Point2f& p : view)
                cv::circle(out, p, 2, colour, cv::FILLED, cv::LINE_AA);
    };
    dots(used, cv::Scalar(80, 220, 80));
    dots(dropped, cv::Scalar(60, 60, 240));
    return out;
}
