#include <algorithm>
#include <cmath>

#include <gtest/gtest.h>

#include <opencv2/imgcodecs.hpp>

#include "CameraTestSupport.h"
#include "emulator/synthetic/SyntheticStereoModule.h"
#include "support/TempDir.h"

using namespace korvane::test;
using korvane::synthetic::SyntheticStereoModule;
using std::chrono::microseconds;

namespace {

const cv::Size kRaw(928, 400);
const cv::Size kRect(640, 480);
const double kFov = 90.0;

// Plays one rendered frame of the synthetic module in a loop, so that every
// published disparity belongs to that frame and its ground truth.
class SyntheticDepth : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        module = new SyntheticStereoModule(kRaw);
        frame = new cv::Mat(module->renderFrame(0));
        truth = new cv::Mat(module->renderDepth(0, kRect, kFov));
    }

    static void TearDownTestSuite()
    {
        delete module;
        delete frame;
        delete truth;
    }

    // A camera on the frame with the module's calibration, capturing.
    void start(int algorithm)
    {
        ASSERT_TRUE(cv::imwrite(dir.file("frame_0.png"), *frame));
        ASSERT_TRUE(camera.setCalibParams(module->rig().calibParams(false), false));
        ASSERT_TRUE(camera.setCalibParams(module->rig().calibParams(true), true));
        camera.Algorithm = algorithm; // 2 too, which names no matcher
        EXPECT_TRUE(camera.setDepthMode(2));
        EXPECT_TRUE(camera.setFieldOfView(kFov));
        ASSERT_TRUE(camera.setRawFrameSize(kRaw));
        camera.setRectFrameSize(kRect);
        ASSERT_TRUE(camera.openVideo(dir.file("frame_%d.png")));
        ASSERT_TRUE(camera.startCapture(false, false));
        ASSERT_TRUE(camera.startStereoCompute());
    }

    void TearDown() override
    {
        camera.stopStereoCompute();
        camera.stopCapture();
    }

    static SyntheticStereoModule* module;
    static cv::Mat* frame;
    static cv::Mat* truth;
    TempDir dir;
    Probe camera{kAbsentDevice};
};

SyntheticStereoModule* SyntheticDepth::module = nullptr;
cv::Mat* SyntheticDepth::frame = nullptr;
cv::Mat* SyntheticDepth::truth = nullptr;

} // namespace

TEST_F(SyntheticDepth, MetricDepthIsWithinFivePercentOfTheTruth)
{
    start(0);
    cv::Mat disparity, centre, depth;
    microseconds stamp{0};
    ASSERT_TRUE(camera.getDisparityFrame(disparity, centre, stamp));
    ASSERT_TRUE(camera.getDisparityFrame(disparity, centre, stamp));
    ASSERT_EQ(disparity.size(), kRect);
    ASSERT_TRUE(camera.getDepthFrame(disparity, depth));
    const double focal = camera.m_rectifyCameraMatrix.at<double>(0, 0);
    const double baseline = module->rig().baselineMetres();
    std::vector<float> errors;
    int inRange = 0;
    for (int r = 0; r < depth.rows; ++r)
        for (int c = 0; c < depth.cols; ++c) {
            const float t = truth->at<float>(r, c);
            // Inside the depth limits and the matcher's 32-pixel range.
            if (t < 0.05f || t > 1.0f || focal * baseline / t >= 31)
                continue;
            ++inRange;
            const float z = depth.at<float>(r, c);
            if (z > 0)
                errors.push_back(std::abs(z - t) / t);
        }
    ASSERT_GT(inRange, 10000); // the board, the sphere and the panel
    ASSERT_GT(errors.size(), inRange * 0.7);
    std::nth_element(errors.begin(), errors.begin() + errors.size() / 2, errors.end());
    const double median = errors[errors.size() / 2];
    RecordProperty("median_relative_depth_error", std::to_string(median));
    EXPECT_LT(median, 0.05);
}

class SyntheticMatchers : public SyntheticDepth, public ::testing::WithParamInterface<int>
{
};

TEST_P(SyntheticMatchers, PublishDisparityOfTheRectifiedSize)
{
    start(GetParam());
    cv::Mat disparity, centre;
    microseconds stamp{0};
    ASSERT_TRUE(camera.getDisparityFrame(disparity, centre, stamp));
    EXPECT_EQ(disparity.size(), kRect);
    EXPECT_EQ(disparity.type(), CV_32FC1);
    EXPECT_EQ(centre.size(), kRect);
    EXPECT_GT(stamp.count(), 0);
    cv::Mat image;
    EXPECT_TRUE(camera.getDepthFrame(image, true, stamp));
    EXPECT_EQ(image.size(), kRect);
    EXPECT_GT(cv::countNonZero(image.reshape(1)), 1000);
}

INSTANTIATE_TEST_SUITE_P(Algorithms, SyntheticMatchers, ::testing::Values(0, 1));

TEST_F(SyntheticDepth, WithoutAMatcherDepthFramesAreFalse)
{
    start(2);
    cv::Mat disparity, centre, image;
    microseconds stamp{0};
    ASSERT_TRUE(camera.getDisparityFrame(disparity, centre, stamp));
    EXPECT_TRUE(disparity.empty());
    EXPECT_FALSE(camera.getDepthFrame(image, true, stamp));
}

namespace {

// RMS distance of points to the plane z = distance, and how many there were.
double rmsToPlane(const std::vector<cv::Vec3f>& points, double distance)
{
    double sum = 0;
    for (const auto& p : points)
        sum += (p[2] - distance) * (p[2] - distance);
    return points.empty() ? 1e9 : std::sqrt(sum / points.size());
}

} // namespace

// A wall square to the eyes at 0.7 m: a plane of constant depth, so the
// cloud's transposed disparity reads (kept as the kit has always done) fall on
// the same plane, and the cloud must lie on it.
TEST(SyntheticPlane, PointCloudOfAWallFitsItsPlaneWithinOneCentimetre)
{
    const double distance = 0.7;
    const SyntheticStereoModule module(kRaw, korvane::synthetic::SyntheticScene::wall(distance));
    TempDir dir;
    ASSERT_TRUE(cv::imwrite(dir.file("frame_0.png"), module.renderFrame(0)));
    Probe camera(kAbsentDevice);
    ASSERT_TRUE(camera.setCalibParams(module.rig().calibParams(false), false));
    ASSERT_TRUE(camera.setCalibParams(module.rig().calibParams(true), true));
    EXPECT_TRUE(camera.setDepthMode(2));
    ASSERT_TRUE(camera.setRawFrameSize(kRaw));
    camera.setRectFrameSize(kRect);
    ASSERT_TRUE(camera.openVideo(dir.file("frame_%d.png")));
    ASSERT_TRUE(camera.startCapture(false, false));
    ASSERT_TRUE(camera.startStereoCompute());

    std::vector<PCL> coloured;
    std::vector<cv::Vec3f> positions;
    microseconds stamp{0};
    const bool gotColoured = camera.getPointCloud(coloured, stamp);
    const bool gotPositions = camera.getPointCloud(positions, stamp);
    camera.stopStereoCompute();
    camera.stopCapture();
    ASSERT_TRUE(gotColoured);
    ASSERT_TRUE(gotPositions);

    std::vector<cv::Vec3f> colouredPositions;
    for (const PCL& p : coloured)
        colouredPositions.push_back(p.position);
    // The coloured form samples the 120-pixel disc, the positions form all of the view.
    EXPECT_GT(colouredPositions.size(), 500u);
    EXPECT_GT(positions.size(), 5000u);
    const double rmsColoured = rmsToPlane(colouredPositions, distance);
    const double rmsPositions = rmsToPlane(positions, distance);
    RecordProperty("rms_coloured_metres", std::to_string(rmsColoured));
    RecordProperty("rms_positions_metres", std::to_string(rmsPositions));
    EXPECT_LT(rmsColoured, 0.01);
    EXPECT_LT(rmsPositions, 0.01);
}
