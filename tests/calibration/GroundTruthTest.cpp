// Calibrations from the synthetic module's rendered views of each target,
// checked against the module's own calibration: where each eye's model
// puts rays, the principal points, the baseline, the pair's reprojection
// and epipolar errors, and depth through the kit from the written file.
#include <algorithm>
#include <cmath>
#include <memory>

#include <gtest/gtest.h>

#include <opencv2/aruco/dictionary.hpp>
#include <opencv2/calib3d.hpp>
#include <opencv2/ccalib/omnidir.hpp>
#include <opencv2/imgcodecs.hpp>

#include "CameraTestSupport.h"
#include "RenderedViews.h"
#include "camera/calibration/CalibrationFile.h"
#include "camera/calibration/StereoCalibrator.h"
#include "emulator/synthetic/SyntheticStereoModule.h"
#include "support/TempDir.h"

using korvane::calibration::CalibrationFile;
using korvane::calibration::CalibrationTarget;
using korvane::calibration::StereoCalibrator;
using korvane::calibration::TargetDetector;
using korvane::synthetic::SyntheticStereoModule;
using korvane::synthetic::UnifiedEye;
using namespace korvane::test;

namespace {

constexpr int kViews = 25;
const cv::Size kRect(640, 480);
constexpr double kFov = 90.0;

struct Case
{
    bool charuco;
    cv::Size raw;
};

std::string caseName(const ::testing::TestParamInfo<Case>& info)
{
    return std::string(info.param.charuco ? "Charuco" : "Chessboard") + std::to_string(info.param.raw.width);
}

CalibrationTarget targetOf(const Case& c)
{
    return c.charuco ? CalibrationTarget::charuco({8, 6}, 40.0, 30.0, cv::aruco::DICT_4X4_50)
                     : CalibrationTarget::chessboard({9, 6}, 40.0);
}

struct Calibrated
{
    std::vector<TargetDetector::PairCorners> views;
    int framesWithoutPair = 0;
    StereoCalibrator::Result result;
};

// Renders, detects and calibrates one case.
std::unique_ptr<Calibrated> calibrated(const Case& c)
{
    auto slot = std::make_unique<Calibrated>();
    const CalibrationTarget target = targetOf(c);
    const TargetDetector detector(target);
    for (const cv::Mat& frame : renderedViews(target, c.raw, kViews, 20)) {
        TargetDetector::PairCorners pair;
        std::string why;
        if (detector.detectPair(frame, pair, why))
            slot->views.push_back(pair);
        else
            ++slot->framesWithoutPair;
    }
    slot->result = StereoCalibrator(detector).calibrate(slot->views, {c.raw.width / 2, c.raw.height});
    return slot;
}

double percentile(std::vector<double> values, double fraction)
{
    std::sort(values.begin(), values.end());
    return values[static_cast<size_t>(fraction * (values.size() - 1))];
}

// Rays up to 80 degrees off an eye's axis, in its camera frame.
std::vector<cv::Vec3d> testRays()
{
    std::vector<cv::Vec3d> rays;
    for (double theta = 0.0; theta <= 80.0; theta += 5.0)
        for (double phi = 0.0; phi < 360.0; phi += 15.0) {
            const double t = theta * CV_PI / 180.0, p = phi * CV_PI / 180.0;
            rays.emplace_back(std::sin(t) * std::cos(p), std::sin(t) * std::sin(p), std::cos(t));
        }
    return rays;
}

cv::Point2d recoveredPixel(const StereoCalibrator::Eye& eye, const cv::Vec3d& ray)
{
    cv::Mat found;
    cv::omnidir::projectPoints(cv::Mat(1, 1, CV_64FC3, cv::Scalar(ray[0], ray[1], ray[2])), found, cv::Vec3d(0, 0, 0),
                               cv::Vec3d(0, 0, 0), cv::Mat(eye.intrinsics), eye.xi, cv::Mat(eye.distortion));
    const cv::Vec2d f = found.at<cv::Vec2d>(0);
    return {f[0], f[1]};
}

// The recovered camera frame may be turned a little against the true one:
// a small turn of an eye shifts its image almost as its principal point and
// tangential distortion do, and every use of the calibration takes the turn
// into the eyes' rotations. This is the turn that best maps the true rays
// onto the recovered model's rays through the same pixels.
cv::Matx33d frameTurn(const std::vector<cv::Vec3d>& rays, const std::vector<cv::Point2d>& pixels,
                      const StereoCalibrator::Eye& eye)
{
    cv::Mat distorted(1, static_cast<int>(pixels.size()), CV_64FC2), lifted;
    for (size_t i = 0; i < pixels.size(); ++i)
        distorted.at<cv::Vec2d>(0, static_cast<int>(i)) = cv::Vec2d(pixels[i].x, pixels[i].y);
    cv::omnidir::undistortPoints(distorted, lifted, cv::Mat(eye.intrinsics), cv::Mat(eye.distortion),
                                 cv::Mat(cv::Mat_<double>(1, 1) << eye.xi), cv::Mat::eye(3, 3, CV_64F));
    cv::Matx33d h = cv::Matx33d::zeros();
    for (size_t i = 0; i < rays.size(); ++i) {
        const cv::Vec2d p = lifted.at<cv::Vec2d>(0, static_cast<int>(i));
        h += rays[i] * cv::normalize(cv::Vec3d(p[0], p[1], 1.0)).t();
    }
    cv::Mat w, u, vt;
    cv::SVD::compute(cv::Mat(h), w, u, vt);
    cv::Matx33d turn = cv::Matx33d(vt).t() * cv::Matx33d(u).t();
    if (cv::determinant(turn) < 0.0) {
        cv::Matx33d flip = cv::Matx33d::eye();
        flip(2, 2) = -1.0;
        turn = cv::Matx33d(vt).t() * flip * cv::Matx33d(u).t();
    }
    return turn;
}

struct RayOffsets
{
    std::vector<double> direct;  // the same camera-frame ray through both models
    std::vector<double> aligned; // after the best small turn of the recovered frame
    double turnDegrees = 0.0;
};

// Distances, in pixels of the raw frame, between where the true and the
// recovered model put rays up to 80 degrees off the eye's axis.
RayOffsets rayOffsets(const UnifiedEye& truth, const StereoCalibrator::Eye& recovered, double scale)
{
    std::vector<cv::Vec3d> rays;
    std::vector<cv::Point2d> expected;
    for (const cv::Vec3d& ray : testRays()) {
        cv::Point2d pixel;
        if (truth.project(truth.centre() + truth.rotation() * ray, scale, pixel)) {
            rays.push_back(ray);
            expected.push_back(pixel);
        }
    }
    RayOffsets offsets;
    const cv::Matx33d turn = frameTurn(rays, expected, recovered);
    cv::Vec3d rodrigues;
    cv::Rodrigues(turn, rodrigues);
    offsets.turnDegrees = cv::norm(rodrigues) * 180.0 / CV_PI;
    for (size_t i = 0; i < rays.size(); ++i) {
        offsets.direct.push_back(cv::norm(recoveredPixel(recovered, rays[i]) - expected[i]));
        offsets.aligned.push_back(cv::norm(recoveredPixel(recovered, turn * rays[i]) - expected[i]));
    }
    return offsets;
}

// Median relative depth error of the kit's metric depth against the
// module's ground truth, seen in the view the camera's rotation makes.
double medianDepthError(Probe& camera, const SyntheticStereoModule& module)
{
    TempDir dir;
    if (!cv::imwrite(dir.file("frame_0.png"), module.renderFrame(0)))
        return 1e9;
    camera.setDepthMode(2);
    camera.setFieldOfView(kFov);
    camera.setRawFrameSize(module.rawSize());
    camera.setRectFrameSize(kRect);
    if (!camera.openVideo(dir.file("frame_%d.png")) || !camera.startCapture(false, false) ||
        !camera.startStereoCompute())
        return 1e9;
    cv::Mat disparity, centre, depth;
    std::chrono::microseconds stamp{0};
    camera.getDisparityFrame(disparity, centre, stamp);
    const bool got = camera.getDisparityFrame(disparity, centre, stamp) && camera.getDepthFrame(disparity, depth);
    camera.stopStereoCompute();
    camera.stopCapture();
    if (!got)
        return 1e9;
    // The left camera frame to the rig's rectified frame is the true
    // rotation; to the camera's, the loaded one.
    const cv::Matx33d viewFromRig = cv::Matx33d(camera.LeftRotation) * module.rig().eye(false).rotation().t();
    const cv::Mat truth = module.renderDepth(0, kRect, kFov, viewFromRig);
    const double focal = camera.m_rectifyCameraMatrix.at<double>(0, 0);
    const double baseline = module.rig().baselineMetres();
    std::vector<double> errors;
    for (int r = 0; r < depth.rows; ++r)
        for (int c = 0; c < depth.cols; ++c) {
            const float t = truth.at<float>(r, c);
            const float z = depth.at<float>(r, c);
            if (t < 0.05f || t > 1.0f || focal * baseline / t >= 31 || !(z > 0))
                continue;
            errors.push_back(std::abs(z - t) / t);
        }
    return errors.size() < 5000 ? 1e9 : percentile(errors, 0.5);
}

class GroundTruth : public ::testing::TestWithParam<Case>
{
};

using ::testing::Test;

void expectMostViewsFound(const Calibrated& c)
{
    Test::RecordProperty("views_found", static_cast<int>(c.views.size()));
    Test::RecordProperty("views_dropped", static_cast<int>(c.result.dropped.size()));
    ASSERT_TRUE(c.result.ok) << c.result.error;
    EXPECT_GE(c.views.size(), 15u);
}

void expectRaysWhereTheTrueModelPutsThem(const Calibrated& c, const SyntheticStereoModule& module)
{
    for (bool right : {false, true}) {
        const UnifiedEye& truth = module.rig().eye(right);
        const StereoCalibrator::Eye& eye = right ? c.result.right : c.result.left;
        const RayOffsets offsets = rayOffsets(truth, eye, module.scale());
        ASSERT_GT(offsets.aligned.size(), 300u);
        const double median = percentile(offsets.aligned, 0.5), p95 = percentile(offsets.aligned, 0.95);
        const double directMedian = percentile(offsets.direct, 0.5), directP95 = percentile(offsets.direct, 0.95);
        const cv::Matx33d k = truth.scaledIntrinsics(module.scale());
        const double centreOffset = cv::norm(cv::Point2d(eye.intrinsics(0, 2) - k(0, 2), eye.intrinsics(1, 2) - k(1, 2)));
        const std::string side = right ? "right" : "left";
        Test::RecordProperty(side + "_ray_direct_median_px", std::to_string(directMedian));
        Test::RecordProperty(side + "_ray_direct_p95_px", std::to_string(directP95));
        Test::RecordProperty(side + "_frame_turn_degrees", std::to_string(offsets.turnDegrees));
        Test::RecordProperty(side + "_ray_median_px", std::to_string(median));
        Test::RecordProperty(side + "_ray_p95_px", std::to_string(p95));
        Test::RecordProperty(side + "_principal_point_px", std::to_string(centreOffset));
        Test::RecordProperty(side + "_rms_px", std::to_string(eye.rms));
        // Within the bars both as recovered and with the eye's frame aligned.
        EXPECT_LT(directMedian, 0.5) << side;
        EXPECT_LT(directP95, 1.5) << side;
        EXPECT_LT(median, 0.5) << side;
        EXPECT_LT(p95, 1.5) << side;
        EXPECT_LT(centreOffset, 1.0) << side;
        EXPECT_LT(offsets.turnDegrees, 0.5) << side;
    }
}

void expectTheTrueBaselineAndSmallErrors(const Calibrated& c, const SyntheticStereoModule& module)
{
    const double truth = module.rig().baselineMetres() * 1000.0;
    const double baselineError = std::abs(cv::norm(c.result.translation) - truth) / truth;
    const std::vector<double> epipolar = CalibrationFile::epipolarErrors(c.result, c.views, kRect, kFov);
    ASSERT_FALSE(epipolar.empty());
    const double epipolarMedian = percentile(epipolar, 0.5);
    Test::RecordProperty("baseline_error_percent", std::to_string(baselineError * 100.0));
    Test::RecordProperty("pair_rms_px", std::to_string(c.result.pairRms));
    Test::RecordProperty("epipolar_median_px", std::to_string(epipolarMedian));
    EXPECT_LT(baselineError, 0.005);
    EXPECT_LT(c.result.pairRms, 0.5);
    EXPECT_LT(epipolarMedian, 0.3);
}

void expectTrueDepthFromTheWrittenFile(const Calibrated& c, const SyntheticStereoModule& module)
{
    TempDir dir;
    const std::string path = dir.file("calibration.yml");
    ASSERT_TRUE(CalibrationFile::write(path, c.result, module.rawSize(), {}));
    Probe camera(kAbsentDevice);
    ASSERT_TRUE(camera.loadCalibParams(path));
    // Stated for the 1856-pixel raw width whatever the views' size.
    EXPECT_NEAR(camera.LeftIntrinsicMatrix.at<double>(0, 2), module.rig().eye(false).intrinsics()(0, 2), 1.0 / module.scale());
    const double error = medianDepthError(camera, module);
    Test::RecordProperty("median_depth_error_percent", std::to_string(error * 100.0));
    EXPECT_LT(error, 0.01);
}

} // namespace

// One process renders, detects and calibrates a case once; the checks
// share it.
TEST_P(GroundTruth, RecoversTheModuleCalibrationAndItsDepth)
{
    const std::unique_ptr<Calibrated> calibration = calibrated(GetParam());
    const Calibrated& c = *calibration;
    expectMostViewsFound(c);
    ASSERT_TRUE(c.result.ok) << c.result.error;
    const SyntheticStereoModule module(GetParam().raw);
    expectRaysWhereTheTrueModelPutsThem(c, module);
    expectTheTrueBaselineAndSmallErrors(c, module);
    expectTrueDepthFromTheWrittenFile(c, module);
}

INSTANTIATE_TEST_SUITE_P(Targets, GroundTruth,
                         ::testing::Values(Case{false, {1856, 800}}, Case{true, {1856, 800}}, Case{false, {928, 400}},
                                           Case{true, {928, 400}}),
                         caseName);

// The kit with the module's own calibration on the same measure: the
// floor a recovered calibration is compared with.
TEST(GroundTruthReference, TheTrueCalibrationGivesDepthWithinOnePercent)
{
    const SyntheticStereoModule module({1856, 800});
    Probe camera(kAbsentDevice);
    ASSERT_TRUE(camera.setCalibParams(module.rig().calibParams(false), false));
    ASSERT_TRUE(camera.setCalibParams(module.rig().calibParams(true), true));
    const double error = medianDepthError(camera, module);
    RecordProperty("median_depth_error_percent", std::to_string(error * 100.0));
    EXPECT_LT(error, 0.01);
}
