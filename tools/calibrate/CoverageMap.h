#ifndef KORVANE_TOOLS_CALIBRATE_COVERAGEMAP_H
#define KORVANE_TOOLS_CALIBRATE_COVERAGEMAP_H

#include <string>
#include <vector>

#include <opencv2/core.hpp>

// How much of an eye's fisheye circle the target's corners covered: the
// circle (touching the eye image's sides) in square cells, each cell
// covered once a corner falls in it.
class CoverageMap
{
public:
    static constexpr int kCellsAcross = 12;

    explicit CoverageMap(cv::Size eyeSize);

    void add(const std::vector<cv::Point2f>& corners);
    // How many cells inside the circle those corners would newly cover.
    int newCells(const std::vector<cv::Point2f>& corners) const;
    // Where in the circle most of the uncovered cells are, seen from its
    // centre: "top-left", "right", ..., "centre" or "edges" (all round);
    // empty when the circle is covered.
    std::string emptiestDirection() const;
    // Covered cells over the cells inside the circle, 0 to 1.
    double fraction() const;
    // The eye image's size: the circle, covered cells shaded, the corners
    // as dots (used views green, dropped red).
    cv::Mat image(const std::vector<std::vector<cv::Point2f>>& used,
                  const std::vector<std::vector<cv::Point2f>>& dropped) const;

private:
    bool insideCircle(int row, int col) const;
    // The cell a point falls in; false outside the grid.
    bool cellOf(const cv::Point2f& point, int& row, int& col) const;

    cv::Size m_eyeSize;
    double m_cell;
    cv::Mat m_covered; // CV_8UC1, one element per cell
};

#endif
