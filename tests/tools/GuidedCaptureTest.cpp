// The guided capture: the measures that judge a view, the judgement of a
// stream of rendered frames, and korvane-calibrate guided through a
// recording, with and without a window.
#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <opencv2/aruco/dictionary.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "CoverageMap.h"
#include "GuidedCapture.h"
#include "GuidedWindow.h"
#include "ViewQuality.h"
#include "calibration/RenderedViews.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

using korvane::calibration::CalibrationTarget;
using korvane::calibration::TargetDetector;
using korvane::synthetic::SyntheticTarget;
using korvane::synthetic::TargetPose;
using namespace korvane::test;
using namespace std::chrono_literals;

namespace {

const CalibrationTarget kBoard = CalibrationTarget::charuco({8, 6}, 40.0, 30.0, cv::aruco::DICT_4X4_50);
const cv::Size kRaw(928, 400);

// A frame of the board at a pose, blurred by blurSigma pixels.
cv::Mat frameAt(const TargetPose& pose, double blurSigma, std::uint64_t seed)
{
    static const SyntheticTarget rendered = syntheticTarget(kBoard);
    cv::Mat frame = rendered.render(pose, kRaw);
    SyntheticTarget::degrade(frame, blurSigma, kNoiseSigma, seed);
    return frame;
}

TargetPose shifted(const TargetPose& pose, double metres)
{
    const cv::Matx33d axes(pose.across()[0], pose.down()[0], pose.normal()[0], pose.across()[1], pose.down()[1],
                           pose.normal()[1], pose.across()[2], pose.down()[2], pose.normal()[2]);
    return TargetPose(pose.centre() + pose.across() * metres, axes);
}

// A board facing the rig straight ahead, found in both eyes.
TargetDetector::PairCorners pairAt(const cv::Mat& frame)
{
    TargetDetector::PairCorners pair;
    std::string why;
    EXPECT_TRUE(TargetDetector(kBoard).detectPair(frame, pair, why)) << why;
    return pair;
}

// Blur that the detector still sees through but a calibration should not.
constexpr double kBlurry = 1.6;

const TargetPose kAhead = TargetPose::facing({0.0, 0.0, 0.3}, {0.0, 0.0, 0.0});

} // namespace

TEST(ViewQuality, EdgesOfASharpViewAreNarrowerThanOfABlurredOne)
{
    const cv::Mat sharp = frameAt(kAhead, kBlurSigma, 1);
    const cv::Mat blurred = frameAt(kAhead, kBlurry, 1);
    const TargetDetector::PairCorners pair = pairAt(sharp);
    const cv::Rect left(0, 0, kRaw.width / 2, kRaw.height);
    const double sharpWidth = ViewQuality::edgeWidth(sharp(left), pair.left);
    const double blurredWidth = ViewQuality::edgeWidth(blurred(left), pair.left);
    Test::RecordProperty("sharp_edge_px", std::to_string(sharpWidth));
    Test::RecordProperty("blurred_edge_px", std::to_string(blurredWidth));
    EXPECT_GT(sharpWidth, 0.5);
    EXPECT_LT(sharpWidth, GuidedCapture::Settings().sharpEdgeWidth);
    EXPECT_GT(blurredWidth, GuidedCapture::Settings().sharpEdgeWidth);
    EXPECT_EQ(ViewQuality::edgeWidth(cv::Mat(), pair.left), 0.0);
    EXPECT_EQ(ViewQuality::edgeWidth(cv::Mat(10, 10, CV_32F), pair.left), 0.0);
}

TEST(ViewQuality, MotionIsTheMedianMoveOfTheCornersBothViewsShow)
{
    TargetDetector::PairCorners a, b;
    a.ids = {1, 2, 3, 4};
    a.left = {{10, 10}, {20, 10}, {30, 10}, {40, 10}};
    a.right = {{5, 10}, {15, 10}, {25, 10}, {35, 10}};
    // Corner 1 is not in b; 2 moved 2 px in the left eye, 3 moved 5 px in
    // the right, 4 moved 30 px in both; 9 is not in a.
    b.ids = {2, 3, 4, 9};
    b.left = {{20, 12}, {30, 10}, {70, 10}, {99, 99}};
    b.right = {{15, 10}, {28, 14}, {65, 10}, {0, 0}};
    EXPECT_DOUBLE_EQ(ViewQuality::motion(a, b), 5.0);
    b.ids = {7, 8, 9, 10};
    EXPECT_DOUBLE_EQ(ViewQuality::motion(a, b), -1.0);
}

TEST(ViewQuality, ABoardTurnedAboutItsColumnsOrRowsIsToldFromOneFacingTheEye)
{
    const auto tilt = [](const cv::Vec3d& turn) {
        return ViewQuality::tiltOf(kBoard, pairAt(frameAt(TargetPose::facing({0.0, 0.0, 0.3}, turn), kBlurSigma, 2)));
    };
    EXPECT_EQ(tilt({0.0, 0.0, 0.0}), ViewQuality::Tilt::FaceOn);
    EXPECT_EQ(tilt({0.0, 0.7, 0.0}), ViewQuality::Tilt::TurnedAboutColumns);
    EXPECT_EQ(tilt({0.7, 0.0, 0.0}), ViewQuality::Tilt::TurnedAboutRows);
}

TEST(CoverageMap, NamesWhereTheUncoveredPartOfTheCircleIs)
{
    CoverageMap map({400, 400});
    EXPECT_EQ(map.emptiestDirection(), "centre");
    std::vector<cv::Point2f> rightHalfAndBottom;
    for (float x = 0; x < 400; x += 10)
        for (float y = 0; y < 400; y += 10)
            if (x >= 200 || y >= 200)
                rightHalfAndBottom.push_back({x, y});
    EXPECT_GT(map.newCells(rightHalfAndBottom), 0);
    map.add(rightHalfAndBottom);
    EXPECT_EQ(map.newCells(rightHalfAndBottom), 0);
    EXPECT_EQ(map.emptiestDirection(), "top-left");
    std::vector<cv::Point2f> middle;
    for (float x = 0; x < 400; x += 10)
        for (float y = 0; y < 400; y += 10)
            if (std::hypot(x - 200.0f, y - 200.0f) < 120.0f)
                middle.push_back({x, y});
    CoverageMap rim({400, 400});
    rim.add(middle);
    EXPECT_EQ(rim.emptiestDirection(), "edges");
    std::vector<cv::Point2f> all;
    for (float x = 0; x < 400; x += 5)
        for (float y = 0; y < 400; y += 5)
            all.push_back({x, y});
    rim.add(all);
    EXPECT_EQ(rim.emptiestDirection(), "");
}

TEST(GuidedCapture, KeepsAStillSharpViewThatAddsCoverageAndSaysWhyOthersAreNot)
{
    GuidedCapture::Settings settings;
    settings.wantedViews = 3;
    GuidedCapture capture(kBoard, kRaw, settings);
    using Verdict = GuidedCapture::Verdict;

    const cv::Mat empty(kRaw, CV_8UC3, cv::Scalar::all(128));
    GuidedCapture::Step step = capture.offer(empty);
    EXPECT_EQ(step.verdict, Verdict::NotInBothEyes);
    EXPECT_EQ(step.status, "no target found in either eye");

    // Moving: a new place every frame.
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(capture.offer(frameAt(shifted(kAhead, 0.01 * i), kBlurSigma, 10 + i)).verdict, Verdict::Moving);
    // Still, but blurred: the corners are those of a sharp frame, since the
    // detector gives up on blur like this at this size.
    const TargetDetector::PairCorners corners = pairAt(frameAt(kAhead, kBlurSigma, 20));
    const cv::Mat blurred = frameAt(kAhead, kBlurry, 21);
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(capture.judge(blurred, &corners, "").verdict, Verdict::Moving);
    step = capture.judge(blurred, &corners, "");
    EXPECT_EQ(step.verdict, Verdict::Blurred) << step.status;
    EXPECT_EQ(step.status.rfind("the view is blurred (edges ", 0), 0u) << step.status;
    // Still as before, and now sharp: kept.
    step = capture.offer(frameAt(kAhead, kBlurSigma, 30));
    ASSERT_EQ(step.verdict, Verdict::Kept) << step.status;
    EXPECT_EQ(step.status, "kept view 1 of 3");
    EXPECT_FALSE(step.hint.empty());
    EXPECT_EQ(capture.views().size(), 1u);
    EXPECT_GT(capture.coverage(false).fraction(), 0.0);
    // The same pose again adds nothing.
    for (int i = 0; i < 2; ++i)
        capture.offer(frameAt(kAhead, kBlurSigma, 40 + i));
    step = capture.offer(frameAt(kAhead, kBlurSigma, 42));
    EXPECT_EQ(step.verdict, Verdict::NoNewCoverage) << step.status;
    EXPECT_EQ(capture.views().size(), 1u);
    // A frame of another size is refused, not measured.
    EXPECT_EQ(capture.offer(cv::Mat(10, 10, CV_8UC3, cv::Scalar::all(0))).verdict, Verdict::NotInBothEyes);
    EXPECT_NE(capture.tally().find("1 kept"), std::string::npos) << capture.tally();
}

TEST(GuidedCapture, AsksForTheEmptyPartOfTheCircleThenForATilt)
{
    GuidedCapture capture(kBoard, kRaw, GuidedCapture::Settings());
    // Straight ahead covers the middle only.
    for (int i = 0; i < 3; ++i)
        capture.offer(frameAt(kAhead, kBlurSigma, 50 + i));
    ASSERT_EQ(capture.views().size(), 1u);
    EXPECT_EQ(capture.hint(), "move it towards the edges of the view");
}

TEST(GuidedWindow, ShowsBothEyesTheCornersTheMapsAndTheHint)
{
    GuidedCapture capture(kBoard, kRaw, GuidedCapture::Settings());
    const cv::Mat frame = frameAt(kAhead, kBlurSigma, 60);
    GuidedCapture::Step step;
    for (int i = 0; i < 3; ++i)
        step = capture.offer(frame);
    const cv::Mat picture = GuidedWindow::compose(frame, capture, step);
    ASSERT_EQ(picture.cols, kRaw.width);
    ASSERT_GT(picture.rows, kRaw.height);
    // The corners are drawn in green on the eyes.
    cv::Mat green;
    cv::inRange(picture(cv::Rect(0, 0, kRaw.width, kRaw.height)), cv::Scalar(70, 210, 70), cv::Scalar(90, 230, 90),
                green);
    EXPECT_GT(cv::countNonZero(green), 2 * static_cast<int>(step.pair.ids.size()));
    // A 1856-wide frame is shown narrower than the screen's usual width.
    cv::Mat wide;
    cv::resize(frame, wide, {1856, 800});
    EXPECT_LE(GuidedWindow::compose(wide, capture, step).cols, 1280);
}
