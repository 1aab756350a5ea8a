// firmware on virtual modules: images refused before the module is touched,
// the phased progress bar, and the user data kept across a download that
// rewrites it, through every failure of the write-back.
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <thread>

#include <gtest/gtest.h>

#include "Extension_Unit_Class/Camera_Status.h"
#include "Extension_Unit_Class/Extension_Unit_Templates.h"
#include "ChipCatalog.h"
#include "Firmware_Image_Generator.h"
#include "ToolTestSupport.h"
#include "camera/KorvaneCamera.h"
#include "support/CaptureStream.h"

using namespace korvane::test;
using namespace std::chrono_literals;
using korvane::emulator::Boot_Mode;
using korvane::emulator::ChipModel;
using korvane::emulator::VirtualModule;
using korvane::firmware::Firmware_Image_Kind;
using korvane::firmware::Make_Firmware_Image;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kArea = 0x10000;

class FirmwareCommand : public ToolTest
{
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        Testbed().Set_Restart_Delay(20ms);
    }

    // A 2620 module holding a factory calibration and other user data.
    VirtualModule& calibratedModule()
    {
        VirtualModule& module = addModule(0);
        const std::string factory = work().file("factory.yml");
        writeCalibrationFile(factory, 4242, 7);
        m_calibration = readFile(factory);
        m_calibrationBlock = Bytes(m_calibration.begin(), m_calibration.end());
        m_calibrationBlock.resize(4096, 0);
        loadFlash(module, userPieceAddress(0), m_calibrationBlock);
        loadFlash(module, userPieceAddress(1), patternBytes(4096, 5));
        module.Clear_Queries();
        return module;
    }

    std::string imageFile(Firmware_Image_Kind kind, std::uint32_t length, const char* name = "fw.bin")
    {
        const Bytes image = Make_Firmware_Image(kind, length, 3);
        return work().write(name, std::string(image.begin(), image.end()));
    }

    void expectUserDataKept(VirtualModule& module)
    {
        EXPECT_EQ(flashBytes(module, userPieceAddress(0), 4096), m_calibrationBlock);
        EXPECT_EQ(flashBytes(module, userPieceAddress(1), 4096), patternBytes(4096, 5));
    }

    // Runs the restore command printed in text: the user data is back.
    void expectPrintedRestoreWorks(VirtualModule& module, const std::string& text)
    {
        std::vector<std::string> command = words(lineWith(text, "korvane-maintenance restore --device 0 "));
        ASSERT_FALSE(command.empty()) << text;
        command.erase(command.begin());
        const ToolRun restore = runTool(command);
        EXPECT_EQ(restore.status, 0) << restore.out << restore.err;
        expectUserDataKept(module);
    }

    // Runs the tool on another thread; once the module has come back from
    // its switch to the boot code, it is made to stay away after its next restart.
    ToolRun runWithModuleNotComingBack(VirtualModule& module, const std::vector<std::string>& command)
    {
        ToolRun run{-1, "", ""};
        std::thread tool([&] { run = runTool(command); });
        EXPECT_TRUE(Testbed().Wait_Until_Plugged_Times(module, 2, 30s));
        Testbed().Set_Restart_Delay(std::nullopt);
        tool.join();
        return run;
    }

    std::string m_calibration;
    Bytes m_calibrationBlock;
};

TEST_F(FirmwareCommand, AnImageOfNoWritableFormIsRefusedBeforeAnyTraffic)
{
    VirtualModule& module = calibratedModule();
    const Bytes before = flashBytes(module, 0, kArea);
    for (Firmware_Image_Kind kind : {Firmware_Image_Kind::Kun, Firmware_Image_Kind::Unmarked,
                                     Firmware_Image_Kind::Large_Other_Word}) {
        const std::string path = imageFile(kind, 0x34001);
        const ToolRun run = runTool({"firmware", path});
        EXPECT_EQ(run.status, 4);
        EXPECT_EQ(run.err, "korvane-maintenance: refusing " + path +
                               ": it is not a firmware image of a form the kit writes\n");
        EXPECT_EQ(run.out, "");
    }
    EXPECT_TRUE(module.Queries().empty());
    EXPECT_EQ(flashBytes(module, 0, kArea), before);
    EXPECT_TRUE(backupFiles().empty());
}

TEST_F(FirmwareCommand, AnImageForAnotherChipLeavesTheFlashUntouched)
{
    VirtualModule& module = calibratedModule();
    const Bytes before = flashBytes(module, 0, kArea);
    const std::string path = imageFile(Firmware_Image_Kind::Header_2085, 0x8000);
    const ToolRun run = runTool({"firmware", path});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "korvane-maintenance: refusing " + path +
                           ": it is a firmware image for the SPCA2085 or SPCA2092, the module on /dev/video0 has an "
                           "SPCA2620\n");
    EXPECT_EQ(flashQueries(module.Queries()), 0u);
    EXPECT_EQ(flashChanges(module.Queries()), 0u);
    EXPECT_EQ(flashBytes(module, 0, kArea), before);
    EXPECT_TRUE(backupFiles().empty());
}

TEST_F(FirmwareCommand, AnImageLargerThanTheChipsAreaIsRefused)
{
    VirtualModule& module = calibratedModule();
    const Bytes before = flashBytes(module, 0, kArea);
    const std::string path = imageFile(Firmware_Image_Kind::Header_2620, kArea + 1);
    const ToolRun run = runTool({"firmware", path});
    EXPECT_EQ(run.status, 4);
    EXPECT_TRUE(contains(run.err, "65537 bytes, more than the 65536 bytes of the SPCA2620's firmware area")) << run.err;
    EXPECT_EQ(flashQueries(module.Queries()), 0u);
    EXPECT_EQ(flashBytes(module, 0, kArea), before);
}

TEST_F(FirmwareCommand, UnreadableAndEmptyImagesAreRefused)
{
    VirtualModule& module = calibratedModule();
    ToolRun run = runTool({"firmware", work().file("absent.bin")});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "korvane-maintenance: cannot read " + work().file("absent.bin") + ": No such file or directory\n");
    run = runTool({"firmware", work().write("empty.bin", "")});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "korvane-maintenance: cannot read " + work().file("empty.bin") + ": the file is empty\n");
    run = runTool({"firmware", work().file("absent.bin"), "--wait", "soon"});
    EXPECT_EQ(run.status, 2);
    EXPECT_TRUE(module.Queries().empty());
}

TEST_F(FirmwareCommand, InputsThatAreNotRegularFilesAreRefusedBeforeAnyTraffic)
{
    VirtualModule& module = calibratedModule();
    std::filesystem::create_directory(work().file("images"));
    const ToolRun run = runTool({"firmware", work().file("images")});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "korvane-maintenance: cannot read " + work().file("images") +
                           ": it is a directory, not a regular file\n");
    EXPECT_TRUE(module.Queries().empty());
    EXPECT_TRUE(backupFiles().empty());
}

TEST_F(FirmwareCommand, AFileLargerThanEveryFirmwareAreaIsRefusedUnread)
{
    VirtualModule& module = calibratedModule();
    const std::uint32_t largest = korvane::maintenance::largestFirmwareArea();
    const std::string path = work().write("huge.bin", "");
    std::filesystem::resize_file(path, largest + 1);
    const std::string expected = "korvane-maintenance: cannot read " + path + ": it is " +
                                 std::to_string(largest + 1) + " bytes, more than the largest firmware area (" +
                                 std::to_string(largest) + " bytes)\n";
    const ToolRun run = runTool({"firmware", path});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, expected);
    EXPECT_TRUE(module.Queries().empty());
}

TEST_F(FirmwareCommand, NoModuleGivesStatusThree)
{
    const ToolRun run = runTool({"firmware", imageFile(Firmware_Image_Kind::Header_2620, 0x8000)});
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.err, "korvane-maintenance: no module is attached\n");
}

TEST_F(FirmwareCommand, AnUpdateKeepsTheCalibrationAndHoldsTheNewFirmware)
{
    VirtualModule& module = calibratedModule();
    const Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x9000, 3);
    const std::string path = imageFile(Firmware_Image_Kind::Header_2620, 0x9000);

    const ToolRun run = runTool({"firmware", path, "--wait", "10"});
    ASSERT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_EQ(run.err, "");
    ASSERT_EQ(backupFiles().size(), 1u);
    // The messages and the bar's phases, in order.
    std::size_t at = 0;
    for (const std::string& part :
         {"User data backed up to " + backupFiles()[0] + "\n", "Downloading " + path + " (36864 bytes) to /dev/video0 (SPCA2620)\n",
          std::string("% preparing\n"), std::string("% erasing\n"), std::string("% writing and verifying\n"),
          std::string("% header\n"), std::string("] 100.0% restarting\n"), std::string("Firmware downloaded and verified\n"),
          std::string("Waiting up to 10 s for the module 100-100-7119-KV1000000000 to come back\n"),
          "User data restored and verified from " + backupFiles()[0] + "\n"}) {
        const std::size_t found = run.out.find(part, at);
        ASSERT_NE(found, std::string::npos) << "missing or out of order: " << part << "\n" << run.out;
        at = found + part.size();
    }
    EXPECT_EQ(run.out.find("DownLoad Schedule"), std::string::npos) << "the download's own lines are taken in";

    // The new firmware, zeros up to the user data, the user data as before.
    Bytes expected = image;
    expected.resize(14 * 4096, 0);
    EXPECT_EQ(flashBytes(module, 0, 14 * 4096), expected);
    expectUserDataKept(module);
    ASSERT_FALSE(module.Boots().empty());
    EXPECT_EQ(module.Boots().back(), Boot_Mode::Firmware);

    // A device camera made now loads the calibration.
    CaptureStream capture(1);
    KorvaneCamera camera(0);
    const std::string log = capture.text();
    EXPECT_TRUE(contains(log, "Load camera flash parameters OK!")) << log;
    EXPECT_EQ(camera.getSerialNumber(), 4242);
    EXPECT_EQ(camera.getPosNumber(), 7);
}

TEST_F(FirmwareCommand, AModuleThatDoesNotComeBackKeepsTheBackupAndTheRestoreCommandWorks)
{
    VirtualModule& module = calibratedModule();
    const std::string path = imageFile(Firmware_Image_Kind::Header_2620, 0x9000);
    const ToolRun run = runWithModuleNotComingBack(module, {"firmware", path, "--wait", "2"});
    EXPECT_EQ(run.status, 5) << run.out << run.err;
    ASSERT_EQ(backupFiles().size(), 1u);
    EXPECT_TRUE(contains(run.out, "The user data could not be restored: the module 100-100-7119-KV1000000000 did "
                                  "not come back within 2 s\n"))
        << run.out;
    EXPECT_TRUE(contains(run.out, "The backup is kept in " + backupFiles()[0] + "\n")) << run.out;
    EXPECT_EQ(lineWith(run.out, "korvane-maintenance restore"),
              "  korvane-maintenance restore --device 0 " + backupFiles()[0]);
    EXPECT_EQ(run.err, "korvane-maintenance: the user data was not restored; the backup is kept\n");

    Testbed().Replug(module);
    ASSERT_TRUE(Testbed().Wait_Until_Plugged(module, true, 5s));
    expectPrintedRestoreWorks(module, run.out);
}

TEST_F(FirmwareCommand, AFailedWriteBackKeepsTheBackupAndTheRestoreCommandWorks)
{
    VirtualModule& module = calibratedModule();
    const std::string path = imageFile(Firmware_Image_Kind::Header_2620, 0x9000);
    // The download writes its 64 pieces; every piece write after them fails.
    korvane::emulator::FaultRule rule{korvane::emulator::kAny, XU_SEL_PIECE_DATA, korvane::emulator::kSetCur, EIO,
                                      korvane::emulator::kAlways, 64};
    module.Fail_Queries(rule);
    const ToolRun run = runTool({"firmware", path, "--wait", "10"});
    EXPECT_EQ(run.status, 5) << run.out << run.err;
    EXPECT_TRUE(contains(run.out, "Firmware downloaded and verified\n")) << run.out;
    EXPECT_TRUE(contains(run.out, "The user data could not be restored: writing user-data piece 0 failed")) << run.out;
    ASSERT_EQ(backupFiles().size(), 1u);
    EXPECT_TRUE(contains(run.out, "The backup is kept in " + backupFiles()[0] + "\n")) << run.out;

    module.Clear_Faults();
    expectPrintedRestoreWorks(module, run.out);
}

TEST_F(FirmwareCommand, AReadBackDifferenceInTheWriteBackKeepsTheBackupAndTheRestoreCommandWorks)
{
    VirtualModule& module = calibratedModule();
    const Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, kArea, 3);
    const std::string path = imageFile(Firmware_Image_Kind::Header_2620, kArea);
    // A worn cell in the calibration block whose bits the image sets and the calibration clears:
    // the download verifies, the write-back does not.
    std::uint32_t offset = 0;
    while (offset < 4096 && (image[userPieceAddress(0) + offset] & ~m_calibrationBlock[offset]) == 0)
        ++offset;
    ASSERT_LT(offset, 4096u);
    const std::uint8_t stuck = image[userPieceAddress(0) + offset] & ~m_calibrationBlock[offset];
    module.With_Chip([&](ChipModel& chip) {
        chip.Flash().Set_Stuck_Bits(userPieceAddress(0) + offset, stuck);
        return 0;
    });

    const ToolRun run = runTool({"firmware", path, "--wait", "10"});
    EXPECT_EQ(run.status, 5) << run.out << run.err;
    EXPECT_TRUE(contains(run.out, "The user data could not be restored: user-data piece 0 reads back different"))
        << run.out;
    ASSERT_EQ(backupFiles().size(), 1u);
    EXPECT_EQ(lineWith(run.out, "korvane-maintenance restore"),
              "  korvane-maintenance restore --device 0 " + backupFiles()[0]);

    module.With_Chip([](ChipModel& chip) {
        chip.Flash().Clear_Stuck_Bits();
        return 0;
    });
    expectPrintedRestoreWorks(module, run.out);
}

TEST_F(FirmwareCommand, AFailedDownloadKeepsTheBackupAndSaysHowToRestore)
{
    VirtualModule& module = calibratedModule();
    const std::string path = imageFile(Firmware_Image_Kind::Header_2620, 0x9000);
    // The download's tenth piece write fails.
    module.Fail_Queries({korvane::emulator::kAny, XU_SEL_PIECE_DATA, korvane::emulator::kSetCur, EIO, 1, 9});
    const ToolRun run = runTool({"firmware", path, "--wait", "10"});
    EXPECT_EQ(run.status, 1) << run.out << run.err;
    ASSERT_EQ(backupFiles().size(), 1u);
    const std::string meaning =
        Camera_Status_Message(Camera_Operation::Firmware_Update, Camera_Status::Flash_Transfer_Failed);
    EXPECT_TRUE(contains(run.err, "korvane-maintenance: the firmware download failed: " + meaning + "\n")) << run.err;
    EXPECT_TRUE(contains(run.err, "kept in " + backupFiles()[0])) << run.err;
    EXPECT_EQ(lineWith(run.err, "korvane-maintenance restore"),
              "  korvane-maintenance restore --device 0 " + backupFiles()[0]);
    EXPECT_EQ(run.out.find("% header"), std::string::npos) << run.out;
}

// The maintenance operation's success needs the progress to end at exactly
// 100: a chip that reports 2048-byte pieces takes fewer steps, so a download
// that succeeds ends short of it.
TEST_F(FirmwareCommand, ADownloadThatEndsShortOfOneHundredPercentPrintsFailed)
{
    korvane::emulator::ModuleConfig config = korvane::emulator::Camera_Module("2620", 0);
    config.pieceLength = 2048;
    VirtualModule& module = addModule(config);
    const Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x9000, 3);
    std::string path = imageFile(Firmware_Image_Kind::Header_2620, 0x9000);

    std::string out;
    std::string errors;
    {
        CaptureStream capturedErrors(2);
        out = stdoutOf([&] { EXPECT_EQ(cameraSpecailOprations(0, path, 2), 1); });
        errors = capturedErrors.text();
    }
    EXPECT_EQ(out, "Binary file : [" + path + "] 36864 bytes (36.0 KB) has been read\n"
                   "Start Updating Firmware ...\nfailed!\n");
    // The download itself succeeded: the image is in flash, and its last step is below 100.
    EXPECT_EQ(flashBytes(module, 0, image.size()), image);
    const std::size_t last = errors.rfind("DownLoad Schedule ");
    ASSERT_NE(last, std::string::npos) << errors;
    const float percent = std::stof(errors.substr(last + 18));
    EXPECT_LT(percent, 100.0f);
    EXPECT_GT(percent, 50.0f);
}

} // namespace
