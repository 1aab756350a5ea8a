#ifndef KORVANE_CAMERA_MODULEFRAMESIZE_H
#define KORVANE_CAMERA_MODULEFRAMESIZE_H

// The side-by-side frame sizes a module delivers, and the raw width that a
// calibration file's intrinsics are stated for (they scale with the raw
// width over it).

#include <opencv2/core/types.hpp>

namespace korvane {

constexpr int kCalibratedRawWidth = 1856;
inline const cv::Size kFullModuleFrame(kCalibratedRawWidth, 800);
inline const cv::Size kHalfModuleFrame(kCalibratedRawWidth / 2, 400);

inline bool isModuleFrameSize(const cv::Size& size) { return size == kFullModuleFrame || size == kHalfModuleFrame; }

} // namespace korvane

#endif
