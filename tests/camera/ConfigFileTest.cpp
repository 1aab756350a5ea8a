#include <gtest/gtest.h>

#include <sys/stat.h>

#include "CameraTestSupport.h"
#include "support/CaptureStream.h"
#include "support/TempDir.h"

using namespace korvane::test;

namespace {

class ConfigFile : public ::testing::Test
{
protected:
    // Loads a file made of the given nodes into the fresh camera; returns the
    // result and keeps what was written to standard error.
    bool load(const std::vector<std::string>& nodes)
    {
        const std::string file = dir.write("config.yml", yamlFile(nodes));
        bool result = false;
        err = stderrOf([&] { result = camera.loadConfig(file); });
        return result;
    }

    bool loadBytes(const std::string& bytes, const std::string& name = "config.yml")
    {
        path = dir.write(name, bytes);
        bool result = true;
        err = stderrOf([&] { result = camera.loadConfig(path); });
        return result;
    }

    static std::string device() { return yamlMatrix("DeviceNode", 1, 1, {1}); }

    TempDir dir;
    Probe camera{kAbsentDevice};
    std::string err;
    std::string path;
};

} // namespace

TEST_F(ConfigFile, OnlyDeviceNodeLoadsWithDefaults)
{
    camera.setLogLevel(0);
    ASSERT_TRUE(load({device()}));
    EXPECT_EQ(err, "");
    EXPECT_EQ(camera.getDeviceNode(), 1);
    EXPECT_EQ(camera.getLogLevel(), 1);
    EXPECT_EQ(camera.getRawFrameSize(), cv::Size(1856, 800));
    EXPECT_EQ(camera.getRectFrameSize(), cv::Size(464, 0));
    EXPECT_EQ(camera.getRawFrameRate(), 30.0f);
    EXPECT_EQ(camera.getFieldOfView(), 90.0);
    EXPECT_EQ(camera.Threshold, 120);
    EXPECT_EQ(camera.m_transmode, -1);
    EXPECT_EQ(camera.getDepthMode(), 1);
}

TEST_F(ConfigFile, AbsentRectifiedSizeTakesHalfTheObjectsOwnRectifiedHeight)
{
    camera.setRectFrameSize(cv::Size(640, 480));
    ASSERT_TRUE(load({device(), yamlMatrix("FrameSize", 1, 2, {928, 400})}));
    EXPECT_EQ(camera.getRectFrameSize(), cv::Size(232, 240));
}

TEST_F(ConfigFile, EveryKeyIsLoaded)
{
    ASSERT_TRUE(load({
        yamlMatrix("LogLevel", 1, 1, {2}),
        yamlMatrix("DeviceNode", 1, 1, {4}),
        yamlMatrix("FrameSize", 1, 2, {928, 400}),
        yamlMatrix("RectifyFrameSize", 1, 2, {640, 480}),
        yamlMatrix("FrameRate", 1, 1, {25}),
        yamlMatrix("Threshold", 1, 1, {80}),
        yamlMatrix("Algorithm", 1, 1, {1}),
        yamlMatrix("IpLastSegment", 1, 1, {42}),
        yamlMatrix("hFov", 1, 1, {100.5}),
        yamlMatrix("Transrate", 1, 1, {12.5}),
        yamlMatrix("Transmode", 1, 1, {3}),
        yamlMatrix("Depthmode", 1, 1, {2}),
    }));
    EXPECT_EQ(err, "");
    EXPECT_EQ(camera.getLogLevel(), 2);
    EXPECT_EQ(camera.getDeviceNode(), 4);
    EXPECT_EQ(camera.getRawFrameSize(), cv::Size(928, 400));
    EXPECT_EQ(camera.getRectFrameSize(), cv::Size(640, 480));
    EXPECT_EQ(camera.getRawFrameRate(), 25.0f);
    EXPECT_EQ(camera.Threshold, 80);
    EXPECT_EQ(camera.getMatchingAlgorithm(), 1);
    EXPECT_EQ(camera.IpLastSegment, 42);
    EXPECT_EQ(camera.getFieldOfView(), 100.5);
    EXPECT_EQ(camera.m_transrate, 12.5);
    EXPECT_EQ(camera.m_transmode, 3);
    EXPECT_EQ(camera.getDepthMode(), 2);
}

TEST_F(ConfigFile, FieldOfViewOutsideSixtyToHundredFortyFallsBackToNinety)
{
    ASSERT_TRUE(load({device(), yamlMatrix("hFov", 1, 1, {150})}));
    EXPECT_EQ(camera.getFieldOfView(), 90.0);
    EXPECT_EQ(err, "fov=150 must be set to 60 ~ 140（Angle） (default 90)\n");
    ASSERT_TRUE(load({device(), yamlMatrix("hFov", 1, 1, {59.5})}));
    EXPECT_EQ(camera.getFieldOfView(), 90.0);
    EXPECT_EQ(err, "fov=59.5 must be set to 60 ~ 140（Angle） (default 90)\n");
}

TEST_F(ConfigFile, FieldOfViewBoundsAreAccepted)
{
    ASSERT_TRUE(load({device(), yamlMatrix("hFov", 1, 1, {60})}));
    EXPECT_EQ(camera.getFieldOfView(), 60.0);
    ASSERT_TRUE(load({device(), yamlMatrix("hFov", 1, 1, {140})}));
    EXPECT_EQ(camera.getFieldOfView(), 140.0);
    EXPECT_EQ(err, "");
}

TEST_F(ConfigFile, TransmissionRateAboveTheFrameRateIsCapped)
{
    ASSERT_TRUE(load({device(), yamlMatrix("FrameRate", 1, 1, {30}), yamlMatrix("Transrate", 1, 1, {40})}));
    EXPECT_EQ(camera.m_transrate, 30.0);
    EXPECT_EQ(err, "m_transrate must be set to lower than m_frameRate (default m_frameRate) \n");
    ASSERT_TRUE(load({device(), yamlMatrix("FrameRate", 1, 1, {30}), yamlMatrix("Transrate", 1, 1, {30})}));
    EXPECT_EQ(camera.m_transrate, 30.0);
    EXPECT_EQ(err, "");
}

TEST_F(ConfigFile, TransmissionModeOutsideMinusOneToFourBecomesMinusOne)
{
    for (double mode : {5.0, -2.0}) {
        ASSERT_TRUE(load({device(), yamlMatrix("Transmode", 1, 1, {mode})}));
        EXPECT_EQ(camera.m_transmode, -1) << mode;
        EXPECT_EQ(err, "m_transmode must be set to -1~4 (default -1) \n");
    }
    ASSERT_TRUE(load({device(), yamlMatrix("Transmode", 1, 1, {4})}));
    EXPECT_EQ(camera.m_transmode, 4);
}

TEST_F(ConfigFile, DepthModeOtherThanOneOrTwoBecomesOneWithTheTransmodeMessage)
{
    EXPECT_TRUE(camera.setDepthMode(2));
    ASSERT_TRUE(load({device(), yamlMatrix("Depthmode", 1, 1, {0})}));
    EXPECT_EQ(camera.getDepthMode(), 1);
    EXPECT_EQ(err, "m_transmode must be set to 1 or 2 (default 1) \n");
}

TEST_F(ConfigFile, MessagesComeInApplicationOrder)
{
    ASSERT_TRUE(load({device(), yamlMatrix("Depthmode", 1, 1, {3}), yamlMatrix("hFov", 1, 1, {10}),
                      yamlMatrix("Transmode", 1, 1, {9}), yamlMatrix("Transrate", 1, 1, {99})}));
    EXPECT_EQ(err, "m_transrate must be set to lower than m_frameRate (default m_frameRate) \n"
                   "m_transmode must be set to -1~4 (default -1) \n"
                   "fov=10 must be set to 60 ~ 140（Angle） (default 90)\n"
                   "m_transmode must be set to 1 or 2 (default 1) \n");
}

TEST_F(ConfigFile, FrameRateIsTruncated)
{
    ASSERT_TRUE(load({device(), yamlMatrix("FrameRate", 1, 1, {29.9})}));
    EXPECT_EQ(camera.getRawFrameRate(), 29.0f);
}

TEST_F(ConfigFile, IntegerSettingsAreTruncatedTowardZero)
{
    ASSERT_TRUE(load({yamlMatrix("DeviceNode", 1, 1, {-1.7}), yamlMatrix("Threshold", 1, 1, {99.99})}));
    EXPECT_EQ(camera.getDeviceNode(), -1);
    EXPECT_EQ(camera.Threshold, 99);
}

TEST_F(ConfigFile, MissingDeviceNodeFailsAfterTheFirstThreeSettings)
{
    ASSERT_FALSE(load({yamlMatrix("LogLevel", 1, 1, {2}), yamlMatrix("Threshold", 1, 1, {10}),
                       yamlMatrix("Algorithm", 1, 1, {1}), yamlMatrix("FrameSize", 1, 2, {928, 400}),
                       yamlMatrix("IpLastSegment", 1, 1, {9})}));
    EXPECT_EQ(err, "Invalid deviceNode!\n");
    EXPECT_EQ(camera.getLogLevel(), 2);
    EXPECT_EQ(camera.Threshold, 10);
    EXPECT_EQ(camera.getMatchingAlgorithm(), 1);
    EXPECT_EQ(camera.getRawFrameSize(), cv::Size(0, 0));
    EXPECT_EQ(camera.IpLastSegment, 15);
    EXPECT_EQ(camera.getDeviceNode(), kAbsentDevice);
}

TEST_F(ConfigFile, SavedFileHoldsExactlyTheNineKeysInOrder)
{
    camera.setSerialNumber(4711);
    const std::string file = dir.file("saved.yml");
    ASSERT_TRUE(camera.saveConfig(file));
    EXPECT_EQ(topLevelKeys(file),
              (std::vector<std::string>{"LogLevel", "DeviceNode", "FrameSize", "RectifyFrameSize",
                                        "FrameRate", "Threshold", "Algorithm", "IpLastSegment",
                                        "Reserved"}));
    cv::FileStorage fs(file, cv::FileStorage::READ);
    cv::Mat frameRate, reserved, frameSize;
    fs["FrameRate"] >> frameRate;
    fs["Reserved"] >> reserved;
    fs["FrameSize"] >> frameSize;
    EXPECT_EQ(frameRate.type(), CV_64F);
    EXPECT_EQ(frameRate.at<double>(0, 0), 4711.0); // the serial number, not the rate
    EXPECT_TRUE(sameMatrix(reserved, cv::Mat::eye(3, 3, CV_64F)));
    EXPECT_EQ(frameSize.size(), cv::Size(2, 1));
}

TEST_F(ConfigFile, RoundTripReturnsTheSavedSettingsAndTheSerialNumberAsFrameRate)
{
    camera.setLogLevel(2);
    camera.setRawFrameSize(cv::Size(928, 400));
    camera.setRectFrameSize(cv::Size(320, 240));
    camera.setSerialNumber(17);
    camera.Threshold = 60;
    EXPECT_TRUE(camera.setMatchingAlgorithm(1));
    camera.IpLastSegment = 200;
    EXPECT_TRUE(camera.setFieldOfView(120.0));
    camera.m_transmode = 2;
    EXPECT_TRUE(camera.setDepthMode(2));
    const std::string file = dir.file("roundtrip.yml");
    ASSERT_TRUE(camera.saveConfig(file));

    Probe loaded(kAbsentDevice);
    loaded.m_transmode = 1;
    EXPECT_TRUE(loaded.setDepthMode(2));
    std::string errors = stderrOf([&] { ASSERT_TRUE(loaded.loadConfig(file)); });
    EXPECT_EQ(errors, "");
    EXPECT_EQ(loaded.getLogLevel(), 2);
    EXPECT_EQ(loaded.getDeviceNode(), kAbsentDevice);
    EXPECT_EQ(loaded.getRawFrameSize(), cv::Size(928, 400));
    EXPECT_EQ(loaded.getRectFrameSize(), cv::Size(320, 240));
    EXPECT_EQ(loaded.getRawFrameRate(), 17.0f);
    EXPECT_EQ(loaded.Threshold, 60);
    EXPECT_EQ(loaded.getMatchingAlgorithm(), 1);
    EXPECT_EQ(loaded.IpLastSegment, 200);
    // Not saved: hFov falls back to its default, the others stay as they were.
    EXPECT_EQ(loaded.getFieldOfView(), 90.0);
    EXPECT_EQ(loaded.m_transmode, 1);
    EXPECT_EQ(loaded.getDepthMode(), 2);
}

TEST_F(ConfigFile, SavingIntoAMissingDirectoryFails)
{
    const std::string file = dir.file("no/such/dir/config.yml");
    bool result = true;
    const std::string errors = stderrOf([&] { result = camera.saveConfig(file); });
    EXPECT_FALSE(result);
    EXPECT_EQ(errors, "Save File: " + file + " Error!\n");
}

TEST_F(ConfigFile, MissingFileFailsWithTheReadMessage)
{
    const std::string file = dir.file("absent.yml");
    bool result = true;
    err = stderrOf([&] { result = camera.loadConfig(file); });
    EXPECT_FALSE(result);
    EXPECT_EQ(err, "Read File: " + file + " Error!\n");
}

TEST_F(ConfigFile, EmptyFileFails)
{
    EXPECT_FALSE(loadBytes(""));
    EXPECT_EQ(err, "Read A NULL File," + path + " not loaded!\n");
}

TEST_F(ConfigFile, DirectoryFails)
{
    bool result = true;
    err = stderrOf([&] { result = camera.loadConfig(dir.path()); });
    EXPECT_FALSE(result);
    EXPECT_FALSE(err.empty());
}

TEST_F(ConfigFile, BinaryFileFails)
{
    EXPECT_FALSE(loadBytes(std::string("\x00\x01\x02\xff\xfe\x7f", 6)));
    EXPECT_EQ(err, "Read A NULL File," + path + " not loaded!\n");
}

TEST_F(ConfigFile, TruncatedYamlFails)
{
    const std::string full = yamlFile({device(), yamlMatrix("FrameSize", 1, 2, {928, 400})});
    EXPECT_FALSE(loadBytes(full.substr(0, full.size() - 12)));
    EXPECT_EQ(err, "Read A NULL File," + path + " not loaded!\n");
}

TEST_F(ConfigFile, StringWhereAMatrixIsExpectedFailsAndChangesNothing)
{
    EXPECT_FALSE(loadBytes("%YAML:1.0\n---\nLogLevel: !!opencv-matrix\n   rows: 1\n   cols: 1\n"
                           "   dt: d\n   data: [ 2. ]\nDeviceNode: \"video0\"\n"));
    EXPECT_EQ(err, "Read A NULL File," + path + " not loaded!\nBad configuration file " + path +
                       ", key DeviceNode: not a matrix\n");
    EXPECT_EQ(camera.getLogLevel(), 1);
    EXPECT_EQ(camera.getDeviceNode(), kAbsentDevice);
}

TEST_F(ConfigFile, PlainNumberWhereAMatrixIsExpectedFails)
{
    EXPECT_FALSE(loadBytes("%YAML:1.0\n---\nDeviceNode: 1\n"));
    EXPECT_EQ(err, "Read A NULL File," + path + " not loaded!\nBad configuration file " + path +
                       ", key DeviceNode: not a matrix\n");
}

TEST_F(ConfigFile, SizeWithOneElementFails)
{
    EXPECT_FALSE(load({device(), yamlMatrix("FrameSize", 1, 1, {928})}));
    EXPECT_EQ(err, "Read A NULL File," + dir.file("config.yml") + " not loaded!\nBad configuration file " +
                       dir.file("config.yml") + ", key FrameSize: value is not a finite number in range\n");
    EXPECT_EQ(camera.getRawFrameSize(), cv::Size(0, 0));
}

TEST_F(ConfigFile, MatrixWhoseDataDoesNotMatchItsSizeFails)
{
    EXPECT_FALSE(load({yamlMatrix("DeviceNode", 100000, 100000, {1})}));
    EXPECT_EQ(err, "Read A NULL File," + dir.file("config.yml") + " not loaded!\nBad configuration file " +
                       dir.file("config.yml") + ", key DeviceNode: data does not hold rows x cols numbers\n");
}

// A 0 x 0 matrix holds no value: a key of the wrong form, never a read of
// its missing first element.
TEST_F(ConfigFile, EmptyMatrixForAFloatingPointKeyFailsWithTheLoadersLineFirst)
{
    for (const char* key : {"hFov", "Transrate"}) {
        SCOPED_TRACE(key);
        EXPECT_FALSE(load({device(), yamlMatrix(key, 0, 0, {})}));
        EXPECT_EQ(err, "Read A NULL File," + dir.file("config.yml") + " not loaded!\nBad configuration file " +
                           dir.file("config.yml") + ", key " + key + ": value is not a finite number in range\n");
    }
}

TEST_F(ConfigFile, HugeOrNonFiniteValuesFail)
{
    EXPECT_FALSE(load({yamlMatrix("DeviceNode", 1, 1, {1e300})}));
    EXPECT_NE(err.find("key DeviceNode"), std::string::npos);
    EXPECT_FALSE(loadBytes("%YAML:1.0\n---\nDeviceNode: !!opencv-matrix\n   rows: 1\n   cols: 1\n"
                           "   dt: d\n   data: [ 1. ]\nhFov: !!opencv-matrix\n   rows: 1\n"
                           "   cols: 1\n   dt: d\n   data: [ .Nan ]\n"));
    EXPECT_NE(err.find("key hFov"), std::string::npos);
    EXPECT_EQ(camera.getFieldOfView(), 90.0);
}

TEST_F(ConfigFile, UnreadableFileFails)
{
    const std::string file = dir.write("secret.yml", yamlFile({device()}));
    ASSERT_EQ(chmod(file.c_str(), 0), 0);
    ASSERT_EQ(chmod(dir.path().c_str(), 0755), 0);
    const bool failedWithMessage = runUnprivileged([&] {
        bool result = true;
        const std::string errors = stderrOf([&] { result = camera.loadConfig(file); });
        return !result && errors == "Read File: " + file + " Error!\n";
    });
    EXPECT_TRUE(failedWithMessage);
}

TEST_F(ConfigFile, OtherFileFormatsFollowTheFileName)
{
    camera.setSerialNumber(9);
    for (const char* name : {"config.xml", "config.json", "config.yml.gz"}) {
        const std::string file = dir.file(name);
        ASSERT_TRUE(camera.saveConfig(file)) << name;
        Probe loaded(kAbsentDevice);
        ASSERT_TRUE(loaded.loadConfig(file)) << name;
        EXPECT_EQ(loaded.getRawFrameRate(), 9.0f) << name;
    }
}
