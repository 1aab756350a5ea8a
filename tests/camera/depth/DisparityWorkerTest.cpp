#include <algorithm>
#include <cmath>

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "CameraTestSupport.h"
#include "support/CaptureStream.h"

using namespace korvane::test;
using std::chrono::microseconds;

namespace {

// Feeds the disparity worker rectified pairs of a random texture whose right
// view is the left one moved 8 pixels to the left: true disparity 8.
class ShiftedPairCamera : public Probe
{
public:
    ShiftedPairCamera() : Probe(kAbsentDevice)
    {
        cv::RNG rng(7);
        m_left.create(120, 160, CV_8UC3);
        rng.fill(m_left, cv::RNG::UNIFORM, 0, 255);
        cv::GaussianBlur(m_left, m_left, cv::Size(3, 3), 0);
        m_right = cv::Mat::zeros(m_left.size(), m_left.type());
        m_left.colRange(8, 160).copyTo(m_right.colRange(0, 152));
    }

    ~ShiftedPairCamera() override { stopStereoCompute(); }

    bool getRectStereoFrame(cv::Mat& left, cv::Mat& right, cv::Mat& centre, microseconds& stamp) override
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        left = m_left.clone();
        right = m_right.clone();
        centre = m_left.clone();
        stamp = microseconds(++m_rounds);
        return true;
    }

    bool newestDisparity(cv::Mat& disparity, cv::Mat& centre, microseconds& stamp)
    {
        const std::uint64_t seen = m_disparityFrames.publications();
        return m_disparityFrames.readAfter(seen, std::chrono::seconds(20), [&](const TimeFrame& newest, std::uint64_t) {
            disparity = newest.right.clone();
            centre = newest.left.clone();
            stamp = newest.timeStamp;
        });
    }

    using StereoCamera::m_computeThread;

private:
    cv::Mat m_left, m_right;
    std::atomic<int> m_rounds{0};
};

double medianOf(cv::Mat values)
{
    std::vector<float> v(values.begin<float>(), values.end<float>());
    std::nth_element(v.begin(), v.begin() + v.size() / 2, v.end());
    return v[v.size() / 2];
}

} // namespace

class DisparityWorker : public ::testing::TestWithParam<int>
{
};

TEST_P(DisparityWorker, PublishesTheDisparityInPixelsOfTheRectifiedSize)
{
    ShiftedPairCamera camera;
    EXPECT_TRUE(camera.setMatchingAlgorithm(GetParam()));
    ASSERT_TRUE(camera.startStereoCompute());
    cv::Mat disparity, centre;
    microseconds first{0}, second{0};
    ASSERT_TRUE(camera.newestDisparity(disparity, centre, first));
    ASSERT_TRUE(camera.newestDisparity(disparity, centre, second));
    EXPECT_GT(second, first);
    ASSERT_EQ(disparity.type(), CV_32FC1);
    EXPECT_EQ(disparity.size(), cv::Size(160, 120));
    EXPECT_EQ(centre.size(), cv::Size(160, 120));
    // Sixteenths of a pixel from the fixed-point output, 8 in the textured middle.
    const cv::Mat middle = disparity(cv::Rect(48, 20, 80, 80));
    EXPECT_NEAR(medianOf(middle.clone()), 8.0, 0.25);
    for (int r = 0; r < disparity.rows; ++r)
        for (int c = 0; c < disparity.cols; ++c) {
            const float d = disparity.at<float>(r, c);
            EXPECT_EQ(d * 16, std::round(d * 16));
        }
    // Invalid matches stay negative after the scaling (the left border has no match).
    double lowest = 0;
    cv::minMaxLoc(disparity, &lowest);
    EXPECT_LT(lowest, 0.0);
    EXPECT_TRUE(camera.stopStereoCompute());
}

INSTANTIATE_TEST_SUITE_P(Matchers, DisparityWorker, ::testing::Values(0, 1));

TEST(DisparityWorkerLifecycle, NoMatcherPublishesEmptyResultsAndDepthIsFalse)
{
    ShiftedPairCamera camera;
    camera.Algorithm = 2;
    ASSERT_TRUE(camera.startStereoCompute());
    cv::Mat disparity = cv::Mat::ones(2, 2, CV_32F), centre;
    microseconds stamp{0};
    ASSERT_TRUE(camera.newestDisparity(disparity, centre, stamp));
    EXPECT_TRUE(disparity.empty());
    EXPECT_FALSE(centre.empty());
    camera.stopStereoCompute();
}

TEST(DisparityWorkerLifecycle, StartStopRestartAndDoubleStop)
{
    ShiftedPairCamera camera;
    std::string out = stdoutOf([&] { ASSERT_TRUE(camera.startStereoCompute()); });
    EXPECT_EQ(out, "\033[32m[StereoCamera][INFO] Start stereo computing ...\n\033[0m");
    cv::Mat d, c;
    microseconds stamp{0};
    ASSERT_TRUE(camera.newestDisparity(d, c, stamp));
    out = stdoutOf([&] { EXPECT_TRUE(camera.stopStereoCompute()); });
    EXPECT_EQ(out, "\033[32m[StereoCamera][INFO] Exit compute disparity worker ...\n\033[0m"
                   "\033[32m[StereoCamera][INFO] Stop stereo compute done.\n\033[0m");
    EXPECT_EQ(camera.m_computeThread, nullptr);
    out = stdoutOf([&] { EXPECT_TRUE(camera.stopStereoCompute()); });
    EXPECT_EQ(out, "");
    ASSERT_TRUE(camera.startStereoCompute());
    ASSERT_TRUE(camera.newestDisparity(d, c, stamp));
    EXPECT_TRUE(camera.stopStereoCompute());
}
