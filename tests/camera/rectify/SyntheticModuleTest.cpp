#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include "RectifyProbe.h"
#include "camera/CalibrationFormat.h"
#include "emulator/synthetic/SyntheticSetWriter.h"
#include "emulator/synthetic/SyntheticStereoModule.h"
#include "support/TempDir.h"

using namespace korvane::test;
using korvane::synthetic::SyntheticSetWriter;
using korvane::synthetic::SyntheticStereoModule;

namespace {

const cv::Size kHalfRaw(928, 400);
const cv::Size kRectSize(640, 480);
constexpr double kHFov = 90.0;

bool identical(const cv::Mat& a, const cv::Mat& b)
{
    return a.size() == b.size() && a.type() == b.type() &&
           cv::norm(a.reshape(1), b.reshape(1), cv::NORM_INF) == 0.0;
}

cv::Mat grey(const cv::Mat& bgr)
{
    cv::Mat g;
    cv::cvtColor(bgr, g, cv::COLOR_BGR2GRAY);
    cv::Mat f;
    g.convertTo(f, CV_32F);
    return f;
}

// Saddle point of the checker board's pattern near `guess`: the critical
// point of a quadratic fitted to the lightly smoothed image around the
// estimate, refitted until it stays put. The board's pattern is point
// symmetric about each corner, so the fit is unbiased wherever the view is
// locally affine.
cv::Point2d locateCorner(const cv::Mat& greyImage, cv::Point2d guess)
{
    constexpr int kHalf = 3;
    cv::Mat smooth;
    cv::GaussianBlur(greyImage, smooth, {0, 0}, 1.0);
    cv::Mat design(0, 6, CV_64F);
    for (int dy = -kHalf; dy <= kHalf; ++dy)
        for (int dx = -kHalf; dx <= kHalf; ++dx) {
            const cv::Mat row = (cv::Mat_<double>(1, 6) << 1, dx, dy, dx * dx, dx * dy, dy * dy);
            design.push_back(row);
        }
    cv::Point2d at = guess;
    for (int iteration = 0; iteration < 20; ++iteration) {
        cv::Mat window;
        cv::getRectSubPix(smooth, {2 * kHalf + 1, 2 * kHalf + 1}, cv::Point2f(at), window, CV_32F);
        cv::Mat values;
        window.reshape(1, window.rows * window.cols).convertTo(values, CV_64F);
        cv::Mat c;
        cv::solve(design, values, c, cv::DECOMP_SVD);
        const cv::Matx22d hessian(2 * c.at<double>(3), c.at<double>(4), c.at<double>(4), 2 * c.at<double>(5));
        const cv::Vec2d step = hessian.inv() * cv::Vec2d(-c.at<double>(1), -c.at<double>(2));
        at += cv::Point2d(step[0], step[1]);
        if (cv::norm(step) < 1e-4 || cv::norm(at - guess) > 4.0)
            break;
    }
    return at;
}

bool inside(cv::Point2d p, cv::Size size, double margin)
{
    return p.x >= margin && p.y >= margin && p.x < size.width - margin && p.y < size.height - margin;
}

// The kit's view of one synthetic frame: raw halves masked as the capture
// worker does, then rectified by the stereo camera with the module's
// calibration, settings as in the module's configuration file.
struct RectifiedPair
{
    cv::Mat left;
    cv::Mat right;
    cv::Mat P;
};

RectifiedPair rectifiedThroughTheKit(const SyntheticStereoModule& module, int frameIndex)
{
    RectifyProbe camera;
    camera.calibrate(module.rig().calibParams(false), module.rig().calibParams(true));
    camera.FrameSize = module.rawSize();
    camera.setRectFrameSize(kRectSize);
    EXPECT_TRUE(camera.setFieldOfView(kHFov));
    EXPECT_TRUE(camera.setDepthMode(2));
    camera.prepareRectification(camera.FrameSize.width / 1856.0f);

    const cv::Mat frame = module.renderFrame(frameIndex);
    const int half = frame.cols / 2;
    cv::Mat left = frame.colRange(0, half).clone();
    cv::Mat right = frame.colRange(half, 2 * half).clone();
    convertRawFisheyeImage(frame.cols >> 2, left, right);
    camera.feed(left, right, std::chrono::microseconds(frameIndex));

    RectifiedPair pair;
    cv::Mat centre;
    EXPECT_TRUE(camera.getRectStereoFrame(pair.left, pair.right, centre));
    pair.P = camera.m_rectifyCameraMatrix.clone();
    return pair;
}

// Checks every board corner both eyes see: where the kit's rectified views
// show it against where the pinhole model with P puts it.
void expectCornersWherePinholePredicts(const SyntheticStereoModule& module, int frameIndex)
{
    const RectifiedPair pair = rectifiedThroughTheKit(module, frameIndex);
    const double t = SyntheticStereoModule::timeOf(frameIndex);
    const cv::Mat greyViews[2] = {grey(pair.left), grey(pair.right)};
    int checked = 0;
    double worst = 0.0;
    for (const cv::Vec3d& corner : module.scene().boardCorners(t)) {
        if (!module.visibleFrom(corner, false, t) || !module.visibleFrom(corner, true, t))
            continue;
        for (int eye = 0; eye < 2; ++eye) {
            const cv::Point2d predicted = module.rectifiedPixel(corner, eye == 1, kRectSize, kHFov);
            ASSERT_TRUE(inside(predicted, kRectSize, 10)) << predicted;
            const cv::Point2d found = locateCorner(greyViews[eye], predicted);
            const double error = cv::norm(found - predicted);
            worst = std::max(worst, error);
            EXPECT_LT(error, 0.5) << "eye " << eye << " corner " << corner << " predicted " << predicted
                                  << " found " << found;
            ++checked;
        }
    }
    EXPECT_GE(checked, 2 * 50);
    ::testing::Test::RecordProperty("worst_corner_error_px_frame_" + std::to_string(frameIndex),
                                    std::to_string(worst));
}

} // namespace

TEST(SyntheticModule, CalibrationFileIsTheCameraOwnFormat)
{
    const SyntheticStereoModule module;
    TempDir dir;
    const std::string written = dir.file("synthetic.yml");
    ASSERT_TRUE(module.rig().writeCalibrationFile(written, kRectSize));

    // The file's keys are the format's, in its write order.
    std::vector<std::string> keys;
    {
        cv::FileStorage fs(written, cv::FileStorage::READ);
        ASSERT_TRUE(fs.isOpened());
        keys = fs.root().keys();
    }
    std::vector<std::string> expectedKeys;
    for (const korvane::CalibrationFormat::Entry& entry : korvane::CalibrationFormat::writeOrder())
        expectedKeys.emplace_back(entry.key);
    EXPECT_EQ(keys, expectedKeys);

    RectifyProbe loaded;
    ASSERT_TRUE(loaded.loadCalibParams(written));
    EXPECT_EQ(loaded.getSerialNumber(), module.rig().serialNumber());
    EXPECT_EQ(loaded.getPosNumber(), module.rig().positionNumber());
    for (bool right : {false, true}) {
        std::vector<cv::Mat> params;
        loaded.getCalibParams(params, right);
        const std::vector<cv::Mat> expected = module.rig().calibParams(right);
        for (size_t i = 0; i < expected.size(); ++i)
            EXPECT_TRUE(identical(params[i], expected[i])) << "eye " << right << " matrix " << i;
    }

    RectifyProbe saver;
    saver.calibrate(module.rig().calibParams(false), module.rig().calibParams(true));
    saver.setSerialNumber(module.rig().serialNumber());
    saver.setPosNumber(module.rig().positionNumber());
    saver.setRectFrameSize(kRectSize);
    const std::string saved = dir.file("saved.yml");
    ASSERT_TRUE(saver.saveCalibParams(saved));
    EXPECT_EQ(readFile(written), readFile(saved));
}

TEST(SyntheticModule, TranslationRelatesTheEyesAndIsTheBaseline)
{
    const SyntheticStereoModule module;
    const auto& left = module.rig().eye(false);
    const auto& right = module.rig().eye(true);
    const cv::Vec3d t = module.rig().translationMillimetres();
    EXPECT_NEAR(0.001 * cv::norm(t), 0.06, 1e-12);
    EXPECT_NEAR(module.rig().baselineMetres(), 0.06, 1e-12);
    // X_right = R X_left + T for a point seen by both eyes (millimetres).
    const cv::Vec3d point(0.3, -0.2, 1.5);
    const cv::Vec3d inLeft = left.rotation().t() * (point - left.centre()) * 1000.0;
    const cv::Vec3d inRight = right.rotation().t() * (point - right.centre()) * 1000.0;
    const cv::Matx33d relative = right.rotation().t() * left.rotation();
    EXPECT_LT(cv::norm(relative * inLeft + t - inRight), 1e-9);
}

TEST(SyntheticModule, PixelRaysProjectBackToTheirPixels)
{
    const SyntheticStereoModule module;
    for (double scale : {1.0, 0.5})
        for (bool right : {false, true}) {
            const auto& eye = module.rig().eye(right);
            int traced = 0;
            int tried = 0;
            for (int v = 0; v < 800 * scale; v += 23)
                for (int u = 0; u < 928 * scale; u += 29) {
                    ++tried;
                    cv::Vec3d direction;
                    if (!eye.pixelRay({double(u), double(v)}, scale, direction))
                        continue;
                    EXPECT_NEAR(cv::norm(direction), 1.0, 1e-12);
                    cv::Point2d back;
                    ASSERT_TRUE(eye.project(eye.centre() + direction * 2.0, scale, back));
                    EXPECT_LT(cv::norm(back - cv::Point2d(u, v)), 1e-6) << u << "," << v;
                    ++traced;
                }
            EXPECT_GT(traced, tried * 3 / 4); // all but the corners outside the lens's field
        }
}

TEST(SyntheticModule, FramesAreDeterministicAndSomeObjectsMove)
{
    const SyntheticStereoModule module(kHalfRaw);
    const cv::Mat first = module.renderFrame(0);
    ASSERT_EQ(first.size(), kHalfRaw);
    ASSERT_EQ(first.type(), CV_8UC3);
    EXPECT_TRUE(identical(first, module.renderFrame(0)));
    EXPECT_EQ(first.at<cv::Vec3b>(0, 0), cv::Vec3b(0, 0, 0)); // outside the lens's field
    EXPECT_NE(first.at<cv::Vec3b>(200, 232), cv::Vec3b(0, 0, 0));

    cv::Mat difference;
    cv::absdiff(first, module.renderFrame(15), difference);
    cv::Mat changed;
    cv::extractChannel(difference, changed, 0);
    const double share = cv::countNonZero(changed) / double(changed.total());
    EXPECT_GT(share, 0.003); // the sphere and the moving panel
    EXPECT_LT(share, 0.2);   // the room and the board stay
}

TEST(SyntheticModule, FullSizeFramesShowTheBoardCornersWhereTheModelProjectsThem)
{
    const SyntheticStereoModule module;
    const cv::Mat frame = module.renderFrame(0);
    ASSERT_EQ(frame.size(), cv::Size(1856, 800));
    int checked = 0;
    for (int eye = 0; eye < 2; ++eye) {
        const cv::Mat view = grey(frame.colRange(eye * 928, eye * 928 + 928));
        for (const cv::Vec3d& corner : module.scene().boardCorners(0.0)) {
            cv::Point2d predicted;
            if (!module.visibleFrom(corner, eye == 1, 0.0) ||
                !module.rig().eye(eye == 1).project(corner, 1.0, predicted))
                continue;
            const cv::Point2d found = locateCorner(view, predicted);
            EXPECT_LT(cv::norm(found - predicted), 0.5) << "eye " << eye << " " << predicted;
            ++checked;
        }
    }
    EXPECT_GE(checked, 100);
}

TEST(SyntheticModule, RectifiedCornersLandWhereThePinholeModelWithPPutsThem)
{
    const SyntheticStereoModule halfSize(kHalfRaw);
    const RectifiedPair pair = rectifiedThroughTheKit(halfSize, 0);
    const cv::Matx33d expectedP = SyntheticStereoModule::perspectiveMatrix(kRectSize, kHFov);
    EXPECT_LT(cv::norm(pair.P - cv::Mat(expectedP), cv::NORM_INF), 1e-9);
    expectCornersWherePinholePredicts(halfSize, 0);
    expectCornersWherePinholePredicts(SyntheticStereoModule(cv::Size(1856, 800)), 40);
}

// True when every point of a left-view patch (at its ground-truth depth) is
// seen by the right eye too, so the patch has a counterpart to match.
bool seenByBothEyes(const SyntheticStereoModule& module, const cv::Mat& depth, const cv::Mat& P,
                    const cv::Rect& patch, double t)
{
    const double f = P.at<double>(0, 0), cx = P.at<double>(0, 2), cy = P.at<double>(1, 2);
    for (int y = patch.y; y < patch.y + patch.height; y += 2)
        for (int x = patch.x; x < patch.x + patch.width; x += 2) {
            const double z = depth.at<float>(y, x);
            const cv::Vec3d point((x - cx) / f * z, (y - cy) / f * z, z);
            if (!module.visibleFrom(point, true, t))
                return false;
        }
    return true;
}

// Patches of the left view are looked for in the right view over rows -4
// to 4 and disparities within 8 of the ground truth: the best match must
// lie on the same row, at the true disparity. Patches across depth edges,
// without texture or hidden from the right eye are left out.
TEST(SyntheticModule, CorrespondingRowsOfTheRectifiedViewsMatch)
{
    const SyntheticStereoModule module(kHalfRaw);
    const int frameIndex = 10;
    const double t = SyntheticStereoModule::timeOf(frameIndex);
    const RectifiedPair pair = rectifiedThroughTheKit(module, frameIndex);
    const cv::Mat depth = module.renderDepth(frameIndex, kRectSize, kHFov);
    const cv::Mat left = grey(pair.left);
    const cv::Mat right = grey(pair.right);
    const double f = pair.P.at<double>(0, 0);
    const double baseline = module.rig().baselineMetres();
    constexpr int kHalfPatch = 8;
    constexpr int kRowSearch = 4;
    constexpr int kColumnSearch = 8;

    int patches = 0, sameRow = 0, trueDisparity = 0;
    std::vector<double> rowOffsets;
    for (int y = 30; y < kRectSize.height - 30; y += 16)
        for (int x = 80; x < kRectSize.width - 30; x += 16) {
            const cv::Rect patchRect(x - kHalfPatch, y - kHalfPatch, 2 * kHalfPatch + 1, 2 * kHalfPatch + 1);
            double nearest, farthest;
            cv::minMaxLoc(depth(patchRect), &nearest, &farthest);
            cv::Scalar mean, deviation;
            cv::meanStdDev(left(patchRect), mean, deviation);
            if (farthest > nearest * 1.02 || deviation[0] < 8.0 ||
                !seenByBothEyes(module, depth, pair.P, patchRect, t))
                continue;
            const double expected = f * baseline / depth.at<float>(y, x);
            const int centre = x - static_cast<int>(std::lround(expected));
            const cv::Rect searchRect(centre - kColumnSearch - kHalfPatch, y - kRowSearch - kHalfPatch,
                                      2 * (kColumnSearch + kHalfPatch) + 1, 2 * (kRowSearch + kHalfPatch) + 1);
            if ((searchRect & cv::Rect({0, 0}, kRectSize)) != searchRect)
                continue;
            cv::Mat score;
            cv::matchTemplate(right(searchRect), left(patchRect), score, cv::TM_CCOEFF_NORMED);
            cv::Point best;
            cv::minMaxLoc(score, nullptr, nullptr, nullptr, &best);
            const int rowOffset = best.y - kRowSearch;
            const int disparity = x - (centre + best.x - kColumnSearch);
            ++patches;
            sameRow += rowOffset == 0;
            trueDisparity += std::abs(disparity - expected) <= 1.0;
            if (rowOffset == 0) {
                const float above = score.at<float>(best.y - 1, best.x);
                const float at = score.at<float>(best.y, best.x);
                const float below = score.at<float>(best.y + 1, best.x);
                rowOffsets.push_back(0.5 * (above - below) / (above - 2 * at + below));
            }
        }
    ASSERT_GE(patches, 200);
    EXPECT_GE(sameRow, patches * 97 / 100) << sameRow << " of " << patches;
    EXPECT_GE(trueDisparity, patches * 95 / 100) << trueDisparity << " of " << patches;
    std::sort(rowOffsets.begin(), rowOffsets.end(),
              [](double a, double b) { return std::abs(a) < std::abs(b); });
    EXPECT_LT(std::abs(rowOffsets[rowOffsets.size() / 2]), 0.1);
    EXPECT_LT(std::abs(rowOffsets[rowOffsets.size() * 9 / 10]), 0.3);
}

TEST(SyntheticModule, GroundTruthDepthIsTheSceneDepthAlongTheAxis)
{
    const SyntheticStereoModule module(kHalfRaw);
    const cv::Mat depth = module.renderDepth(0, kRectSize, kHFov);
    ASSERT_EQ(depth.size(), kRectSize);
    ASSERT_EQ(depth.type(), CV_32FC1);
    double nearest, farthest;
    cv::minMaxLoc(depth, &nearest, &farthest);
    EXPECT_GT(nearest, 0.6);
    EXPECT_LT(farthest, 3.21);
    for (const cv::Vec3d& corner : module.scene().boardCorners(0.0)) {
        if (!module.visibleFrom(corner, false, 0.0))
            continue;
        const cv::Point2d at = module.rectifiedPixel(corner, false, kRectSize, kHFov);
        cv::Mat sample;
        cv::getRectSubPix(depth, {1, 1}, cv::Point2f(at), sample);
        EXPECT_NEAR(sample.at<float>(0, 0), corner[2], 0.002) << at;
    }
    const cv::Mat later = module.renderDepth(15, kRectSize, kHFov);
    EXPECT_GT(cv::countNonZero(cv::abs(later - depth) > 0.01), 1000);
}

TEST(SyntheticModule, SetWriterWritesAPlayableLosslessSequenceAndItsFiles)
{
    TempDir dir;
    SyntheticSetWriter::Options options;
    options.rawSize = kHalfRaw;
    options.frameCount = 2;
    SyntheticSetWriter writer(options);
    int progress = 0;
    writer.onProgress([&](int done) { progress = done; });
    std::string error;
    ASSERT_TRUE(writer.write(dir.path() + "/set", error)) << error;
    EXPECT_EQ(progress, 2);

    const SyntheticStereoModule module(kHalfRaw);
    cv::VideoCapture video(dir.file("set/frames/frame_%04d.png"), cv::CAP_IMAGES);
    ASSERT_TRUE(video.isOpened());
    for (int i = 0; i < 2; ++i) {
        cv::Mat frame;
        ASSERT_TRUE(video.read(frame)) << i;
        EXPECT_TRUE(identical(frame, module.renderFrame(i))) << i;
        const cv::Mat depth = cv::imread(dir.file("set/depth/depth_000" + std::to_string(i) + ".tiff"),
                                         cv::IMREAD_UNCHANGED);
        EXPECT_TRUE(identical(depth, module.renderDepth(i, kRectSize, kHFov))) << i;
    }
    cv::Mat none;
    EXPECT_FALSE(video.read(none));

    RectifyProbe camera;
    ASSERT_TRUE(camera.loadConfig(dir.file("set/config.yml")));
    EXPECT_EQ(camera.FrameSize, kHalfRaw);
    EXPECT_EQ(camera.getRectFrameSize(), kRectSize);
    EXPECT_EQ(camera.getFieldOfView(), kHFov);
    EXPECT_EQ(camera.getDepthMode(), 2);
    EXPECT_EQ(camera.getRawFrameRate(), 30.0f);
    EXPECT_TRUE(camera.loadCalibParams(dir.file("set/calibration.yml")));
    EXPECT_TRUE(std::filesystem::exists(dir.file("set/manifest.yml")));
}

TEST(SyntheticModule, SetWriterReportsADirectoryItCannotCreate)
{
    TempDir dir;
    const std::string blocker = dir.write("file", "x");
    SyntheticSetWriter::Options options;
    options.frameCount = 1;
    std::string error;
    EXPECT_FALSE(SyntheticSetWriter(options).write(blocker + "/set", error));
    EXPECT_NE(error.find("cannot create"), std::string::npos) << error;
}
