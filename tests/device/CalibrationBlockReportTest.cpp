// The device camera says in its log whether the block in flash is a valid
// calibration file, and what is wrong with it when it is not.
#include <string>

#include <gtest/gtest.h>

#include "CalibrationText.h"
#include "DeviceLogLines.h"
#include "DeviceTestSupport.h"
#include "camera/CalibrationFormat.h"
#include "camera/KorvaneCamera.h"
#include "support/CaptureStream.h"

using namespace korvane::test;
using korvane::emulator::VirtualModule;

namespace {

using CalibrationBlockReport = DeviceTest;

const std::string kLoadFailed = errorLine("load tmp file failed, temp file permission error!\n");

std::string invalidBlock(const std::string& what)
{
    return "The calibration block in flash is not a valid calibration file: " + what + ".\n";
}

std::string sample() { return readFile(sampleCalibrationPath()); }

// The device log of a camera made on /dev/video0; its serial number in serial.
std::string logOfCamera(int& serial)
{
    CaptureStream errors(2);
    CaptureStream capture(1);
    KorvaneCamera camera(0);
    serial = camera.getSerialNumber();
    return capture.text();
}

// A block the camera does not load, and what its log says is wrong with it.
struct RefusedBlock
{
    const char* name;
    std::string block;
    std::string what;
};

TEST_F(CalibrationBlockReport, EachRefusedBlockIsNamed)
{
    const RefusedBlock blocks[] = {
        {"empty", "", "the block is empty (every byte is zero)"},
        {"missing key", withoutKey(sample(), "RightRotation"),
         "these keys are missing or malformed: RightRotation"},
        {"missing keys", withoutKey(withoutKey(sample(), "LeftXi"), "Translation"),
         "these keys are missing or malformed: LeftXi, Translation"},
        {"missing serial", withoutKey(sample(), "SerialNumber"), "it does not load as a complete calibration file"},
        {"no parameter file", "this is not a parameter file\n", "it holds no calibration parameters"},
    };
    for (const RefusedBlock& refused : blocks) {
        SCOPED_TRACE(refused.name);
        VirtualModule& module = addModule(0);
        loadCalibrationBlock(module, refused.block);
        int serial = -1;
        EXPECT_EQ(logOfCamera(serial), kLoadFailed + errorLine(invalidBlock(refused.what)) + kCannotGet);
        EXPECT_EQ(serial, 0);
        EXPECT_TRUE(temporaryCalibrationFiles().empty());
        Testbed().Unplug(module);
    }
}

TEST_F(CalibrationBlockReport, EachMissingMatrixKeyOfTheFormatIsNamed)
{
    for (const korvane::CalibrationFormat::Entry* entry : korvane::CalibrationFormat::readOrder()) {
        if (entry->kind != korvane::CalibrationFormat::Kind::Matrix)
            continue;
        SCOPED_TRACE(entry->key);
        VirtualModule& module = addModule(0);
        loadCalibrationBlock(module, withoutKey(sample(), entry->key));
        int serial = -1;
        EXPECT_EQ(logOfCamera(serial),
                  kLoadFailed +
                      errorLine(invalidBlock(std::string("these keys are missing or malformed: ") + entry->key)) +
                      kCannotGet);
        Testbed().Unplug(module);
    }
}

TEST_F(CalibrationBlockReport, AnErasedBlockIsNamed)
{
    addModule(0);
    int serial = -1;
    EXPECT_EQ(logOfCamera(serial),
              kLoadFailed + errorLine(invalidBlock("the block is erased (every byte is 0xFF)")) + kCannotGet);
}

TEST_F(CalibrationBlockReport, AValidBlockAddsNothing)
{
    VirtualModule& module = addModule(0);
    loadCalibrationBlock(module, sample());
    int serial = 0;
    EXPECT_EQ(logOfCamera(serial), kLoaded);
    EXPECT_EQ(serial, 1001);
}

TEST_F(CalibrationBlockReport, BytesAfterTheFileAreNamedThoughItLoads)
{
    VirtualModule& module = addModule(0);
    std::string block = sample();
    block.resize(4096, '\0');
    block[4000] = 'x';
    loadCalibrationBlock(module, block);
    int serial = 0;
    EXPECT_EQ(logOfCamera(serial),
              warningLine(invalidBlock("non-zero bytes follow the file's end, at offset 4000")) + kLoaded);
    EXPECT_EQ(serial, 1001);
}

} // namespace
