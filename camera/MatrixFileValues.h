#ifndef KORVANE_CAMERA_MATRIXFILEVALUES_H
#define KORVANE_CAMERA_MATRIXFILEVALUES_H

// Internal helpers of the configuration and calibration files: reading and
// checking the matrix nodes of an OpenCV file storage. Not installed.

#include <string>

#include <opencv2/core.hpp>

namespace korvane {

enum class NodeStatus { Absent, Present, Malformed };

// Reads a matrix node ("!!opencv-matrix": rows, cols, dt, data) into a
// single-channel 64-bit float matrix. A missing or null node is Absent.
// Anything else that is not such a matrix, or whose data does not match its
// declared size, is Malformed, with the reason in `why`; nothing is allocated
// beyond what the node's data holds.
NodeStatus readMatrixNode(const cv::FileNode& node, cv::Mat& out, std::string& why);

// Element i (row-major) of a 64-bit float matrix as an int, truncated toward
// zero; false when absent or not finite or out of the int range.
bool elementToInt(const cv::Mat& m, int index, int& value);

// Element i (row-major) of a 64-bit float matrix; false when absent or not
// finite.
bool elementToDouble(const cv::Mat& m, int index, double& value);

// A 1 x 1 matrix of doubles, and a 1 x 2 [width, height] matrix of doubles.
cv::Mat scalarMatrix(double value);
cv::Mat sizeMatrix(cv::Size size);

// Flushes file system buffers (the shell's "sync"), before and after a
// storage is released, so that a saved file survives a power cut.
void syncFileSystem();

} // namespace korvane

#endif
