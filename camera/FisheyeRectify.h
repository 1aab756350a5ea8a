#ifndef KORVANE_CAMERA_FISHEYERECTIFY_H
#define KORVANE_CAMERA_FISHEYERECTIFY_H

// Fisheye masks and the unified-model rectification maps, as free functions.
// Declared through StereoCamera.h.

#include <opencv2/core.hpp>

#endif
