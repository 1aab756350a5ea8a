#include <cmath>
#include <cstddef>
#include <cstring>

#include <gtest/gtest.h>

#include <opencv2/imgcodecs.hpp>

#include "CameraTestSupport.h"
#include "support/CaptureStream.h"
#include "support/TempDir.h"

using namespace korvane::test;

namespace {

const std::string kSizeError =
    "\033[1m\033[31m[StereoCamera][ERROR] Image size must be 1856×800 or 928×400!\n\033[0m";

// A camera whose configuration load failed: it has neither log nor capture object.
std::unique_ptr<Probe> cameraWithoutCapture(const TempDir& dir)
{
    const std::string file = dir.write("nodevice.yml", yamlFile({yamlMatrix("LogLevel", 1, 1, {1})}));
    std::unique_ptr<Probe> camera;
    stderrOf([&] { camera = std::make_unique<Probe>(file); });
    return camera;
}

} // namespace

TEST(StereoCamera, FreshObjectHasTheDocumentedDefaults)
{
    Probe camera(kAbsentDevice);
    EXPECT_EQ(camera.getRawFrameRate(), 30.0f);
    EXPECT_EQ(camera.Threshold, 120);
    EXPECT_EQ(camera.IpLastSegment, 15);
    EXPECT_EQ(camera.m_transmode, -1);
    EXPECT_EQ(camera.getFieldOfView(), 90.0);
    EXPECT_EQ(camera.getDepthMode(), 1);
    EXPECT_EQ(camera.getLogLevel(), 1);
    EXPECT_EQ(camera.m_fisheyeRadius, 0);
    EXPECT_EQ(camera.getMatchingAlgorithm(), 0);
    EXPECT_EQ(camera.getDeviceNode(), kAbsentDevice);
    EXPECT_EQ(camera.getPosNumber(), 0);
    EXPECT_EQ(camera.getSerialNumber(), 0);
    EXPECT_FALSE(camera.m_shareMemory);
    EXPECT_FALSE(camera.m_transmit);
    EXPECT_FALSE(camera.m_computeRunning);
    EXPECT_EQ(camera.m_maxDepth, 1.0f);
    EXPECT_EQ(camera.m_minDepth, 0.05f);
    EXPECT_EQ(camera.m_transrate, 0.0);
    EXPECT_EQ(camera.m_defaultFov, 90.0);
    EXPECT_EQ(camera.m_lonLatDivisor, 222.0);
    EXPECT_EQ(camera.m_panoramicAngle, 180.0);
    EXPECT_EQ(camera.getRawFrameSize(), cv::Size(0, 0));
    EXPECT_EQ(camera.getRectFrameSize(), cv::Size(0, 0));
    EXPECT_EQ(camera.m_logName, "StereoCamera");
    ASSERT_NE(camera.m_log, nullptr);
    EXPECT_EQ(camera.m_log->tag(), "[StereoCamera]");
    EXPECT_EQ(camera.m_log->level(), 1);
    ASSERT_NE(camera.m_capture, nullptr);
}

TEST(StereoCamera, DefaultConstructorUsesDeviceNodeZero)
{
    Probe camera;
    EXPECT_EQ(camera.getDeviceNode(), 0);
    EXPECT_EQ(camera.getLogLevel(), 1);
    EXPECT_NE(camera.m_capture, nullptr);
}

TEST(StereoCamera, AbsentDeviceLeavesTheObjectClosed)
{
    Probe camera(kAbsentDevice);
    EXPECT_FALSE(camera.isOpened());
}

TEST(StereoCamera, AcceptedRawSizesAreStoredAndSetTheFisheyeRadius)
{
    Probe camera(kAbsentDevice);
    EXPECT_TRUE(camera.setRawFrameSize(cv::Size(1856, 800)));
    EXPECT_EQ(camera.getRawFrameSize(), cv::Size(1856, 800));
    EXPECT_EQ(camera.m_fisheyeRadius, 464);
    EXPECT_TRUE(camera.setRawFrameSize(cv::Size(928, 400)));
    EXPECT_EQ(camera.getRawFrameSize(), cv::Size(928, 400));
    EXPECT_EQ(camera.m_fisheyeRadius, 232);
}

TEST(StereoCamera, OtherRawSizesFailWithTheMessageAndChangeNothing)
{
    Probe camera(kAbsentDevice);
    ASSERT_TRUE(camera.setRawFrameSize(cv::Size(928, 400)));
    for (const cv::Size size : {cv::Size(1856, 400), cv::Size(928, 800), cv::Size(640, 480)}) {
        bool result = true;
        const std::string out = stdoutOf([&] { result = camera.setRawFrameSize(size); });
        EXPECT_FALSE(result) << size;
        EXPECT_EQ(out, kSizeError) << size;
        EXPECT_EQ(camera.getRawFrameSize(), cv::Size(928, 400));
        EXPECT_EQ(camera.m_fisheyeRadius, 232);
    }
}

TEST(StereoCamera, RawSizeWithoutCaptureObjectIsStoredAndReturnsFalse)
{
    TempDir dir;
    auto camera = cameraWithoutCapture(dir);
    ASSERT_EQ(camera->m_capture, nullptr);
    EXPECT_FALSE(camera->setRawFrameSize(cv::Size(928, 400)));
    EXPECT_EQ(camera->getRawFrameSize(), cv::Size(928, 400));
    EXPECT_EQ(camera->m_fisheyeRadius, 0);
}

TEST(StereoCamera, RawFrameRateIsStoredAndAppliedOnlyWithACaptureObject)
{
    Probe camera(kAbsentDevice);
    EXPECT_TRUE(camera.setRawFrameRate(15));
    EXPECT_EQ(camera.getRawFrameRate(), 15.0f);

    TempDir dir;
    auto closed = cameraWithoutCapture(dir);
    EXPECT_FALSE(closed->setRawFrameRate(25));
    EXPECT_EQ(closed->getRawFrameRate(), 25.0f);
}

TEST(StereoCamera, NegativeLogLevelIsStoredButReportedAsFailure)
{
    Probe camera(kAbsentDevice);
    EXPECT_FALSE(camera.setLogLevel(-1));
    EXPECT_EQ(camera.getLogLevel(), -1);
    EXPECT_TRUE(camera.setLogLevel(0));
    EXPECT_EQ(camera.getLogLevel(), 0);
}

TEST(StereoCamera, LogKeepsTheLevelItWasGivenAtConstruction)
{
    Probe camera(kAbsentDevice);
    camera.setLogLevel(-1);
    EXPECT_EQ(camera.m_log->level(), 1);
    EXPECT_EQ(stdoutOf([&] { camera.setRawFrameSize(cv::Size(1, 1)); }), kSizeError);
}

TEST(StereoCamera, RectFrameSizeIsStoredUncheckedAndReportsZeroWidth)
{
    Probe camera(kAbsentDevice);
    EXPECT_FALSE(camera.setRectFrameSize(cv::Size(0, 200)));
    EXPECT_EQ(camera.getRectFrameSize(), cv::Size(0, 200));
    EXPECT_TRUE(camera.setRectFrameSize(cv::Size(7, 0)));
    EXPECT_EQ(camera.getRectFrameSize(), cv::Size(7, 0));
}

TEST(StereoCamera, PositionAndSerialNumbersAreStored)
{
    Probe camera(kAbsentDevice);
    EXPECT_TRUE(camera.setPosNumber(2));
    EXPECT_TRUE(camera.setSerialNumber(-5));
    EXPECT_EQ(camera.getPosNumber(), 2);
    EXPECT_EQ(camera.getSerialNumber(), -5);
}

TEST(StereoCamera, StopCaptureClearsTheOpenedFlag)
{
    Probe camera(kAbsentDevice);
    camera.m_opened = true;
    ASSERT_TRUE(camera.isOpened());
    std::string out = stdoutOf([&] { EXPECT_TRUE(camera.stopCapture()); });
    EXPECT_FALSE(camera.isOpened());
    EXPECT_EQ(out, ""); // no worker to join, nothing logged
}

TEST(StereoCamera, StopStereoComputeBeforeAnyStartReturnsTrueAndLogsNothing)
{
    Probe camera(kAbsentDevice);
    camera.m_computeRunning = true;
    const std::string out = stdoutOf([&] { EXPECT_TRUE(camera.stopStereoCompute()); });
    EXPECT_FALSE(camera.m_computeRunning);
    EXPECT_EQ(out, "");
}

TEST(StereoCamera, FileConstructorTakesSettingsFromTheFile)
{
    TempDir dir;
    const std::string file = dir.write("cam.yml", yamlFile({
        yamlMatrix("LogLevel", 1, 1, {0}),
        yamlMatrix("DeviceNode", 1, 1, {kAbsentDevice}),
        yamlMatrix("FrameSize", 1, 2, {640, 480}),
        yamlMatrix("FrameRate", 1, 1, {20}),
    }));
    Probe camera(file);
    EXPECT_EQ(camera.getDeviceNode(), kAbsentDevice);
    EXPECT_EQ(camera.getLogLevel(), 0);
    ASSERT_NE(camera.m_log, nullptr);
    EXPECT_EQ(camera.m_log->level(), 0);
    ASSERT_NE(camera.m_capture, nullptr);
    // The configured size is not checked here and the radius stays unset.
    EXPECT_EQ(camera.getRawFrameSize(), cv::Size(640, 480));
    EXPECT_EQ(camera.m_fisheyeRadius, 0);
    EXPECT_EQ(camera.getRawFrameRate(), 20.0f);
    EXPECT_FALSE(camera.isOpened());
}

TEST(StereoCamera, FileConstructorReportsAFailedLoadAndStaysClosed)
{
    TempDir dir;
    const std::string file = dir.write("nodevice.yml", yamlFile({yamlMatrix("Threshold", 1, 1, {50})}));
    std::unique_ptr<Probe> camera;
    const std::string err = stderrOf([&] { camera = std::make_unique<Probe>(file); });
    EXPECT_EQ(err, "Invalid deviceNode!\nLoad " + file + " error!\n");
    EXPECT_EQ(camera->m_log, nullptr);
    EXPECT_EQ(camera->m_capture, nullptr);
    EXPECT_FALSE(camera->isOpened());
    EXPECT_EQ(camera->Threshold, 50); // applied before the device node was found missing
}

TEST(StereoCamera, FileConstructorOnAMissingFile)
{
    TempDir dir;
    const std::string file = dir.file("absent.yml");
    std::unique_ptr<Probe> camera;
    const std::string err = stderrOf([&] { camera = std::make_unique<Probe>(file); });
    EXPECT_EQ(err, "Read File: " + file + " Error!\nLoad " + file + " error!\n");
    EXPECT_FALSE(camera->isOpened());
}

TEST(StereoCamera, GettersBeforeTheWorkersExistReturnFalseWithoutBlocking)
{
    Probe camera(kAbsentDevice);
    cv::Mat a, b, c;
    std::chrono::microseconds stamp{0};
    std::vector<cv::Vec3f> points;
    std::vector<PCL> coloured;
    EXPECT_FALSE(camera.getRawFrame(a, stamp));
    EXPECT_FALSE(camera.getStereoFrame(a, b, stamp));
    EXPECT_FALSE(camera.getRectStereoFrame(a, b));
    EXPECT_FALSE(camera.getRectStereoFrame(a, b, c));
    EXPECT_FALSE(camera.getRectStereoFrame(a, b, c, stamp));
    EXPECT_FALSE(camera.getDepthFrame(a, true, stamp));
    EXPECT_FALSE(camera.getDepthFrame(a, b));
    EXPECT_FALSE(camera.getPointCloud(points, stamp));
    EXPECT_FALSE(camera.getPointCloud(coloured, stamp));
}

// Virtual table slot of a member function (Itanium C++ ABI: a pointer to a
// virtual member holds 1 + the byte offset of its slot).
template <typename Member>
std::ptrdiff_t slotOf(Member member)
{
    struct Representation
    {
        std::ptrdiff_t pointer;
        std::ptrdiff_t adjustment;
    } raw;
    static_assert(sizeof(Member) == sizeof(Representation));
    std::memcpy(&raw, &member, sizeof raw);
    EXPECT_EQ(raw.pointer % static_cast<std::ptrdiff_t>(sizeof(void*)), 1) << "not virtual";
    return (raw.pointer - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

TEST(StereoCamera, EveryPublicOperationIsVirtualInTheDocumentedSlotOrder)
{
    using S = StereoCamera;
    using us = std::chrono::microseconds;
    EXPECT_TRUE(std::has_virtual_destructor_v<S>);
    const std::vector<std::ptrdiff_t> slots = {
        slotOf(&S::isOpened),
        slotOf(&S::setLogLevel),
        slotOf(&S::setPosNumber),
        slotOf(&S::setSerialNumber),
        slotOf(&S::setRawFrameRate),
        slotOf(&S::setRawFrameSize),
        slotOf(&S::setRectFrameSize),
        slotOf(&S::setCalibParams),
        slotOf(&S::getLogLevel),
        slotOf(&S::getDeviceNode),
        slotOf(&S::getPosNumber),
        slotOf(&S::getSerialNumber),
        slotOf(&S::getRawFrameRate),
        slotOf(&S::getRawFrameSize),
        slotOf(&S::getRawFrame),
        slotOf(&S::getStereoFrame),
        slotOf(static_cast<bool (S::*)(cv::Mat&, bool, us&)>(&S::getDepthFrame)),
        slotOf(static_cast<bool (S::*)(cv::Mat&, cv::Mat&)>(&S::getDepthFrame)),
        slotOf(static_cast<bool (S::*)(std::vector<cv::Vec3f>&, us&)>(&S::getPointCloud)),
        slotOf(static_cast<bool (S::*)(std::vector<PCL>&, us&)>(&S::getPointCloud)),
        slotOf(&S::getCalibParams),
        slotOf(static_cast<bool (S::*)(cv::Mat&, cv::Mat&, cv::Mat&)>(&S::getRectStereoFrame)),
        slotOf(static_cast<bool (S::*)(cv::Mat&, cv::Mat&)>(&S::getRectStereoFrame)),
        slotOf(static_cast<bool (S::*)(cv::Mat&, cv::Mat&, cv::Mat&, us&)>(&S::getRectStereoFrame)),
        slotOf(&S::loadConfig),
        slotOf(&S::loadCalibParams),
        slotOf(&S::saveConfig),
        slotOf(&S::saveCalibParams),
        slotOf(&S::startCapture),
        slotOf(&S::startStereoCompute),
        slotOf(&S::stopStereoCompute),
        slotOf(&S::stopCapture),
    };
    // Slots 0 and 1 are the two destructor entries; the operations follow in order.
    for (size_t i = 0; i < slots.size(); ++i)
        EXPECT_EQ(slots[i], static_cast<std::ptrdiff_t>(i + 2)) << "operation " << i;
}

// The matching and view settings a configuration file sets can be set on a
// camera made on a device node, within the ranges the file allows.
TEST(StereoCameraSettings, SettersTakeTheValuesAConfigurationWouldAndRefuseOthers)
{
    Probe camera(kAbsentDevice);
    EXPECT_TRUE(camera.setMatchingAlgorithm(StereoCamera::kBlockMatching));
    EXPECT_EQ(camera.getMatchingAlgorithm(), 1);
    EXPECT_FALSE(camera.setMatchingAlgorithm(2));
    EXPECT_EQ(camera.getMatchingAlgorithm(), 1);

    EXPECT_TRUE(camera.setDepthMode(StereoCamera::kPerspectiveView));
    EXPECT_EQ(camera.getDepthMode(), 2);
    EXPECT_FALSE(camera.setDepthMode(0));
    EXPECT_FALSE(camera.setDepthMode(3));
    EXPECT_EQ(camera.getDepthMode(), 2);

    EXPECT_TRUE(camera.setFieldOfView(120.0));
    EXPECT_EQ(camera.getFieldOfView(), 120.0);
    for (double refused : {59.9, 140.1, std::nan("")})
        EXPECT_FALSE(camera.setFieldOfView(refused)) << refused;
    EXPECT_EQ(camera.getFieldOfView(), 120.0);
    EXPECT_TRUE(camera.setFieldOfView(StereoCamera::kMinFieldOfView));
    EXPECT_TRUE(camera.setFieldOfView(StereoCamera::kMaxFieldOfView));

    camera.setRectFrameSize(cv::Size(320, 240));
    EXPECT_EQ(camera.getRectFrameSize(), cv::Size(320, 240));
}

// The workers read the settings: while capture runs they stay as they are.
TEST(StereoCameraSettings, SettersRefuseWhileCaptureRuns)
{
    TempDir dir;
    const cv::Mat frame(400, 928, CV_8UC3, cv::Scalar(40, 80, 120));
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(cv::imwrite(dir.file("frame_" + std::to_string(i) + ".png"), frame));
    Probe camera(kAbsentDevice);
    camera.m_log->setLogLevel(-1);
    camera.setRawFrameSize(cv::Size(928, 400));
    ASSERT_TRUE(camera.openVideo(dir.file("frame_%d.png")));
    ASSERT_TRUE(camera.startCapture(false, false));
    EXPECT_FALSE(camera.setMatchingAlgorithm(StereoCamera::kBlockMatching));
    EXPECT_FALSE(camera.setDepthMode(StereoCamera::kPerspectiveView));
    EXPECT_FALSE(camera.setFieldOfView(100.0));
    camera.stopCapture();
    EXPECT_EQ(camera.getMatchingAlgorithm(), StereoCamera::kSemiGlobalMatching);
    EXPECT_EQ(camera.getDepthMode(), StereoCamera::kLonLatView);
    EXPECT_EQ(camera.getFieldOfView(), 90.0);
    EXPECT_TRUE(camera.setDepthMode(StereoCamera::kPerspectiveView));
}
