// The device camera says in its log whether the block in flash is a valid
// calibration file, and what is wrong with it when it is not.
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "DeviceTestSupport.h"
#include "camera/KorvaneCamera.h"
#include "support/CaptureStream.h"

using namespace korvane::test;
using korvane::emulator::VirtualModule;

namespace {

using CalibrationBlockReport = DeviceTest;

const std::string kLoaded = "\033[32m[KorvaneCameraSDK][INFO] Load camera flash parameters OK!\n\033[0m";
const std::string kLoadFailed =
    "\033[1m\033[31m[KorvaneCameraSDK][ERROR] load tmp file failed, temp file permission error!\n\033[0m";
const std::string kCannotGet =
    "\033[1m\033[31m[KorvaneCameraSDK][ERROR] This camera cannot get internal parameters!\n\033[0m"
    "\033[1m\033[31m[KorvaneCameraSDK][ERROR] You should flash the calibration parameters or load it from "
    "disk.\n\033[0m";

std::string invalidError(const std::string& what)
{
    return "\033[1m\033[31m[KorvaneCameraSDK][ERROR] The calibration block in flash is not a valid calibration "
           "file: " +
           what + ".\n\033[0m";
}

std::string invalidWarning(const std::string& what)
{
    return "\033[1m\033[33m[KorvaneCameraSDK][WARNING] The calibration block in flash is not a valid calibration "
           "file: " +
           what + ".\n\033[0m";
}

// The sample calibration without the lines of one top-level key.
std::string sampleWithout(const std::string& key)
{
    std::istringstream lines(readFile(sampleCalibrationPath()));
    std::string text;
    std::string line;
    bool skipping = false;
    while (std::getline(lines, line)) {
        if (!line.empty() && line[0] != ' ')
            skipping = line.rfind(key + ":", 0) == 0;
        if (!skipping)
            text += line + "\n";
    }
    return text;
}

// The device log of a camera made on /dev/video0; its serial number in serial.
std::string logOfCamera(int& serial)
{
    CaptureStream errors(2);
    CaptureStream capture(1);
    KorvaneCamera camera(0);
    serial = camera.getSerialNumber();
    return capture.text();
}

std::string logOfCamera()
{
    int serial = 0;
    return logOfCamera(serial);
}

TEST_F(CalibrationBlockReport, AValidBlockAddsNothing)
{
    VirtualModule& module = addModule(0);
    loadCalibrationBlock(module, readFile(sampleCalibrationPath()));
    int serial = 0;
    EXPECT_EQ(logOfCamera(serial), kLoaded);
    EXPECT_EQ(serial, 1001);
}

TEST_F(CalibrationBlockReport, AnErasedBlockIsNamed)
{
    addModule(0);
    EXPECT_EQ(logOfCamera(), kLoadFailed + invalidError("the block is erased (every byte is 0xFF)") + kCannotGet);
    EXPECT_TRUE(temporaryCalibrationFiles().empty());
}

TEST_F(CalibrationBlockReport, AnEmptyBlockIsNamed)
{
    VirtualModule& module = addModule(0);
    loadCalibrationBlock(module, "");
    EXPECT_EQ(logOfCamera(), kLoadFailed + invalidError("the block is empty (every byte is zero)") + kCannotGet);
}

TEST_F(CalibrationBlockReport, MissingKeysAreNamed)
{
    VirtualModule& module = addModule(0);
    loadCalibrationBlock(module, sampleWithout("RightRotation"));
    EXPECT_EQ(logOfCamera(),
              kLoadFailed + invalidError("these keys are missing or malformed: RightRotation") + kCannotGet);
}

TEST_F(CalibrationBlockReport, AMissingSerialNumberIsNamedAsAnIncompleteFile)
{
    VirtualModule& module = addModule(0);
    loadCalibrationBlock(module, sampleWithout("SerialNumber"));
    EXPECT_EQ(logOfCamera(),
              kLoadFailed + invalidError("it does not load as a complete calibration file") + kCannotGet);
}

TEST_F(CalibrationBlockReport, TextThatIsNoParameterFileIsNamed)
{
    VirtualModule& module = addModule(0);
    loadCalibrationBlock(module, "this is not a parameter file\n");
    EXPECT_EQ(logOfCamera(), kLoadFailed + invalidError("it holds no calibration parameters") + kCannotGet);
}

TEST_F(CalibrationBlockReport, BytesAfterTheFileAreNamedThoughItLoads)
{
    VirtualModule& module = addModule(0);
    std::string block = readFile(sampleCalibrationPath());
    block.resize(4096, '\0');
    block[4000] = 'x';
    loadCalibrationBlock(module, block);
    int serial = 0;
    EXPECT_EQ(logOfCamera(serial), invalidWarning("non-zero bytes follow the file's end, at offset 4000") + kLoaded);
    EXPECT_EQ(serial, 1001);
}

} // namespace
