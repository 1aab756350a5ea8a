// The device camera on virtual modules: calibration from flash at
// construction, the temporary file, the destructor and the calibration
// round trip through flash.
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include "DeviceLogLines.h"
#include "DeviceTestSupport.h"
#include "Extension_Unit_Class/camera_api.h"
#include "camera/KorvaneCamera.h"
#include "support/CaptureStream.h"

using namespace korvane::test;
using korvane::emulator::VirtualModule;

namespace {

using KorvaneCameraOnModule = DeviceTest;

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// Both eyes' calibration vectors, deep-copied.
std::vector<cv::Mat> calibrationOf(StereoCamera& camera)
{
    std::vector<cv::Mat> params;
    camera.getCalibParams(params, false);
    camera.getCalibParams(params, true);
    for (cv::Mat& m : params)
        m = m.clone();
    return params;
}

bool sameMatrices(const std::vector<cv::Mat>& a, const std::vector<cv::Mat>& b)
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (a[i].size() != b[i].size() || a[i].type() != b[i].type())
            return false;
        if (!a[i].empty() && cv::norm(a[i], b[i], cv::NORM_INF) != 0.0)
            return false;
    }
    return true;
}

TEST_F(KorvaneCameraOnModule, LoadsTheCalibrationKeptInFlash)
{
    VirtualModule& module = addModule(0);
    const std::string file = work().file("factory.yml");
    writeCalibrationFile(file, 4242, 7);
    loadCalibrationBlock(module, readFile(file));

    StereoCamera reference(97);
    ASSERT_TRUE(reference.loadCalibParams(file));

    std::string out;
    {
        CaptureStream capture(1);
        KorvaneCamera camera(0);
        out = capture.text();
        EXPECT_EQ(camera.getSerialNumber(), 4242);
        EXPECT_EQ(camera.getPosNumber(), 7);
        EXPECT_TRUE(sameMatrices(calibrationOf(camera), calibrationOf(reference)));
        EXPECT_EQ(camera.getRawFrameSize(), cv::Size(1856, 800));
        EXPECT_EQ(camera.getRawFrameRate(), 30.0f);
        EXPECT_EQ(camera.getDeviceNode(), 0);
        EXPECT_TRUE(temporaryCalibrationFiles().empty());
    }
    EXPECT_TRUE(contains(out, kLoaded)) << out;
    EXPECT_FALSE(contains(out, "[ERROR]")) << out;
}

TEST_F(KorvaneCameraOnModule, WithoutAModuleTheCameraStillTakesACalibrationFromDisk)
{
    std::string out;
    {
        CaptureStream capture(1);
        KorvaneCamera camera(0);
        out = capture.text();
        EXPECT_TRUE(temporaryCalibrationFiles().empty());
        EXPECT_FALSE(camera.isOpened());
        EXPECT_TRUE(camera.loadCalibParams(sampleCalibrationPath()));
        EXPECT_EQ(camera.getSerialNumber(), 1001);
    }
    EXPECT_EQ(out, "Cannot detect any korvane camera!\n" +
                       errorLine("read to tmp file failed, maybe mkstemp file error!\n") + kCannotGet);
}

TEST_F(KorvaneCameraOnModule, BlockThatIsNotAParameterFileIsRefused)
{
    VirtualModule& module = addModule(0);
    loadCalibrationBlock(module, std::string("this is not a parameter file\n") + std::string(4067, '\0'));
    std::string out;
    std::string err;
    {
        CaptureStream errors(2);
        CaptureStream capture(1);
        KorvaneCamera camera(0);
        out = capture.text();
        err = errors.text();
        EXPECT_EQ(camera.getSerialNumber(), 0);
    }
    EXPECT_EQ(out, errorLine("load tmp file failed, temp file permission error!\n") +
                       errorLine("The calibration block in flash is not a valid calibration file: it holds no "
                                 "calibration parameters.\n") +
                       kCannotGet);
    EXPECT_TRUE(temporaryCalibrationFiles().empty());
}

TEST_F(KorvaneCameraOnModule, ErasedFlashIsRefused)
{
    addModule(0); // a new module's flash is erased: 0xFF throughout
    std::string out;
    {
        CaptureStream errors(2);
        CaptureStream capture(1);
        KorvaneCamera camera(0);
        out = capture.text();
    }
    EXPECT_TRUE(contains(out, errorLine("load tmp file failed, temp file permission error!\n") +
                                  errorLine("The calibration block in flash is not a valid calibration file: the "
                                            "block is erased (every byte is 0xFF).\n") +
                                  kCannotGet))
        << out;
    EXPECT_TRUE(temporaryCalibrationFiles().empty());
}

TEST_F(KorvaneCameraOnModule, WorkingDirectoryWhereNoFileCanBeMade)
{
    VirtualModule& module = addModule(0);
    const std::string file = work().file("factory.yml");
    writeCalibrationFile(file, 5, 1);
    loadCalibrationBlock(module, readFile(file));
    // A removed working directory refuses new files to root as well.
    const std::string gone = work().file("gone");
    std::filesystem::create_directory(gone);
    std::filesystem::current_path(gone);
    std::filesystem::remove(gone);

    std::string out;
    {
        CaptureStream capture(1);
        KorvaneCamera camera(0);
        out = capture.text();
        EXPECT_EQ(camera.getSerialNumber(), 0);
    }
    std::filesystem::current_path(work().path());
    EXPECT_EQ(out, errorLine("mkstemp file error!\n") + kCannotGet);
    EXPECT_FALSE(std::filesystem::exists(gone));
    EXPECT_TRUE(temporaryCalibrationFiles().empty());
}

TEST_F(KorvaneCameraOnModule, DestructorReleasesTheCameraList)
{
    addModule(0);
    std::string out;
    {
        auto camera = std::make_unique<KorvaneCamera>(0);
        int count = 0;
        ASSERT_EQ(Camera_Count(&count), 0);
        _Device_Point_* handle = Camera_Device_Point_Init(0);
        EXPECT_NE(handle, nullptr);
        Camera_Device_Point_UnInit(&handle);
        CaptureStream capture(1);
        camera.reset();
        out = capture.text();
    }
    EXPECT_EQ(out, kReleased);
    EXPECT_EQ(Camera_Device_Point_Init(0), nullptr) << "the list is gone";
}

TEST_F(KorvaneCameraOnModule, CalibrationRoundTripThroughFlash)
{
    VirtualModule& module = addModule(2);
    const std::string file = work().file("calibration.yml");
    writeCalibrationFile(file, 31337, 3);
    ASSERT_LE(std::filesystem::file_size(file), 4096u);
    StereoCamera reference(97);
    ASSERT_TRUE(reference.loadCalibParams(file));

    {
        CaptureStream capture(1);
        KorvaneCamera writer(2);
        EXPECT_EQ(writer.getSerialNumber(), 0) << "the flash held no calibration yet";
        EXPECT_TRUE(writer.updateCalibParams2Flash(file));
        const std::string out = capture.text();
        EXPECT_TRUE(contains(out, "Start Updating CalibParams ...\ndone!\n")) << out;
    }
    const std::string text = readFile(file);
    std::vector<std::uint8_t> expected(4096, 0);
    std::copy(text.begin(), text.end(), expected.begin());
    EXPECT_EQ(calibrationBlock(module), expected);

    std::string out;
    {
        CaptureStream capture(1);
        KorvaneCamera reader(2);
        out = capture.text();
        EXPECT_EQ(reader.getSerialNumber(), 31337);
        EXPECT_EQ(reader.getPosNumber(), 3);
        EXPECT_TRUE(sameMatrices(calibrationOf(reader), calibrationOf(reference)));
    }
    EXPECT_TRUE(contains(out, kLoaded)) << out;
}

TEST_F(KorvaneCameraOnModule, ConfigurationFileSetsNodeAndLogLevel)
{
    VirtualModule& module = addModule(1);
    const std::string file = work().file("factory.yml");
    writeCalibrationFile(file, 77, 2);
    loadCalibrationBlock(module, readFile(file));

    StereoCamera settings(97);
    ASSERT_TRUE(settings.loadConfig(std::string(KORVANE_SOURCE_DIR) + "/data/sample_config.yml"));
    const std::string config = work().file("config.yml");
    {
        cv::FileStorage fs(KORVANE_SOURCE_DIR "/data/sample_config.yml", cv::FileStorage::READ);
        cv::FileStorage out(config, cv::FileStorage::WRITE);
        for (const cv::FileNode& node : fs.root()) {
            cv::Mat m;
            node >> m;
            if (node.name() == "DeviceNode")
                m = (cv::Mat_<double>(1, 1) << 1);
            if (node.name() == "LogLevel")
                m = (cv::Mat_<double>(1, 1) << 0);
            if (node.name() == "FrameSize")
                m = (cv::Mat_<double>(1, 2) << 928, 400);
            out << node.name() << m;
        }
    }

    std::string out;
    {
        CaptureStream capture(1);
        KorvaneCamera camera(config);
        out = capture.text();
        EXPECT_EQ(camera.getDeviceNode(), 1);
        EXPECT_EQ(camera.getLogLevel(), 0);
        EXPECT_EQ(camera.getSerialNumber(), 77) << "loaded from the module on /dev/video1";
        EXPECT_EQ(camera.getRawFrameSize(), cv::Size(928, 400));
    }
    EXPECT_FALSE(contains(out, "[INFO]")) << "log level 0 keeps information quiet: " << out;
}

TEST_F(KorvaneCameraOnModule, DefaultConstructorUsesNodeZero)
{
    VirtualModule& module = addModule(0);
    const std::string file = work().file("factory.yml");
    writeCalibrationFile(file, 12, 4);
    loadCalibrationBlock(module, readFile(file));
    CaptureStream capture(1);
    KorvaneCamera camera;
    EXPECT_EQ(camera.getDeviceNode(), 0);
    EXPECT_EQ(camera.getPosNumber(), 4);
}

TEST_F(KorvaneCameraOnModule, IdentificationThroughTheCamera)
{
    korvane::emulator::ModuleConfig config = korvane::emulator::Camera_Module("2620", 0);
    config.vendorId = 1234;
    config.bcdDevice = "256";
    config.serial = "A1";
    addModule(config);
    CaptureStream capture(1);
    KorvaneCamera camera(0);
    std::string version;
    EXPECT_TRUE(camera.checkFirmwareVersion(version));
    EXPECT_EQ(version, "256-256-1234-A1");
}

TEST_F(KorvaneCameraOnModule, MountingRotationOfAnUnknownAxisIsEmpty)
{
    EXPECT_TRUE(getRotationMatrix('q', 1.0f).empty());
    EXPECT_TRUE(getTranslationMatrix('q', 1.0f, cv::Mat()).empty());
}

} // namespace
