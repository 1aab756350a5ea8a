#ifndef KORVANE_TESTS_RECTIFY_PERPIXELRECTIFY_H
#define KORVANE_TESTS_RECTIFY_PERPIXELRECTIFY_H

// The masks and the rectification maps evaluated the straightforward way,
// pixel by pixel, each pixel on its own: the reference the library's row
// spans and hoisted, parallel map building are held to, and the baseline
// the benchmarks compare them with.

#include <opencv2/core.hpp>

namespace korvane::test {

void perPixelCircleMask(int radius, cv::Mat& left, cv::Mat& right);
void perPixelEllipseMask(cv::Mat& left, cv::Mat& right, float a, float b, float c, float d);

// One thread, matrix temporaries and matrix row products for every pixel.
int perPixelRectifyMap(const cv::Mat& K, const cv::Mat& D, const cv::Mat& R, const cv::Mat& P, double xi,
                       double xi2, cv::Size size, int mode, cv::Mat& map1, cv::Mat& map2);

} // namespace korvane::test

#endif
