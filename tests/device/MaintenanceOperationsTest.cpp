// The maintenance operations on virtual modules: what each prints, returns
// and leaves in the module's flash.
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "DeviceTestSupport.h"
#include "Extension_Unit_Class/Extension_Unit_Templates.h"
#include "Extension_Unit_Class/camera_api.h"
#include "Firmware_Image_Generator.h"
#include "camera/KorvaneCamera.h"
#include "support/CaptureStream.h"

using namespace korvane::test;
using korvane::emulator::FaultRule;
using korvane::emulator::ModuleConfig;
using korvane::emulator::VirtualModule;

namespace {

using MaintenanceOperations = DeviceTest;

std::string pattern(std::size_t length, char seed)
{
    std::string bytes(length, '\0');
    for (std::size_t i = 0; i < length; ++i)
        bytes[i] = static_cast<char>(seed + i * 7);
    return bytes;
}

std::vector<std::uint8_t> bytesOf(const std::string& text)
{
    return std::vector<std::uint8_t>(text.begin(), text.end());
}

TEST_F(MaintenanceOperations, WithoutAModuleNothingIsDoneAndZeroIsReturned)
{
    for (int op = 0; op <= 4; ++op) {
        std::string path = work().file("out.bin");
        int result = -1;
        const std::string out = stdoutOf([&] { result = cameraSpecailOprations(0, path, op); });
        EXPECT_EQ(result, 0) << "op " << op;
        EXPECT_EQ(out, "Cannot detect any korvane camera!\n") << "op " << op;
        EXPECT_FALSE(std::filesystem::exists(work().file("out.bin")));
    }
}

TEST_F(MaintenanceOperations, NodeWithoutAModuleDoesNothingAndReturnsOne)
{
    VirtualModule& first = addModule(0);
    VirtualModule& second = addModule(2);
    loadCalibrationBlock(first, pattern(4096, 'a'));
    loadCalibrationBlock(second, pattern(4096, 'b'));
    const std::string calibration = work().write("calib.yml", "SerialNumber: 1\n");

    std::string outPath = work().file("block.bin");
    std::string calibPath = calibration;
    std::string id = "unchanged";
    std::string out = stdoutOf([&] {
        EXPECT_EQ(cameraSpecailOprations(3, outPath, 0), 1);
        EXPECT_EQ(cameraSpecailOprations(3, calibPath, 3), 1);
        EXPECT_EQ(cameraSpecailOprations(3, id, 4), 1);
    });
    EXPECT_EQ(out, "");
    EXPECT_FALSE(std::filesystem::exists(outPath));
    EXPECT_EQ(id, "unchanged");
    EXPECT_EQ(calibrationBlock(first), bytesOf(pattern(4096, 'a')));
    EXPECT_EQ(calibrationBlock(second), bytesOf(pattern(4096, 'b')));
    Camera_UnInit();
    EXPECT_EQ(openVideoNodes(), 0u) << "the operation closes the node it opened";
}

TEST_F(MaintenanceOperations, IdentificationStringRepeatsTheReleaseNumber)
{
    ModuleConfig config = korvane::emulator::Camera_Module("2620", 1);
    config.vendorId = 1234;
    config.bcdDevice = "256";
    config.serial = "A1";
    addModule(0);
    addModule(config);
    std::string id;
    const std::string out = stdoutOf([&] { EXPECT_EQ(cameraSpecailOprations(1, id, 4), 1); });
    EXPECT_EQ(id, "256-256-1234-A1");
    EXPECT_EQ(out, "");

    std::string other;
    EXPECT_EQ(cameraSpecailOprations(0, other, 4), 1);
    EXPECT_EQ(other, "100-100-" + std::to_string(0x1bcf) + "-KV1000000000");
}

TEST_F(MaintenanceOperations, FlashToFileCopiesTheWholeBlock)
{
    VirtualModule& module = addModule(0);
    const std::string block = pattern(4096, 'c');
    loadCalibrationBlock(module, block);
    std::string path = work().file("block.bin");
    const std::string out = stdoutOf([&] { EXPECT_EQ(cameraSpecailOprations(0, path, 0), 1); });
    EXPECT_EQ(out, "");
    EXPECT_EQ(readFile(path), block);
    Camera_UnInit();
    EXPECT_EQ(openVideoNodes(), 0u) << "the operation closes the node it opened";
}

TEST_F(MaintenanceOperations, FlashToAFileThatCannotBeCreatedFails)
{
    addModule(0);
    std::string path = work().file("missing/block.bin");
    const std::string out = stdoutOf([&] { EXPECT_EQ(cameraSpecailOprations(0, path, 0), 0); });
    EXPECT_EQ(out, "Open " + path + " failed\n");
    Camera_UnInit();
    EXPECT_EQ(openVideoNodes(), 0u) << "the node is closed on an early failure";
}

TEST_F(MaintenanceOperations, FailedFlashReadWritesNoFile)
{
    VirtualModule& module = addModule(0);
    loadCalibrationBlock(module, pattern(4096, 'r'));
    module.Fail_Queries({korvane::emulator::kAny, XU_SEL_PIECE_DATA, korvane::emulator::kGetCur, EIO,
                         korvane::emulator::kAlways});
    std::string path = work().file("block.bin");
    const std::string out = stdoutOf([&] { EXPECT_EQ(cameraSpecailOprations(0, path, 0), 1); });
    EXPECT_FALSE(std::filesystem::exists(path));
    bool readTried = false;
    for (const auto& query : module.Queries())
        readTried |= query.request.selector == XU_SEL_PIECE_DATA && query.error == EIO;
    EXPECT_TRUE(readTried) << "the flash read was attempted and failed";
}

TEST_F(MaintenanceOperations, CalibrationFileGoesToFlashWithZerosAfterIt)
{
    VirtualModule& module = addModule(0);
    loadCalibrationBlock(module, pattern(4096, 'd'));
    const std::string text = "%YAML:1.0\n---\nSerialNumber: 7\n";
    std::string path = work().write("calib.yml", text);
    const std::string out = stdoutOf([&] { EXPECT_EQ(cameraSpecailOprations(0, path, 3), 1); });
    EXPECT_EQ(out, "Binary file: [" + path + "] " + std::to_string(text.size()) + " bytes (0.0 KB) has been loaded.\n"
                   "Start Updating CalibParams ...\ndone!\n");
    std::vector<std::uint8_t> expected(4096, 0);
    std::copy(text.begin(), text.end(), expected.begin());
    EXPECT_EQ(calibrationBlock(module), expected);
}

TEST_F(MaintenanceOperations, EmptyCalibrationFileWritesZeroBytes)
{
    VirtualModule& module = addModule(0);
    loadCalibrationBlock(module, pattern(4096, 'e'));
    std::string path = work().write("empty.yml", "");
    const std::string out = stdoutOf([&] { EXPECT_EQ(cameraSpecailOprations(0, path, 3), 1); });
    EXPECT_NE(out.find("] 0 bytes (0.0 KB) has been loaded.\n"), std::string::npos) << out;
    EXPECT_EQ(calibrationBlock(module), std::vector<std::uint8_t>(4096, 0));
}

TEST_F(MaintenanceOperations, CalibrationFileLongerThanTheBlockIsRefused)
{
    VirtualModule& module = addModule(0);
    loadCalibrationBlock(module, pattern(4096, 'f'));
    std::string path = work().write("big.yml", std::string(4097, 'x'));
    const std::string out = stdoutOf([&] { EXPECT_EQ(cameraSpecailOprations(0, path, 3), 0); });
    EXPECT_EQ(out, "Calibration file: [" + path + "] 4097 bytes does not fit the 4096-byte flash block\n");
    EXPECT_EQ(calibrationBlock(module), bytesOf(pattern(4096, 'f')));
    Camera_UnInit();
    EXPECT_EQ(openVideoNodes(), 0u) << "the operation closes the node it opened";

    std::string exact = work().write("exact.yml", std::string(4096, 'y'));
    EXPECT_EQ(cameraSpecailOprations(0, exact, 3), 1);
    EXPECT_EQ(calibrationBlock(module), std::vector<std::uint8_t>(4096, 'y'));
}

TEST_F(MaintenanceOperations, MissingCalibrationFileFails)
{
    addModule(0);
    std::string path = work().file("absent.yml");
    const std::string out = stdoutOf([&] { EXPECT_EQ(cameraSpecailOprations(0, path, 3), 0); });
    EXPECT_EQ(out, "Open " + path + " failed\n");
}

TEST_F(MaintenanceOperations, FailedFlashWritePrintsFailedAndReturnsOne)
{
    VirtualModule& module = addModule(0);
    loadCalibrationBlock(module, pattern(4096, 'g'));
    std::string path = work().write("calib.yml", "SerialNumber: 7\n");
    module.Fail_Queries({korvane::emulator::kAny, XU_SEL_PIECE_DATA, korvane::emulator::kSetCur, EIO,
                         korvane::emulator::kAlways});
    const std::string out = stdoutOf([&] { EXPECT_EQ(cameraSpecailOprations(0, path, 3), 1); });
    EXPECT_EQ(out, "Binary file: [" + path + "] 16 bytes (0.0 KB) has been loaded.\n"
                   "Start Updating CalibParams ...\nfailed!\n");
    std::vector<std::uint8_t> block = calibrationBlock(module);
    EXPECT_NE(std::string(block.begin(), block.begin() + 16), "SerialNumber: 7\n") << "not written";
}

TEST_F(MaintenanceOperations, MissingFirmwareFileFails)
{
    addModule(0);
    std::string path = work().file("absent.bin");
    const std::string out = stdoutOf([&] { EXPECT_EQ(cameraSpecailOprations(0, path, 2), 0); });
    EXPECT_EQ(out, "Open firmware file: " + path + " failed\n");
}

TEST_F(MaintenanceOperations, FirmwareImageIsDownloadedAndDoneIsPrintedWithoutLineEnd)
{
    addModule(0);
    const auto image = korvane::firmware::Make_Firmware_Image(
        korvane::firmware::Firmware_Image_Kind::Header_2620, 0x9000, 4);
    std::string path = work().write("fw.bin", std::string(image.begin(), image.end()));
    int result = -1;
    const std::string out = stdoutOf([&] { result = cameraSpecailOprations(0, path, 2); });
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "Binary file : [" + path + "] 36864 bytes (36.0 KB) has been read\n"
                   "Start Updating Firmware ...\ndone!");
}

TEST_F(MaintenanceOperations, FirmwareUpdateFollowsTheModuleToItsNewNodeAndLeavesTheOthers)
{
    VirtualModule& updated = addModule(0);
    VirtualModule& other = addModule(1);
    loadCalibrationBlock(updated, pattern(4096, 'u'));
    loadCalibrationBlock(other, pattern(4096, 'o'));
    Testbed().Move_On_Reappearance(updated, 6);
    const auto image = korvane::firmware::Make_Firmware_Image(
        korvane::firmware::Firmware_Image_Kind::Header_2620, 0x9000, 4);
    std::string path = work().write("fw.bin", std::string(image.begin(), image.end()));

    const std::string out = stdoutOf([&] { EXPECT_EQ(cameraSpecailOprations(0, path, 2), 1); });

    EXPECT_EQ(out, "Binary file : [" + path + "] 36864 bytes (36.0 KB) has been read\n"
                   "Start Updating Firmware ...\ndone!");
    // The download rewrote the whole image area of the updated module only.
    EXPECT_EQ(calibrationBlock(updated), std::vector<std::uint8_t>(4096, 0));
    EXPECT_EQ(calibrationBlock(other), bytesOf(pattern(4096, 'o')));
    // Plugged in at the start, after the boot-code switch and after the download.
    ASSERT_TRUE(Testbed().Wait_Until_Plugged_Times(updated, 3, std::chrono::seconds(10)));
    std::string identification;
    EXPECT_EQ(cameraSpecailOprations(6, identification, 4), 1);
    EXPECT_EQ(identification, "100-100-7119-KV1000000000");
}

TEST_F(MaintenanceOperations, RefusedFirmwareImagePrintsFailed)
{
    addModule(0);
    const auto image = korvane::firmware::Make_Firmware_Image(korvane::firmware::Firmware_Image_Kind::Kun, 0x10000, 2);
    std::string path = work().write("fw.bin", std::string(image.begin(), image.end()));
    const std::string out = stdoutOf([&] { EXPECT_EQ(cameraSpecailOprations(0, path, 2), 1); });
    EXPECT_NE(out.find("Start Updating Firmware ...\nfailed!\n"), std::string::npos) << out;
}

TEST_F(MaintenanceOperations, ReservedAndUnknownCodesDoNothing)
{
    VirtualModule& module = addModule(0);
    loadCalibrationBlock(module, pattern(4096, 'h'));
    for (int op : {1, 5, -1}) {
        std::string path = work().file("x");
        const std::string out = stdoutOf([&] { EXPECT_EQ(cameraSpecailOprations(0, path, op), 1); });
        EXPECT_EQ(out, "");
        EXPECT_EQ(path, work().file("x"));
        EXPECT_FALSE(std::filesystem::exists(path));
    }
    EXPECT_EQ(calibrationBlock(module), bytesOf(pattern(4096, 'h')));
}

} // namespace
