#include <cmath>

#include <gtest/gtest.h>

#include "DepthTestSupport.h"

using namespace korvane::test;

TEST(DepthColour, KnownTriples)
{
    EXPECT_EQ(getclolor(0, 2, 0), cv::Vec3b(254, 0, 0));
    EXPECT_EQ(getclolor(0, 2, 1), cv::Vec3b(255, 255, 0));
    EXPECT_EQ(getclolor(0, 2, 2), cv::Vec3b(0, 0, 254));
}

TEST(DepthColour, ChannelsFollowTheRampAndKeepTheirLowByte)
{
    // A quarter of the way: c0 = 1.5 * 255 = 382.5 -> 383 -> 127, c1 = 127.5 -> 128.
    EXPECT_EQ(getclolor(0, 4, 1), cv::Vec3b(127, 128, 0));
    // Three quarters: c1 = 127.5 -> 128, c2 = 382.5 -> 383 -> 127.
    EXPECT_EQ(getclolor(0, 4, 3), cv::Vec3b(0, 128, 127));
}

TEST(DepthColour, DegenerateRangeGivesBlackNotUndefinedBehaviour)
{
    EXPECT_EQ(getclolor(0.5f, 0.5f, 0.5f), cv::Vec3b(0, 0, 0));
}

TEST(DepthColour, SegmentHelpersFollowTheirFormulas)
{
    auto low = [](double v) { return static_cast<uchar>(static_cast<int>(v) & 0xff); };
    EXPECT_EQ(getBlueSegVal(0, 2, 0), 255);
    EXPECT_EQ(getBlueSegVal(0, 2, 0.5f), low(255 - 255 * 0.5));
    EXPECT_EQ(getBlueSegVal(0, 2, 1), 0);
    EXPECT_EQ(getBlueSegVal(0, 2, -1), 0);
    EXPECT_EQ(getGreenSegVal(0, 2, 0), 0);
    EXPECT_EQ(getGreenSegVal(0, 2, 2), 0);
    EXPECT_EQ(getGreenSegVal(0, 2, 0.5f), low(-255 * 0.5 / 1));
    EXPECT_EQ(getGreenSegVal(0, 2, 1.5f), low(-255 * 1.5 / (1 - 2.0) - 255 * 2 / (1 - 2.0)));
    EXPECT_EQ(getRedSegVal(0, 2, 0.5f), 0);
    EXPECT_EQ(getRedSegVal(0, 2, 1.5f), low(255 * 1 / (2 - 1.0) + 255 * 1.5 / (2 - 1.0)));
}

TEST(MetricDepth, PerspectiveDepthIsFocalTimesBaselineOverDisparity)
{
    DepthProbe camera;
    EXPECT_TRUE(camera.setDepthMode(2));
    camera.setGeometry(320, 50, cv::Size(4, 1));
    cv::Mat disparity = (cv::Mat_<float>(1, 4) << 32, 8, 0.05f, -1);
    cv::Mat depth;
    ASSERT_TRUE(camera.getDepthFrame(disparity, depth));
    ASSERT_EQ(depth.type(), CV_32FC1);
    EXPECT_FLOAT_EQ(depth.at<float>(0, 0), 0.5f);  // inside the limits
    EXPECT_EQ(depth.at<float>(0, 1), 0.0f);        // 2.0 m is beyond the maximum depth
    EXPECT_EQ(depth.at<float>(0, 2), -1.0f);       // not above the minimum depth value
    EXPECT_EQ(depth.at<float>(0, 3), -1.0f);
}

TEST(MetricDepth, LongitudeLatitudeDepthFollowsTheAngleFormula)
{
    DepthProbe camera;
    EXPECT_TRUE(camera.setDepthMode(1));
    camera.setGeometry(320, 50, cv::Size(640, 1));
    cv::Mat disparity(1, 640, CV_32F, cv::Scalar(40));
    cv::Mat depth;
    ASSERT_TRUE(camera.getDepthFrame(disparity, depth));
    for (int j : {100, 300, 500}) {
        const float shifted = (j - 40.0f) / 640.0f;
        const float share = 40.0f / 640.0f;
        const float expected = static_cast<float>(0.05f * std::sin(CV_PI * ((180 - 180.0) / 2 / 180 + shifted)) /
                                                  std::sin(CV_PI * share));
        const float clipped = (expected > 1.0f || expected < 0.05f) ? 0.0f : expected;
        EXPECT_NEAR(depth.at<float>(0, j), clipped, 1e-6) << j;
    }
}

TEST(MetricDepth, RefusesAnythingButSingleChannelFloat)
{
    DepthProbe camera;
    cv::Mat disparity(2, 2, CV_16S, cv::Scalar(32)), depth;
    EXPECT_FALSE(camera.getDepthFrame(disparity, depth));
    cv::Mat empty;
    EXPECT_FALSE(camera.getDepthFrame(empty, depth));
}

TEST(DisplayDepth, FalseWhenTheDisparityWorkerIsNotRunning)
{
    DepthProbe camera;
    cv::Mat depth;
    std::chrono::microseconds stamp{0};
    EXPECT_FALSE(camera.getDepthFrame(depth, true, stamp));
    EXPECT_TRUE(depth.empty());
}

namespace {

cv::Mat displayOf(DepthProbe& camera, const cv::Mat& disparity, bool colour)
{
    camera.startPublishing(cv::Mat(disparity.size(), CV_8UC3, cv::Scalar(1, 2, 3)), disparity);
    cv::Mat depth;
    std::chrono::microseconds stamp{0};
    EXPECT_TRUE(camera.getDepthFrame(depth, colour, stamp));
    EXPECT_GT(stamp.count(), 0);
    camera.stopPublishing();
    return depth;
}

} // namespace

TEST(DisplayDepth, ColoursEachDepthWithinItsRangeAndFlips)
{
    DepthProbe camera;
    EXPECT_TRUE(camera.setDepthMode(2));
    camera.setGeometry(320, 50, cv::Size(3, 2));
    // 0.5 m, 0.8 m, 2.0 m (beyond the limit); negative and tiny disparities show nothing.
    cv::Mat disparity = (cv::Mat_<float>(2, 3) << 32, 20, 8, -1, 0.01f, 0);
    const cv::Mat depth = displayOf(camera, disparity, true);
    ASSERT_EQ(depth.size(), cv::Size(3, 2));
    ASSERT_EQ(depth.type(), CV_8UC3);
    // Range: 0.5 to 2.0 from the range pass, 2.0 clamped to the maximum depth 1.0.
    EXPECT_EQ(depth.at<cv::Vec3b>(1, 2), getclolor(0.5f, 1.0f, 0.5f)); // (0,0) flipped
    EXPECT_EQ(depth.at<cv::Vec3b>(1, 1), getclolor(0.5f, 1.0f, 0.8f)); // (0,1) flipped
    EXPECT_EQ(depth.at<cv::Vec3b>(1, 0), cv::Vec3b(0, 0, 0));
    for (int c = 0; c < 3; ++c)
        EXPECT_EQ(depth.at<cv::Vec3b>(0, c), cv::Vec3b(0, 0, 0));
}

TEST(DisplayDepth, ColourFlagFalseGivesTheSameColourImage)
{
    DepthProbe camera;
    EXPECT_TRUE(camera.setDepthMode(2));
    camera.setGeometry(320, 50, cv::Size(3, 2));
    cv::Mat disparity = (cv::Mat_<float>(2, 3) << 32, 20, 25, 30, 31, 18);
    const cv::Mat colour = displayOf(camera, disparity, true);
    const cv::Mat grey = displayOf(camera, disparity, false);
    ASSERT_EQ(grey.type(), CV_8UC3);
    EXPECT_EQ(cv::norm(colour, grey, cv::NORM_INF), 0.0);
}

TEST(DisplayDepth, NothingAboveTheMinimumDepthValueLeavesEveryPixelBlack)
{
    DepthProbe camera;
    EXPECT_TRUE(camera.setDepthMode(2));
    camera.setGeometry(320, 50, cv::Size(4, 4));
    const cv::Mat depth = displayOf(camera, cv::Mat(4, 4, CV_32F, cv::Scalar(0.05f)), true);
    EXPECT_EQ(cv::countNonZero(depth.reshape(1)), 0);
}

TEST(DisplayDepth, ZeroTranslationGivesABlackImage)
{
    DepthProbe camera;
    EXPECT_TRUE(camera.setDepthMode(2));
    camera.setGeometry(320, 0, cv::Size(4, 4));
    const cv::Mat depth = displayOf(camera, cv::Mat(4, 4, CV_32F, cv::Scalar(32)), true);
    EXPECT_EQ(cv::countNonZero(depth.reshape(1)), 0);
}

TEST(DisplayDepth, EmptyDisparityGivesFalseAfterTheWait)
{
    DepthProbe camera;
    camera.startPublishing(cv::Mat(), cv::Mat());
    cv::Mat depth;
    std::chrono::microseconds stamp{0};
    EXPECT_FALSE(camera.getDepthFrame(depth, true, stamp));
    camera.stopPublishing();
}
