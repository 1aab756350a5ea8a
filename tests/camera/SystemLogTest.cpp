#include <gtest/gtest.h>

#include "camera/SystemLog.h"
#include "support/CaptureStream.h"

#include <unistd.h>

using korvane::test::stdoutOf;

namespace {

const std::string kTag = "[StereoCamera]";
const std::string kReset = "\033[0m";

std::string allSix(SystemLog& log)
{
    return stdoutOf([&] {
        log.runTimeError("e %d\n", 1);
        log.runTimeInfo("i %s\n", "x");
        log.runTimeWarning("w\n");
        log.debugTimeWarning("dw\n");
        log.debugTimeInfo("di\n");
        log.debugTimeError("de %.1f\n", 2.5);
    });
}

} // namespace

TEST(SystemLog, FreshLogHasLevelZeroTagAndFileName)
{
    SystemLog log("StereoCamera");
    EXPECT_EQ(log.level(), 0);
    EXPECT_FALSE(log.saveSwitch());
    EXPECT_EQ(log.tag(), "[StereoCamera]");
    EXPECT_EQ(log.fileName(), "[StereoCamera]RunningLog.txt");
}

TEST(SystemLog, InfoAtLevelOnePrintsGreenTagLabelTextThenReset)
{
    SystemLog log("StereoCamera");
    log.setLogLevel(1);
    const std::string out = stdoutOf([&] { log.runTimeInfo("Start capture ...\n"); });
    EXPECT_EQ(out, "\033[32m[StereoCamera][INFO] Start capture ...\n\033[0m");
}

TEST(SystemLog, LevelZeroPrintsErrorsOnly)
{
    SystemLog log("StereoCamera");
    log.setLogLevel(0);
    EXPECT_EQ(stdoutOf([&] { log.runTimeInfo("hidden\n"); }), "");
    EXPECT_EQ(allSix(log), "\033[1m\033[31m" + kTag + "[ERROR] e 1\n" + kReset);
}

TEST(SystemLog, LevelOneAddsInfoAndWarnings)
{
    SystemLog log("StereoCamera");
    log.setLogLevel(1);
    EXPECT_EQ(allSix(log), "\033[1m\033[31m" + kTag + "[ERROR] e 1\n" + kReset +
                               "\033[32m" + kTag + "[INFO] i x\n" + kReset +
                               "\033[1m\033[33m" + kTag + "[WARNING] w\n" + kReset);
}

TEST(SystemLog, LevelTwoPrintsAllSixWithTheirColours)
{
    SystemLog log("StereoCamera");
    log.setLogLevel(2);
    EXPECT_EQ(allSix(log), "\033[1m\033[31m" + kTag + "[ERROR] e 1\n" + kReset +
                               "\033[32m" + kTag + "[INFO] i x\n" + kReset +
                               "\033[1m\033[33m" + kTag + "[WARNING] w\n" + kReset +
                               "\033[36m" + kTag + "[DEBUG_WARNING] dw\n" + kReset +
                               "\033[1m\033[37m" + kTag + "[DEBUG_INFO] di\n" + kReset +
                               "\033[35m" + kTag + "[DEBUG_ERROR] de 2.5\n" + kReset);
}

TEST(SystemLog, LevelMinusOneSilencesEverything)
{
    SystemLog log("StereoCamera");
    log.setLogLevel(-1);
    EXPECT_EQ(allSix(log), "");
}

TEST(SystemLog, ResetFollowsTheCallersLineEndAndNoTimeStamp)
{
    SystemLog log("KorvaneCameraSDK");
    log.setLogLevel(0);
    EXPECT_EQ(stdoutOf([&] { log.runTimeError("no line end"); }),
              "\033[1m\033[31m[KorvaneCameraSDK][ERROR] no line end\033[0m");
}

TEST(SystemLog, SaveLogToFileUsesTheNameWithoutTag)
{
    SystemLog log("StereoCamera");
    log.saveLogToFile("cam");
    EXPECT_TRUE(log.saveSwitch());
    EXPECT_EQ(log.fileName(), "cam.log");
}

TEST(SystemLog, SaveLogSetsOnlyTheSwitch)
{
    SystemLog log("StereoCamera");
    log.saveLog();
    EXPECT_TRUE(log.saveSwitch());
    EXPECT_EQ(log.fileName(), "[StereoCamera]RunningLog.txt");
}

TEST(SystemLog, NothingIsWrittenToTheLogFile)
{
    SystemLog log("nofile");
    log.saveLogToFile("korvane-log-never-written");
    log.setLogLevel(2);
    stdoutOf([&] { log.runTimeError("x\n"); });
    EXPECT_NE(access("korvane-log-never-written.log", F_OK), 0);
}
