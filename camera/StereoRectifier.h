#ifndef KORVANE_CAMERA_STEREORECTIFIER_H
#define KORVANE_CAMERA_STEREORECTIFIER_H

// The rectified views of a stereo fisheye pair: both eyes' maps for the
// perspective and the longitude-latitude view, built once from the
// calibration, and the remaps that turn a raw pair into rectified images.

#include <opencv2/core.hpp>

#include "FisheyeRectify.h"
#include "camera/KorvaneCameraExport.h"

namespace korvane {

class KORVANE_CAMERA_EXPORT StereoRectifier
{
public:
    // The views, numbered as the camera's depth mode numbers them.
    enum View : int
    {
        kLonLat = 1,
        kPerspective = 2,
    };

    // One eye under the unified model: intrinsics already scaled to the raw
    // width in use, distortion (k1, k2, p1, p2), rectifying rotation, xi.
    struct Eye
    {
        cv::Mat intrinsics;
        cv::Mat distortion;
        cv::Mat rotation;
        double xi = 0.0;
    };

    // Builds the maps of both views for both eyes at size: the perspective
    // view through camera matrix P, the longitude-latitude view through K.
    void build(const Eye& left, const Eye& right, const cv::Mat& P, const cv::Mat& K, cv::Size size);
    // Replaces one eye's maps of a view, as if built (x map, y map CV_32FC1).
    void setMaps(View view, int eye, const cv::Mat& mapX, const cv::Mat& mapY);
    // The x and y maps of one eye (0 left, 1 right) of a view; empty before build.
    const cv::Mat* maps(View view, int eye) const { return m_maps[index(view)][eye]; }
    // The fixed-point form of one eye's maps of a view.
    const FixedPointMaps& fixedMaps(View view, int eye) const { return m_fixed[index(view)][eye]; }
    // Whether the remaps go through the fixed-point form of every map pair.
    bool fixedFormsInUse() const;

    // A fresh rectified image of one eye: bilinear, black outside the
    // fisheye image. Maps that were never built throw, as cv::remap does.
    cv::Mat rectify(const cv::Mat& raw, View view, int eye) const;
    // The views the disparity worker matches: centre is always the
    // perspective left view; left and right follow depthMode (kLonLat or
    // kPerspective; any other mode leaves them as they were).
    void rectifyPair(const cv::Mat& rawLeft, const cv::Mat& rawRight, int depthMode, cv::Mat& left,
                     cv::Mat& right, cv::Mat& centre) const;

private:
    static int index(View view) { return view == kPerspective ? 1 : 0; }

    cv::Mat m_maps[2][2][2];        // [view: 0 lonLat, 1 perspective][eye][0 x, 1 y]
    FixedPointMaps m_fixed[2][2];   // [view][eye]: the same maps in fixed point
};

} // namespace korvane

#endif
