#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include <opencv2/calib3d.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "PerPixelRectify.h"
#include "RectifyProbe.h"
#include "support/TempDir.h"

using namespace korvane::test;
using korvane::kRectifyLonLat;
using korvane::kRectifyPerspective;

namespace {

std::vector<cv::Mat> eyeParams(double f, double cx, double cy, double xi, const cv::Vec3d& turn)
{
    cv::Mat rotation;
    cv::Rodrigues(turn, rotation);
    return {(cv::Mat_<double>(3, 3) << f, 0.05, cx, 0, f * 0.999, cy, 0, 0, 1),
            (cv::Mat_<double>(1, 4) << -0.05, 0.011, 3e-4, -2e-4), (cv::Mat_<double>(1, 1) << xi), rotation,
            (cv::Mat_<double>(1, 3) << -60.0, 0.2, 0.1)};
}

cv::Mat noiseImage(cv::Size size, unsigned seed)
{
    cv::Mat image(size, CV_8UC3);
    cv::RNG(seed).fill(image, cv::RNG::UNIFORM, 0, 256);
    return image;
}

cv::Mat remapWith(const cv::Mat& raw, const cv::Mat* maps)
{
    cv::Mat out;
    cv::remap(raw, out, maps[0], maps[1], cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar());
    return out;
}

// The same size, type and bytes (NaNs and signed zeros included).
bool sameBits(const cv::Mat& a, const cv::Mat& b)
{
    if (a.size() != b.size() || a.type() != b.type() || !a.isContinuous() || !b.isContinuous())
        return false;
    return std::memcmp(a.data, b.data, a.total() * a.elemSize()) == 0;
}

bool identical(const cv::Mat& a, const cv::Mat& b)
{
    return a.size() == b.size() && a.type() == b.type() &&
           cv::norm(a.reshape(1), b.reshape(1), cv::NORM_INF) == 0.0;
}

class RectifiedFrames : public ::testing::Test
{
protected:
    void SetUp() override
    {
        leftParams = eyeParams(482.0, 463.5, 401.2, 1.18, {0.01, -0.015, 0.004});
        rightParams = eyeParams(479.5, 465.2, 398.6, 1.21, {-0.008, 0.012, -0.006});
        camera.calibrate(leftParams, rightParams);
        camera.FrameSize = cv::Size(928, 400);
        camera.setRectFrameSize(kRectSize);
        rawLeft = noiseImage({464, 400}, 1);
        rawRight = noiseImage({464, 400}, 2);
    }

    float halfScale() const { return camera.FrameSize.width / 1856.0f; }

    bool noMaps()
    {
        for (int eye = 0; eye < 2; ++eye)
            for (int axis = 0; axis < 2; ++axis)
                if (!camera.perspectiveMaps(eye)[axis].empty() || !camera.lonLatMaps(eye)[axis].empty())
                    return false;
        return camera.m_rectifyCameraMatrix.empty();
    }

    const cv::Size kRectSize{160, 120};
    RectifyProbe camera;
    std::vector<cv::Mat> leftParams;
    std::vector<cv::Mat> rightParams;
    cv::Mat rawLeft;
    cv::Mat rawRight;
    TempDir dir;
};

} // namespace

TEST_F(RectifiedFrames, PreparationBuildsPAndTheFourMapPairs)
{
    EXPECT_TRUE(camera.setFieldOfView(100.0));
    camera.prepareRectification(halfScale());
    const cv::Mat P = korvane::perspectiveCameraMatrix(kRectSize, 100.0);
    ASSERT_FALSE(camera.m_rectifyCameraMatrix.empty());
    EXPECT_EQ(cv::norm(camera.m_rectifyCameraMatrix, P, cv::NORM_INF), 0.0);
    const cv::Mat lonLat = korvane::lonLatCameraMatrix(kRectSize, 180.0, 222.0);

    for (int eye = 0; eye < 2; ++eye) {
        std::vector<cv::Mat> params = eye ? rightParams : leftParams;
        cv::Mat K = params[0].clone();
        K.rowRange(0, 2) *= 0.5;
        const double xi = params[2].at<double>(0);
        // Each pixel on its own, one thread, no tables: the same bits.
        cv::Mat x, y;
        perPixelRectifyMap(K, params[1], params[3], P, xi, xi, kRectSize, kRectifyPerspective, x, y);
        EXPECT_TRUE(sameBits(camera.perspectiveMaps(eye)[0], x)) << "eye " << eye;
        EXPECT_TRUE(sameBits(camera.perspectiveMaps(eye)[1], y)) << "eye " << eye;
        perPixelRectifyMap(K, params[1], params[3], lonLat, xi, 0.0, kRectSize, kRectifyLonLat, x, y);
        EXPECT_TRUE(sameBits(camera.lonLatMaps(eye)[0], x)) << "eye " << eye;
        EXPECT_TRUE(sameBits(camera.lonLatMaps(eye)[1], y)) << "eye " << eye;
    }

    std::vector<cv::Mat> returned;
    camera.getCalibParams(returned, true);
    ASSERT_EQ(returned.size(), 6u);
    EXPECT_EQ(cv::norm(returned[5], P, cv::NORM_INF), 0.0);
}

TEST_F(RectifiedFrames, PerspectiveMatrixOf90DegreesAt640IsF320)
{
    camera.setRectFrameSize({640, 480});
    EXPECT_TRUE(camera.setFieldOfView(90.0));
    camera.prepareRectification(1.0f);
    ASSERT_FALSE(camera.m_rectifyCameraMatrix.empty());
    EXPECT_DOUBLE_EQ(camera.m_rectifyCameraMatrix.at<double>(0, 0), 320.0);
    EXPECT_DOUBLE_EQ(camera.m_rectifyCameraMatrix.at<double>(1, 1), 320.0);
    EXPECT_EQ(camera.m_rectifyCameraMatrix.at<double>(0, 2), 319.5);
    EXPECT_EQ(camera.perspectiveMaps(0)[0].size(), cv::Size(640, 480));
}

TEST_F(RectifiedFrames, HalfSizeFramesHalveTheIntrinsicRowsAtEveryPreparation)
{
    ASSERT_EQ(halfScale(), 0.5f);
    camera.prepareRectification(halfScale());
    for (const cv::Mat* K : {&camera.LeftIntrinsicMatrix, &camera.RightIntrinsicMatrix}) {
        const cv::Mat& original = K == &camera.LeftIntrinsicMatrix ? leftParams[0] : rightParams[0];
        EXPECT_EQ(cv::norm(K->rowRange(0, 2), original.rowRange(0, 2) * 0.5, cv::NORM_INF), 0.0);
        EXPECT_EQ(cv::norm(K->row(2), original.row(2), cv::NORM_INF), 0.0);
    }
    camera.prepareRectification(halfScale());
    EXPECT_EQ(cv::norm(camera.LeftIntrinsicMatrix.rowRange(0, 2), leftParams[0].rowRange(0, 2) * 0.25,
                       cv::NORM_INF),
              0.0);
    EXPECT_EQ(cv::norm(camera.RightIntrinsicMatrix.rowRange(0, 2), rightParams[0].rowRange(0, 2) * 0.25,
                       cv::NORM_INF),
              0.0);
}

TEST_F(RectifiedFrames, FullSizeFramesLeaveTheIntrinsicsAsTheyAre)
{
    camera.FrameSize = cv::Size(1856, 800);
    ASSERT_EQ(camera.FrameSize.width / 1856.0f, 1.0f);
    camera.prepareRectification(camera.FrameSize.width / 1856.0f);
    camera.prepareRectification(camera.FrameSize.width / 1856.0f);
    EXPECT_EQ(cv::norm(camera.LeftIntrinsicMatrix, leftParams[0], cv::NORM_INF), 0.0);
    EXPECT_EQ(cv::norm(camera.RightIntrinsicMatrix, rightParams[0], cv::NORM_INF), 0.0);
    EXPECT_FALSE(camera.perspectiveMaps(1)[0].empty());
}

TEST_F(RectifiedFrames, EmptyRectifiedSizeBuildsNoMapsAndEveryRemapFails)
{
    for (const cv::Size size : {cv::Size(0, 0), cv::Size(464, 0)}) {
        camera.setRectFrameSize(size);
        camera.prepareRectification(halfScale());
        EXPECT_TRUE(noMaps()) << size;
        EXPECT_EQ(cv::norm(camera.LeftIntrinsicMatrix, leftParams[0], cv::NORM_INF), 0.0) << size;
        camera.feed(rawLeft, rawRight, std::chrono::microseconds(5));
        cv::Mat left, right, centre;
        EXPECT_THROW(camera.getRectStereoFrame(left, right, centre), cv::Exception);
        EXPECT_THROW(camera.getRectStereoFrame(left, right), cv::Exception);
        EXPECT_TRUE(camera.setDepthMode(2));
        EXPECT_THROW(camera.getRectStereoFrame(left, right, centre), cv::Exception);
    }
}

TEST_F(RectifiedFrames, AnyMissingCalibrationMatrixButTheLeftIntrinsicsBuildsNoMaps)
{
    cv::Mat* required[] = {&camera.Translation,        &camera.LeftXi,
                           &camera.LeftRotation,       &camera.LeftDistortionCoefficients,
                           &camera.RightXi,            &camera.RightRotation,
                           &camera.RightIntrinsicMatrix, &camera.RightDistortionCoefficients};
    for (cv::Mat* matrix : required) {
        const cv::Mat kept = *matrix;
        matrix->release();
        camera.prepareRectification(halfScale());
        EXPECT_TRUE(noMaps());
        *matrix = kept;
    }
    EXPECT_EQ(cv::norm(camera.RightIntrinsicMatrix, rightParams[0], cv::NORM_INF), 0.0);
}

TEST_F(RectifiedFrames, WithoutLeftIntrinsicsTheMapsAreBuiltAndTheLeftViewIsBlack)
{
    camera.LeftIntrinsicMatrix.release();
    camera.prepareRectification(halfScale());
    ASSERT_FALSE(noMaps());
    EXPECT_EQ(cv::countNonZero(camera.perspectiveMaps(0)[0] != -1.0f), 0);
    EXPECT_GT(cv::countNonZero(camera.perspectiveMaps(1)[0] > 0.0f), 0);

    EXPECT_TRUE(camera.setDepthMode(2));
    camera.feed(rawLeft, rawRight, std::chrono::microseconds(5));
    cv::Mat left, right, centre;
    ASSERT_TRUE(camera.getRectStereoFrame(left, right, centre));
    EXPECT_EQ(cv::countNonZero(left.reshape(1)), 0);
    EXPECT_EQ(cv::countNonZero(centre.reshape(1)), 0);
    EXPECT_GT(cv::countNonZero(right.reshape(1)), 0);
}

TEST_F(RectifiedFrames, DepthMode1GivesLonLatViewsAndAPerspectiveCentre)
{
    camera.prepareRectification(halfScale());
    EXPECT_TRUE(camera.setDepthMode(1));
    camera.feed(rawLeft, rawRight, std::chrono::microseconds(1234));
    cv::Mat left, right, centre;
    std::chrono::microseconds stamp{0};
    ASSERT_TRUE(camera.getRectStereoFrame(left, right, centre, stamp));
    EXPECT_EQ(stamp.count(), 1234);
    EXPECT_TRUE(identical(left, remapWith(rawLeft, camera.lonLatMaps(0))));
    EXPECT_TRUE(identical(right, remapWith(rawRight, camera.lonLatMaps(1))));
    EXPECT_TRUE(identical(centre, remapWith(rawLeft, camera.perspectiveMaps(0))));
    EXPECT_FALSE(identical(left, centre));
    EXPECT_EQ(left.size(), kRectSize);
}

TEST_F(RectifiedFrames, DepthMode2GivesPerspectiveViews)
{
    camera.prepareRectification(halfScale());
    EXPECT_TRUE(camera.setDepthMode(2));
    camera.feed(rawLeft, rawRight, std::chrono::microseconds(7));
    cv::Mat left, right, centre;
    ASSERT_TRUE(camera.getRectStereoFrame(left, right, centre));
    EXPECT_TRUE(identical(left, remapWith(rawLeft, camera.perspectiveMaps(0))));
    EXPECT_TRUE(identical(right, remapWith(rawRight, camera.perspectiveMaps(1))));
    EXPECT_TRUE(identical(centre, left));
    EXPECT_NE(left.data, centre.data);
}

TEST_F(RectifiedFrames, OtherDepthModesLeaveLeftAndRightUntouched)
{
    camera.prepareRectification(halfScale());
    camera.Depthmode = 3; // a value only a configuration file can hold
    camera.feed(rawLeft, rawRight, std::chrono::microseconds(7));
    cv::Mat left(5, 5, CV_8UC3, cv::Scalar(1, 2, 3));
    cv::Mat right(6, 6, CV_8UC3, cv::Scalar(4, 5, 6));
    cv::Mat centre;
    EXPECT_TRUE(camera.getRectStereoFrame(left, right, centre));
    EXPECT_EQ(left.size(), cv::Size(5, 5));
    EXPECT_EQ(right.size(), cv::Size(6, 6));
    EXPECT_TRUE(identical(centre, remapWith(rawLeft, camera.perspectiveMaps(0))));
    cv::Mat none;
    EXPECT_FALSE(camera.getRectStereoFrame(none, right, centre));
}

TEST_F(RectifiedFrames, TwoImageFormIsPerspectiveWhateverTheDepthMode)
{
    camera.prepareRectification(halfScale());
    EXPECT_TRUE(camera.setDepthMode(1));
    camera.feed(rawLeft, rawRight, std::chrono::microseconds(7));
    cv::Mat left, right;
    ASSERT_TRUE(camera.getRectStereoFrame(left, right));
    EXPECT_TRUE(identical(left, remapWith(rawLeft, camera.perspectiveMaps(0))));
    EXPECT_TRUE(identical(right, remapWith(rawRight, camera.perspectiveMaps(1))));
}

TEST_F(RectifiedFrames, AFailedFetchLeavesTheImagesAsTheyWere)
{
    camera.prepareRectification(halfScale());
    cv::Mat left, right, centre;
    EXPECT_FALSE(camera.getRectStereoFrame(left, right, centre));
    EXPECT_FALSE(camera.getRectStereoFrame(left, right));
    EXPECT_TRUE(left.empty() && right.empty() && centre.empty());

    left = cv::Mat(3, 3, CV_8UC3, cv::Scalar::all(9));
    right = left.clone();
    centre = left.clone();
    EXPECT_TRUE(camera.getRectStereoFrame(left, right, centre)); // true with the earlier contents
    EXPECT_TRUE(camera.getRectStereoFrame(left, right));
    EXPECT_EQ(left.size(), cv::Size(3, 3));
    EXPECT_EQ(centre.at<cv::Vec3b>(1, 1), cv::Vec3b(9, 9, 9));
    EXPECT_EQ(camera.fetches(), 4);
}

TEST_F(RectifiedFrames, PixelsMappedOutsideTheFisheyeImageAreBlack)
{
    camera.prepareRectification(halfScale());
    EXPECT_TRUE(camera.setDepthMode(1));
    const cv::Mat small(40, 50, CV_8UC3, cv::Scalar::all(255));
    camera.feed(small, small, std::chrono::microseconds(7));
    cv::Mat left, right, centre;
    ASSERT_TRUE(camera.getRectStereoFrame(left, right, centre));
    const cv::Mat& mapX = camera.lonLatMaps(0)[0];
    const cv::Mat& mapY = camera.lonLatMaps(0)[1];
    int outside = 0;
    for (int i = 0; i < left.rows; ++i)
        for (int j = 0; j < left.cols; ++j) {
            const float x = mapX.at<float>(i, j);
            const float y = mapY.at<float>(i, j);
            if (x < -1.0f || y < -1.0f || x > 50.0f || y > 40.0f) {
                ++outside;
                EXPECT_EQ(left.at<cv::Vec3b>(i, j), cv::Vec3b(0, 0, 0));
            }
            if (x >= 0.0f && y >= 0.0f && x <= 49.0f && y <= 39.0f) {
                EXPECT_EQ(left.at<cv::Vec3b>(i, j), cv::Vec3b(255, 255, 255));
            }
        }
    EXPECT_GT(outside, 0);
}

class RectifiedTransmission : public RectifiedFrames
{
protected:
    // An image-sequence writer of the size the mode sends.
    void openWriter(cv::Size size)
    {
        pattern = dir.file("sent_%02d.png");
        ASSERT_TRUE(camera.m_streamSink.open(pattern, cv::CAP_IMAGES, 0.0, size));
    }
    std::string sent(int index) const
    {
        char name[32];
        std::snprintf(name, sizeof name, "sent_%02d.png", index);
        return dir.file(name);
    }

    std::string pattern;
};

TEST_F(RectifiedTransmission, Mode2SendsTheRectifiedRightView)
{
    camera.prepareRectification(halfScale());
    openWriter(kRectSize);
    camera.m_transmit = true;
    camera.m_transmode = 2;
    camera.feed(rawLeft, rawRight, std::chrono::microseconds(7));
    cv::Mat left, right;
    ASSERT_TRUE(camera.getRectStereoFrame(left, right));
    camera.m_streamSink.close();
    EXPECT_TRUE(identical(cv::imread(sent(0)), right));
    EXPECT_FALSE(std::filesystem::exists(sent(1)));
}

TEST_F(RectifiedTransmission, Mode3SendsBothRectifiedViewsSideBySide)
{
    camera.prepareRectification(halfScale());
    openWriter({2 * kRectSize.width, kRectSize.height});
    camera.m_transmit = true;
    camera.m_transmode = 3;
    camera.feed(rawLeft, rawRight, std::chrono::microseconds(7));
    cv::Mat left, right, centre;
    ASSERT_TRUE(camera.getRectStereoFrame(left, right));
    cv::Mat joined;
    cv::hconcat(left, right, joined);
    EXPECT_TRUE(camera.getRectStereoFrame(left, right, centre)); // the three-image forms send nothing
    camera.m_streamSink.close();
    EXPECT_TRUE(identical(cv::imread(sent(0)), joined));
    EXPECT_FALSE(std::filesystem::exists(sent(1)));
}

TEST_F(RectifiedTransmission, NothingIsSentWithoutTheTransmitFlagOrInOtherModes)
{
    camera.prepareRectification(halfScale());
    openWriter(kRectSize);
    camera.feed(rawLeft, rawRight, std::chrono::microseconds(7));
    cv::Mat left, right;
    camera.m_transmode = 3;
    ASSERT_TRUE(camera.getRectStereoFrame(left, right));
    camera.m_transmit = true;
    for (int mode : {-1, 0, 1, 4}) {
        camera.m_transmode = mode;
        ASSERT_TRUE(camera.getRectStereoFrame(left, right));
    }
    camera.m_streamSink.close();
    EXPECT_FALSE(std::filesystem::exists(sent(0)));
}
