#ifndef KORVANE_TESTS_DEPTHTESTSUPPORT_H
#define KORVANE_TESTS_DEPTHTESTSUPPORT_H

#include <atomic>
#include <thread>

#include "CameraTestSupport.h"

namespace korvane::test {

// A camera whose raw pairs and disparities the test publishes by hand, as
// the capture and disparity workers would, so that depth and point clouds
// can be checked on made-up disparity images.
class DepthProbe : public Probe
{
public:
    DepthProbe() : Probe(kAbsentDevice) {}
    ~DepthProbe() override { stopPublishing(); }

    // Perspective geometry with focal length f and a translation of the given norm (mm).
    void setGeometry(double f, double translationNorm, cv::Size rectified)
    {
        m_rectifyCameraMatrix = (cv::Mat_<double>(3, 3) << f, 0, rectified.width / 2.0 - 0.5, 0, f,
                                 rectified.height / 2.0 - 0.5, 0, 0, 1);
        Translation = (cv::Mat_<double>(1, 3) << translationNorm * 0.6, translationNorm * 0.8, 0);
        LeftXi = (cv::Mat_<double>(1, 1) << 1.2);
        RectifyFrameSize = rectified;
    }

    // The same raw pair again, 1 ms later.
    void publishRaw()
    {
        TimeFrame pair = m_rawFrames.newest();
        pair.timeStamp += std::chrono::microseconds(1000);
        m_rawFrames.publish(std::move(pair));
    }

    void publishDisparity(const cv::Mat& centre, const cv::Mat& disparity)
    {
        const std::chrono::microseconds stamp = m_disparityFrames.newest().timeStamp + std::chrono::microseconds(1000);
        m_disparityFrames.publish({centre.clone(), disparity.clone(), stamp});
    }

    // Publishes the pair (and a raw frame) every few milliseconds until stopped.
    void startPublishing(const cv::Mat& centre, const cv::Mat& disparity)
    {
        m_computeRunning = true;
        m_rawFrames.open();
        m_disparityFrames.open();
        m_publishing = true;
        m_publisher = std::thread([this, centre, disparity] {
            while (m_publishing) {
                publishDisparity(centre, disparity);
                publishRaw();
                std::this_thread::sleep_for(std::chrono::milliseconds(3));
            }
        });
    }

    void stopPublishing()
    {
        m_publishing = false;
        if (m_publisher.joinable())
            m_publisher.join();
        m_computeRunning = false;
    }

    using Probe::m_disparityFrames;

private:
    std::atomic<bool> m_publishing{false};
    std::thread m_publisher;
};

} // namespace korvane::test

#endif
