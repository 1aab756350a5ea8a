#ifndef KORVANE_CAMERA_FISHEYERECTIFY_H
#define KORVANE_CAMERA_FISHEYERECTIFY_H

// Fisheye masks and the unified-model rectification maps, as free functions.
// Declared through StereoCamera.h.

#include <opencv2/core.hpp>
#include "camera/KorvaneCameraExport.h"

namespace korvane {

// Modes of initRectifyMap.
constexpr int kRectifyStereographic = 0;
constexpr int kRectifyLonLat = 1;
constexpr int kRectifyPerspective = 2;

// Perspective camera matrix shared by both eyes: f = (W/2) / tan(hFov/2) on
// both axes, principal point at the image centre (W/2 - 0.5, H/2 - 0.5).
KORVANE_CAMERA_EXPORT cv::Mat perspectiveCameraMatrix(cv::Size size, double hFovDegrees);

// Longitude-latitude camera matrix. The view angle is viewAngleDegrees /
// divisor * pi on both axes; the kit passes a divisor of 222, so its default
// view angle of 180 covers 180/222 of pi, centred on the optical axis.
KORVANE_CAMERA_EXPORT cv::Mat lonLatCameraMatrix(cv::Size size, double viewAngleDegrees, double divisor);

// A float map pair (x map, y map) in the fixed-point form that remap uses
// internally for bilinear interpolation (CV_16SC2 integer positions,
// CV_16UC1 interpolation table indices), with the float maps it was made
// from. Remapping with it gives the same image as with those float maps.
struct KORVANE_CAMERA_EXPORT FixedPointMaps
{
    cv::Mat positions;
    cv::Mat fractions;
    cv::Mat sourceX, sourceY; // shallow: tells whether the float maps are still these

    // Converts the pair (empty maps give an empty result).
    static FixedPointMaps from(const cv::Mat& mapX, const cv::Mat& mapY);
    // Whether this was made from exactly these float maps.
    bool madeFrom(const cv::Mat& mapX, const cv::Mat& mapY) const;
};

// Splits a side-by-side frame into fresh left (columns 0 to cols/2 - 1) and
// right (columns cols/2 to 2 (cols/2) - 1) images and masks both as the
// circular form above does, in one pass over the frame: the same pixels as
// copying the halves and then masking them.
KORVANE_CAMERA_EXPORT void splitRawFisheyeFrame(int radius, const cv::Mat& frame, cv::Mat& left, cv::Mat& right);

} // namespace korvane

// m(row,0)*a + m(row,1)*b + m(row,2)*c with m read as double. A matrix that
// has no such row or fewer than three columns gives NaN.
KORVANE_CAMERA_EXPORT double MatRowMul(cv::Mat m, double a, double b, double c, int row);

// Blacks out, in both images, every pixel outside the circle of the given
// radius around the integer image centre (cols/2, rows/2). Per row, the
// columns kept are cx - h to cx + h with h = (int)sqrtf(r^2 - (cy - row)^2);
// rows farther than the radius go black entirely. Images of any pixel type;
// nothing happens unless both are non-empty and of the same size.
KORVANE_CAMERA_EXPORT void convertRawFisheyeImage(int radius, cv::Mat& left, cv::Mat& right);

// Blacks out, in both images, every pixel (i, j) with
// (i - cy)^2/A^2 + (j - cx)^2/B^2 > 1 in single precision, where
// A = rows/2 + a, B = cols/2 + b, cx = cols/2 + c and cy = rows/2 + d.
// Same preconditions as the circular form.
KORVANE_CAMERA_EXPORT void convertRawFisheyeImage(cv::Mat& left, cv::Mat& right, float a, float b, float c, float d);

// Builds one map pair (x map, y map: CV_32FC1 of `size`, freshly allocated)
// that takes rectified pixels to fisheye pixels of the unified camera model
// with intrinsics K, distortion D (k1, k2, p1, p2), rectifying rotation R
// and mirror parameter xi. The rectified view is given by P and mode:
// kRectifyPerspective (ray (P R)^-1 (u, v, 1)), kRectifyLonLat (longitude
// and latitude from P^-1) or kRectifyStereographic (parameter xi2); any
// other mode yields NaN maps. Always returns 1. K, R and P must be 3x3 and D
// hold four values (any numeric depth); otherwise every map entry is -1,
// outside any image.
KORVANE_CAMERA_EXPORT int initRectifyMap(cv::Mat K, cv::Mat D, cv::Mat R, cv::Mat P, double xi, double xi2, cv::Size size,
                   int mode, cv::Mat& map1, cv::Mat& map2);

#endif
