#include <gtest/gtest.h>

#include <opencv2/aruco/dictionary.hpp>
#include <opencv2/imgproc.hpp>

#include "RenderedViews.h"
#include "camera/calibration/StereoCalibrator.h"
#include "camera/calibration/TargetDetector.h"

using korvane::calibration::CalibrationTarget;
using korvane::calibration::TargetDetector;
using namespace korvane::test;

namespace {

const CalibrationTarget kChessboard = CalibrationTarget::chessboard({9, 6}, 40.0);
const CalibrationTarget kCharuco = CalibrationTarget::charuco({8, 6}, 40.0, 30.0, cv::aruco::DICT_4X4_50);

// Largest distance between found corners and where the target says they
// are on its print, matched by corner number.
double worstOffsetOnPrint(const CalibrationTarget& target)
{
    const int pps = 50;
    cv::Mat print;
    cv::GaussianBlur(target.print(pps), print, cv::Size(), 1.0);
    const TargetDetector::Corners found = TargetDetector(target).detect(print);
    if (found.ids.size() != static_cast<size_t>(target.cornerCount()))
        return 1e9;
    double worst = 0.0;
    for (size_t i = 0; i < found.ids.size(); ++i) {
        // Pixel centres sit half a pixel in from the print's edges.
        const cv::Point2d expected = target.printPosition(found.ids[i], pps) - cv::Point2d(0.5, 0.5);
        worst = std::max(worst, cv::norm(cv::Point2d(found.pixels[i]) - expected));
    }
    return worst;
}

} // namespace

TEST(CalibrationTarget, ChessboardCornersAreWhereItsPrintShowsThem)
{
    EXPECT_EQ(kChessboard.cornerCount(), 54);
    EXPECT_LT(worstOffsetOnPrint(kChessboard), 0.2);
}

TEST(CalibrationTarget, CharucoCornersAreWhereItsPrintShowsThem)
{
    EXPECT_EQ(kCharuco.cornerCount(), 35);
    EXPECT_LT(worstOffsetOnPrint(kCharuco), 0.2);
}

TEST(CalibrationTarget, ObjectPointsAreSquaresApartInMillimetres)
{
    const auto& points = kChessboard.objectPoints();
    EXPECT_FLOAT_EQ(points[1].x - points[0].x, 40.0f);
    EXPECT_FLOAT_EQ(points[9].y - points[0].y, 40.0f);
    EXPECT_NE(kCharuco.describe().find("8x6"), std::string::npos);
}

TEST(TargetDetector, AFrameWithoutATargetIsRefusedWithAReason)
{
    const cv::Mat blank(400, 928, CV_8UC3, cv::Scalar::all(128));
    TargetDetector::PairCorners pair;
    std::string why;
    EXPECT_FALSE(TargetDetector(kCharuco).detectPair(blank, pair, why));
    EXPECT_EQ(why, "no target found in either eye");
    EXPECT_FALSE(TargetDetector(kCharuco).detectPair(cv::Mat(400, 927, CV_8UC3), pair, why));
    EXPECT_FALSE(TargetDetector(kCharuco).detectPair(cv::Mat(400, 928, CV_32FC1), pair, why));
}

TEST(TargetDetector, ATargetInOneEyeOnlyIsNamed)
{
    const cv::Mat print = kChessboard.print(30);
    cv::Mat frame(print.rows + 20, 2 * (print.cols + 20), CV_8UC1, cv::Scalar(200));
    print.copyTo(frame(cv::Rect(10, 10, print.cols, print.rows)));
    TargetDetector::PairCorners pair;
    std::string why;
    EXPECT_FALSE(TargetDetector(kChessboard).detectPair(frame, pair, why));
    EXPECT_EQ(why, "target found in the left eye only");
}

// The synthetic module's frames of each target: found corners lie where
// the module's ground truth puts them.
class RenderedTarget : public ::testing::TestWithParam<bool>
{
};

TEST_P(RenderedTarget, FoundCornersMatchTheGroundTruth)
{
    const CalibrationTarget& target = GetParam() ? kCharuco : kChessboard;
    const cv::Size raw(1856, 800);
    const korvane::synthetic::SyntheticTarget rendered = syntheticTarget(target);
    const korvane::synthetic::TargetPose pose = korvane::synthetic::TargetPose::facing({0.1, 0.05, 0.35}, {0.3, -0.2, 0.1});
    cv::Mat frame = rendered.render(pose, raw);
    korvane::synthetic::SyntheticTarget::degrade(frame, kBlurSigma, kNoiseSigma, 3);
    TargetDetector::PairCorners pair;
    std::string why;
    ASSERT_TRUE(TargetDetector(target).detectPair(frame, pair, why)) << why;
    EXPECT_EQ(pair.ids.size(), static_cast<size_t>(target.cornerCount()));
    std::vector<double> offsets;
    for (bool right : {false, true}) {
        std::vector<bool> seen;
        const std::vector<cv::Point2d> truth = rendered.cornerPixels(pose, raw, right, seen);
        const auto& found = right ? pair.right : pair.left;
        for (const cv::Point2f& p : found) {
            double nearest = 1e9;
            for (size_t k = 0; k < truth.size(); ++k)
                if (seen[k])
                    nearest = std::min(nearest, cv::norm(cv::Point2d(p) - truth[k]));
            offsets.push_back(nearest);
        }
    }
    std::sort(offsets.begin(), offsets.end());
    RecordProperty("median_offset_px", std::to_string(offsets[offsets.size() / 2]));
    EXPECT_LT(offsets[offsets.size() / 2], 0.25);
    EXPECT_LT(offsets.back(), 0.6);
}

INSTANTIATE_TEST_SUITE_P(Kinds, RenderedTarget, ::testing::Values(false, true));

TEST(TargetPose, VariedPosesReachBeyondTheFisheyeCircle)
{
    const korvane::synthetic::SyntheticTarget rendered = syntheticTarget(kCharuco);
    const auto poses = korvane::synthetic::TargetPose::varied(25, 7);
    ASSERT_EQ(poses.size(), 25u);
    int partial = 0, whole = 0;
    for (const auto& pose : poses) {
        std::vector<bool> seen;
        rendered.cornerPixels(pose, {1856, 800}, false, seen);
        const auto count = std::count(seen.begin(), seen.end(), true);
        partial += count > 0 && count < static_cast<long>(seen.size());
        whole += count == static_cast<long>(seen.size());
    }
    EXPECT_GE(partial, 3);
    EXPECT_GE(whole, 10);
}

TEST(StereoCalibrator, RefusesTooFewViewsAndAMissingImageSize)
{
    const TargetDetector detector(kCharuco);
    const korvane::calibration::StereoCalibrator calibrator(detector);
    const auto none = calibrator.calibrate({}, {928, 800});
    EXPECT_FALSE(none.ok);
    EXPECT_EQ(none.error, "too few views: 0 (at least 5 needed)");
    TargetDetector::PairCorners pair;
    pair.ids = {0, 1, 2};
    pair.left = pair.right = {{1, 1}, {2, 2}, {3, 3}};
    const auto sizeless = calibrator.calibrate(std::vector<TargetDetector::PairCorners>(6, pair), {0, 0});
    EXPECT_FALSE(sizeless.ok);
    EXPECT_EQ(sizeless.error, "no eye image size");
}
