#ifndef KORVANE_CAMERA_DISPARITYMATCHER_H
#define KORVANE_CAMERA_DISPARITYMATCHER_H

#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>
#include "camera/KorvaneCameraExport.h"

namespace korvane {

// The disparity worker's matcher for an Algorithm value, with the kit's
// fixed settings, and one match as the worker makes it: semi-global
// matching (0) on the colour pair, block matching (1) on its grey images.
// Each matching lane owns one; a matcher is not shared between threads.
class KORVANE_CAMERA_EXPORT DisparityMatcher
{
public:
    static constexpr int kSemiGlobal = 0;
    static constexpr int kBlock = 1;

    explicit DisparityMatcher(int algorithm);

    // The matcher for an Algorithm value; null for a value that names none.
    static cv::Ptr<cv::StereoMatcher> create(int algorithm);

    int algorithm() const { return m_algorithm; }
    bool hasMatcher() const { return !m_matcher.empty(); }

    // Disparity in pixels (CV_32FC1) of a rectified 8-bit BGR pair of one
    // size. Empty without a matcher, and for a pair of other types or of
    // two sizes.
    cv::Mat match(const cv::Mat& left, const cv::Mat& right);

private:
    int m_algorithm;
    cv::Ptr<cv::StereoMatcher> m_matcher;
};

} // namespace korvane

#endif
