#ifndef KORVANE_TESTS_RECTIFY_RECTIFYPROBE_H
#define KORVANE_TESTS_RECTIFY_RECTIFYPROBE_H

#include <chrono>
#include <vector>

#include <opencv2/core.hpp>

#include "camera/StereoCamera.h"

namespace korvane::test {

// A stereo camera on an absent device whose raw pairs are chosen by the
// test: getStereoFrame hands out copies of the pair given to feed(), or
// fails when there is none. Opens the rectification state to the test.
class RectifyProbe : public StereoCamera
{
public:
    RectifyProbe();

    using StereoCamera::Depthmode;
    using StereoCamera::FrameSize;
    using StereoCamera::LeftDistortionCoefficients;
    using StereoCamera::LeftIntrinsicMatrix;
    using StereoCamera::LeftRotation;
    using StereoCamera::LeftXi;
    using StereoCamera::RectifyFrameSize;
    using StereoCamera::RightDistortionCoefficients;
    using StereoCamera::RightIntrinsicMatrix;
    using StereoCamera::RightRotation;
    using StereoCamera::RightXi;
    using StereoCamera::Translation;
    using StereoCamera::hFov;
    using StereoCamera::m_panoramicAngle;
    using StereoCamera::m_rectifyCameraMatrix;
    using StereoCamera::m_transmit;
    using StereoCamera::m_transmode;
    using StereoCamera::m_streamSink;
    using StereoCamera::prepareRectification;

    // The rectifier's x and y maps of one eye.
    const cv::Mat* perspectiveMaps(int eye) const
    {
        return m_rectifier.maps(korvane::StereoRectifier::kPerspective, eye);
    }
    const cv::Mat* lonLatMaps(int eye) const { return m_rectifier.maps(korvane::StereoRectifier::kLonLat, eye); }

    void feed(const cv::Mat& left, const cv::Mat& right, std::chrono::microseconds stamp);
    void starve() { m_fed = false; }
    int fetches() const { return m_fetches; }

    bool getStereoFrame(cv::Mat& left, cv::Mat& right, std::chrono::microseconds& stamp) override;

    // Both eyes' calibration from parameter vectors (see setCalibParams).
    void calibrate(const std::vector<cv::Mat>& left, const std::vector<cv::Mat>& right);

private:
    cv::Mat m_left;
    cv::Mat m_right;
    std::chrono::microseconds m_stamp{0};
    bool m_fed = false;
    int m_fetches = 0;
};

} // namespace korvane::test

#endif
