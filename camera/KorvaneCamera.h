#ifndef KORVANE_CAMERA_KORVANECAMERA_H
#define KORVANE_CAMERA_KORVANECAMERA_H

#include <opencv2/core.hpp>

// Mounting helpers. axis is a character code: 'x', 'y' or 'z'; angle in
// radians (computed in single precision).

// 3 x 3 single-precision rotation about the axis; an empty matrix for any
// other axis code.
cv::Mat getRotationMatrix(int axis, float angle);

// 4 x 4 single-precision homogeneous transform: the rotation above, then the
// translation t = (t0, t1, t2) read from the first three elements of t
// (a 1 x 3 matrix of doubles; zeros when t is empty). An empty matrix for any
// other axis code, and when t holds fewer than three numbers.
cv::Mat getTranslationMatrix(int axis, float angle, cv::Mat t);

#endif
