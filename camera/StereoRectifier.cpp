#include "StereoRectifier.h"

#include <opencv2/imgproc.hpp>

namespace korvane {

void StereoRectifier::build(const Eye& left, const Eye& right, const cv::Mat& P, const cv::Mat& K, cv::Size size)
{
    const Eye* eyes[2] = {&left, &right};
    for (int eye = 0; eye < 2; ++eye) {
        const Eye& e = *eyes[eye];
        cv::Mat (&perspective)[2] = m_maps[index(kPerspective)][eye];
        cv::Mat (&lonLat)[2] = m_maps[index(kLonLat)][eye];
        initRectifyMap(e.intrinsics, e.distortion, e.rotation, P, e.xi, e.xi, size, kRectifyPerspective,
                       perspective[0], perspective[1]);
        initRectifyMap(e.intrinsics, e.distortion, e.rotation, K, e.xi, 0.0, size, kRectifyLonLat, lonLat[0],
                       lonLat[1]);
        for (View view : {kLonLat, kPerspective}) {
            const cv::Mat (&m)[2] = m_maps[index(view)][eye];
            m_fixed[index(view)][eye] = FixedPointMaps::from(m[0], m[1]);
        }
    }
}

void StereoRectifier::setMaps(View view, int eye, const cv::Mat& mapX, const cv::Mat& mapY)
{
    m_maps[index(view)][eye][0] = mapX;
    m_maps[index(view)][eye][1] = mapY;
    m_fixed[index(view)][eye] = FixedPointMaps::from(mapX, mapY);
}

bool StereoRectifier::fixedFormsInUse() const
{
    for (int view = 0; view < 2; ++view)
        for (int eye = 0; eye < 2; ++eye)
            if (!m_fixed[view][eye].madeFrom(m_maps[view][eye][0], m_maps[view][eye][1]))
                return false;
    return true;
}

// A fresh image, so that images the caller still shares keep their pixels.
// Through the fixed-point form when it was made from these maps: the same
// pixels for less work.
cv::Mat StereoRectifier::rectify(const cv::Mat& raw, View view, int eye) const
{
    const cv::Mat (&m)[2] = m_maps[index(view)][eye];
    const FixedPointMaps& fixed = m_fixed[index(view)][eye];
    cv::Mat out;
    if (fixed.madeFrom(m[0], m[1]))
        cv::remap(raw, out, fixed.positions, fixed.fractions, cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar());
    else
        cv::remap(raw, out, m[0], m[1], cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar());
    return out;
}

void StereoRectifier::rectifyPair(const cv::Mat& rawLeft, const cv::Mat& rawRight, int depthMode, cv::Mat& left,
                                  cv::Mat& right, cv::Mat& centre) const
{
    centre = rectify(rawLeft, kPerspective, 0);
    if (depthMode == kPerspective) {
        left = centre.clone();
        right = rectify(rawRight, kPerspective, 1);
    } else if (depthMode == kLonLat) {
        left = rectify(rawLeft, kLonLat, 0);
        right = rectify(rawRight, kLonLat, 1);
    }
}

} // namespace korvane
