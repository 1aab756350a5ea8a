// The rectifier on its own, built from the synthetic module's calibration
// with no camera object: its maps, its fixed-point forms and the views it
// gives for each depth mode.
#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "camera/ModuleFrameSize.h"
#include "camera/StereoRectifier.h"
#include "emulator/synthetic/SyntheticStereoModule.h"

using korvane::StereoRectifier;

namespace {

const cv::Size kRectified(464, 400);

bool sameMatrix(const cv::Mat& a, const cv::Mat& b)
{
    return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0.0;
}

StereoRectifier::Eye eyeOf(const korvane::synthetic::SyntheticRig& rig, bool right)
{
    const std::vector<cv::Mat> p = rig.calibParams(right);
    return {p[0], p[1], p[3], p[2].at<double>(0)};
}

class Rectifier : public ::testing::Test
{
protected:
    Rectifier()
    {
        const korvane::synthetic::SyntheticStereoModule module(korvane::kFullModuleFrame);
        eyes[0] = eyeOf(module.rig(), false);
        eyes[1] = eyeOf(module.rig(), true);
        const cv::Mat frame = module.renderFrame(0);
        const int half = frame.cols / 2;
        raw[0] = frame(cv::Rect(0, 0, half, frame.rows)).clone();
        raw[1] = frame(cv::Rect(half, 0, half, frame.rows)).clone();
        rectifier.build(eyes[0], eyes[1], P, K, kRectified);
    }

    cv::Mat plainRemap(StereoRectifier::View view, int eye) const
    {
        const cv::Mat* maps = rectifier.maps(view, eye);
        cv::Mat out;
        cv::remap(raw[eye], out, maps[0], maps[1], cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar());
        return out;
    }

    const cv::Mat P = korvane::perspectiveCameraMatrix(kRectified, 90.0);
    const cv::Mat K = korvane::lonLatCameraMatrix(kRectified, 180.0, 222.0);
    StereoRectifier::Eye eyes[2];
    cv::Mat raw[2];
    StereoRectifier rectifier;
};

} // namespace

TEST(RectifierUnbuilt, HasNoMaps)
{
    StereoRectifier rectifier;
    for (int eye = 0; eye < 2; ++eye)
        for (StereoRectifier::View view : {StereoRectifier::kLonLat, StereoRectifier::kPerspective})
            EXPECT_TRUE(rectifier.maps(view, eye)[0].empty() && rectifier.maps(view, eye)[1].empty());
}

TEST_F(Rectifier, MapsAreThoseOfTheUnifiedModelForEachViewAndEye)
{
    for (int eye = 0; eye < 2; ++eye) {
        const StereoRectifier::Eye& e = eyes[eye];
        cv::Mat x, y;
        initRectifyMap(e.intrinsics, e.distortion, e.rotation, P, e.xi, e.xi, kRectified,
                       korvane::kRectifyPerspective, x, y);
        EXPECT_TRUE(sameMatrix(rectifier.maps(StereoRectifier::kPerspective, eye)[0], x)) << eye;
        EXPECT_TRUE(sameMatrix(rectifier.maps(StereoRectifier::kPerspective, eye)[1], y)) << eye;
        initRectifyMap(e.intrinsics, e.distortion, e.rotation, K, e.xi, 0.0, kRectified, korvane::kRectifyLonLat,
                       x, y);
        EXPECT_TRUE(sameMatrix(rectifier.maps(StereoRectifier::kLonLat, eye)[0], x)) << eye;
        EXPECT_TRUE(sameMatrix(rectifier.maps(StereoRectifier::kLonLat, eye)[1], y)) << eye;
    }
    EXPECT_TRUE(rectifier.fixedFormsInUse());
}

TEST_F(Rectifier, PerspectiveModeGivesThePerspectiveViewsWithTheCentreCopiedAsLeft)
{
    cv::Mat left, right, centre;
    rectifier.rectifyPair(raw[0], raw[1], StereoRectifier::kPerspective, left, right, centre);
    EXPECT_TRUE(sameMatrix(centre, plainRemap(StereoRectifier::kPerspective, 0)));
    EXPECT_TRUE(sameMatrix(left, centre));
    EXPECT_NE(left.data, centre.data);
    EXPECT_TRUE(sameMatrix(right, plainRemap(StereoRectifier::kPerspective, 1)));
    EXPECT_GT(cv::countNonZero(right.reshape(1)), static_cast<int>(right.total())); // not black
}

TEST_F(Rectifier, LonLatModeGivesTheLonLatViewsAndThePerspectiveCentre)
{
    cv::Mat left, right, centre;
    rectifier.rectifyPair(raw[0], raw[1], StereoRectifier::kLonLat, left, right, centre);
    EXPECT_TRUE(sameMatrix(centre, plainRemap(StereoRectifier::kPerspective, 0)));
    EXPECT_TRUE(sameMatrix(left, plainRemap(StereoRectifier::kLonLat, 0)));
    EXPECT_TRUE(sameMatrix(right, plainRemap(StereoRectifier::kLonLat, 1)));
    EXPECT_FALSE(sameMatrix(left, centre));
}

TEST_F(Rectifier, AnotherModeGivesOnlyTheCentre)
{
    const cv::Mat keptLeft(2, 2, CV_8UC3, cv::Scalar(1, 2, 3));
    const cv::Mat keptRight(2, 2, CV_8UC3, cv::Scalar(4, 5, 6));
    cv::Mat left = keptLeft, right = keptRight, centre;
    rectifier.rectifyPair(raw[0], raw[1], 0, left, right, centre);
    EXPECT_EQ(left.data, keptLeft.data);
    EXPECT_EQ(right.data, keptRight.data);
    EXPECT_TRUE(sameMatrix(centre, plainRemap(StereoRectifier::kPerspective, 0)));
}

TEST_F(Rectifier, EachViewIsAFreshImage)
{
    const cv::Mat first = rectifier.rectify(raw[1], StereoRectifier::kPerspective, 1);
    const cv::Mat second = rectifier.rectify(raw[1], StereoRectifier::kPerspective, 1);
    EXPECT_NE(first.data, second.data);
    EXPECT_NE(first.data, raw[1].data);
}

TEST_F(Rectifier, MapsSetAfterBuildingAreUsedThroughTheirOwnFixedForm)
{
    const cv::Mat x(kRectified, CV_32FC1, cv::Scalar(232.0f));
    const cv::Mat y(kRectified, CV_32FC1, cv::Scalar(400.0f));
    rectifier.setMaps(StereoRectifier::kPerspective, 1, x, y);
    EXPECT_TRUE(rectifier.fixedFormsInUse());
    const cv::Mat out = rectifier.rectify(raw[1], StereoRectifier::kPerspective, 1);
    EXPECT_TRUE(sameMatrix(out, cv::Mat(kRectified, CV_8UC3, cv::Scalar(raw[1].at<cv::Vec3b>(400, 232)))));
}
