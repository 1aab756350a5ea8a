// The user-data guard around flash writes, on virtual modules: a backup
// first, and the user data back after a firmware download, with every
// failure reported, the backup kept and the restore command printed.
#include "UserDataGuard.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <sstream>

#include "CalibrationFileCheck.h"
#include "Extension_Unit_Class/camera_api.h"
#include "FirmwareTestSupport.h"
#include "Firmware_Image_Generator.h"
#include "ModuleFlashTest.h"
#include "support/CaptureStream.h"
#include "support/TempDir.h"

namespace korvane::maintenance {
namespace {

using namespace korvane::emulator;
using korvane::firmware::Firmware_Image_Kind;
using korvane::firmware::Make_Firmware_Image;
using korvane::test::readFile;
using korvane::test::TempDir;
using namespace std::chrono_literals;

constexpr std::uint32_t kCalibrationPiece = 15;
constexpr std::uint32_t kSecondPiece = 14;
// The sector erase selector: failing it fails every flash write and nothing else.
constexpr int kEraseSelector = 13;

Bytes calibrationBlock()
{
    const std::string text = readFile(KORVANE_SOURCE_DIR "/data/sample_calibration.yml");
    Bytes block(text.begin(), text.end());
    block.resize(4096, 0);
    return block;
}

Bytes secondPiece()
{
    Bytes piece(4096);
    for (std::size_t i = 0; i < piece.size(); ++i)
        piece[i] = static_cast<std::uint8_t>((i * 5) & 0xFE);
    return piece;
}

class UserDataGuardTest : public ModuleFlashTest
{
protected:
    void SetUp() override
    {
        firmware_test::Pin_To_One_Cpu();
        ModuleFlashTest::SetUp();
        Testbed().Set_Restart_Delay(200ms);
    }

    // A 2620 module on /dev/video0 holding a calibration and a second piece.
    VirtualModule& addCalibratedModule()
    {
        VirtualModule& module = Add_Camera("2620", 0);
        loadFlash(module, kCalibrationPiece * 4096, calibrationBlock());
        loadFlash(module, kSecondPiece * 4096, secondPiece());
        return module;
    }

    // Takes the backup of the module on /dev/video0 and lets its handle go.
    void takeBackup(UserDataGuard& guard)
    {
        auto module = open(0);
        ASSERT_NE(module, nullptr);
        std::ostringstream out;
        ASSERT_TRUE(guard.takeBackup(*module, out)) << out.str();
    }

    std::string restoreFailure(UserDataGuard& guard, std::chrono::milliseconds wait)
    {
        std::ostringstream out;
        EXPECT_FALSE(guard.restoreAfterDownload(wait, out));
        // The waiting line comes first; the report follows it.
        const std::string waiting = UserDataGuard::waitingLine(guard.backup().identification, wait);
        const std::string said = out.str();
        EXPECT_EQ(said.substr(0, waiting.size()), waiting);
        return said.substr(std::min(waiting.size(), said.size()));
    }

    void expectKeptAndNamed(const UserDataGuard& guard, const std::string& report, const std::string& why)
    {
        EXPECT_EQ(report, "The user data could not be restored: " + why + "\n" + "The backup is kept in " +
                              guard.backupPath() + "\n" + "To restore it, run:\n" +
                              "  korvane-maintenance restore --device 0 " + guard.backupPath() + "\n");
        UserDataBackup kept;
        std::string reason;
        EXPECT_TRUE(UserDataBackup::load(guard.backupPath(), kept, reason)) << reason;
        EXPECT_EQ(kept.pieces, (std::vector<Bytes>{calibrationBlock(), secondPiece()}));
    }

    // What the restore command does: the kept file written back to the
    // module, which then holds its user data again.
    void restoreFromKeptFile(const UserDataGuard& guard, VirtualModule& virtualModule)
    {
        Camera_UnInit();
        UserDataBackup kept;
        std::string why;
        ASSERT_TRUE(UserDataBackup::load(guard.backupPath(), kept, why)) << why;
        auto module = open(0);
        ASSERT_NE(module, nullptr);
        EXPECT_TRUE(kept.writeTo(*module, why)) << why;
        EXPECT_EQ(flashPiece(virtualModule, kCalibrationPiece), calibrationBlock());
        EXPECT_EQ(flashPiece(virtualModule, kSecondPiece), secondPiece());
    }

    TempDir m_backups;
};

TEST_F(UserDataGuardTest, TheBackupIsSavedAndNamed)
{
    VirtualModule& virtualModule = addCalibratedModule();
    UserDataGuard guard(m_backups.file("backups"));
    auto module = open(0);
    ASSERT_NE(module, nullptr);
    std::ostringstream out;
    ASSERT_TRUE(guard.takeBackup(*module, out));
    EXPECT_EQ(out.str(), "User data backed up to " + guard.backupPath() + "\n");
    EXPECT_EQ(guard.backupPath().rfind(m_backups.file("backups") + "/", 0), 0u);
    UserDataBackup saved;
    std::string why;
    ASSERT_TRUE(UserDataBackup::load(guard.backupPath(), saved, why)) << why;
    EXPECT_EQ(saved.pieces, (std::vector<Bytes>{flashPiece(virtualModule, 15), flashPiece(virtualModule, 14)}));
    EXPECT_EQ(saved.identification, module->identification());
}

TEST_F(UserDataGuardTest, ABackupThatCannotBeReadIsReportedAndNothingIsSaved)
{
    VirtualModule& virtualModule = addCalibratedModule();
    UserDataGuard guard(m_backups.file("backups"));
    auto module = open(0);
    ASSERT_NE(module, nullptr);
    virtualModule.Fail_Queries(FaultRule{kAny, kAny, kAny, EIO, kAlways, 0});
    std::ostringstream out;
    EXPECT_FALSE(guard.takeBackup(*module, out));
    const std::string meaning =
        Camera_Status_Message(Camera_Operation::Flash_Piece, Camera_Status::Flash_Transfer_Failed);
    EXPECT_EQ(out.str(),
              "Cannot back up the user data: reading user-data piece 0 failed (status -3): " + meaning + "\n");
    EXPECT_TRUE(guard.backupPath().empty());
    EXPECT_FALSE(std::filesystem::exists(m_backups.file("backups")));
}

TEST_F(UserDataGuardTest, AFirmwareDownloadWipesTheCalibrationAndTheGuardBringsItBack)
{
    VirtualModule& virtualModule = addCalibratedModule();
    loadFlash(virtualModule, 0, Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x6000, 3));
    UserDataGuard guard(m_backups.file("backups"));
    const Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x9000, 4);
    {
        auto module = open(0);
        ASSERT_NE(module, nullptr);
        EXPECT_TRUE(UserDataBackup::downloadCoversUserData(*module));
        std::ostringstream out;
        ASSERT_TRUE(guard.takeBackup(*module, out)) << out.str();
        float progress = 0.0f;
        int result = -100;
        korvane::test::stderrOf([&] {
            result = Camera_Updata(module->device(), image.data(), static_cast<unsigned>(image.size()), &progress);
        });
        ASSERT_EQ(result, 0);
        EXPECT_EQ(progress, 100.0f);
    }
    EXPECT_EQ(flashPiece(virtualModule, kCalibrationPiece), Bytes(4096, 0));
    EXPECT_EQ(flashPiece(virtualModule, kSecondPiece), Bytes(4096, 0));

    std::ostringstream out;
    ASSERT_TRUE(guard.restoreAfterDownload(10s, out)) << out.str();
    EXPECT_EQ(out.str(), UserDataGuard::waitingLine(guard.backup().identification, 10s) +
                             "User data restored and verified from " + guard.backupPath() + "\n");
    EXPECT_EQ(flashPiece(virtualModule, kCalibrationPiece), calibrationBlock());
    EXPECT_EQ(flashPiece(virtualModule, kSecondPiece), secondPiece());
    std::string why;
    EXPECT_TRUE(CalibrationFileCheck::checkBlock(flashPiece(virtualModule, kCalibrationPiece), why)) << why;
    // The new firmware is untouched by the restore.
    Bytes padded = image;
    padded.resize(kSecondPiece * 4096, 0);
    EXPECT_EQ(flashBytes(virtualModule, 0, kSecondPiece * 4096), padded);
    EXPECT_TRUE(std::filesystem::exists(guard.backupPath()));
}

TEST_F(UserDataGuardTest, AFailedRestoreWriteIsReported)
{
    VirtualModule& virtualModule = addCalibratedModule();
    UserDataGuard guard(m_backups.file("backups"));
    takeBackup(guard);
    loadFlash(virtualModule, kCalibrationPiece * 4096, Bytes(4096, 0));
    virtualModule.Fail_Queries(FaultRule{kAny, kEraseSelector, kSetCur, EIO, kAlways, 0});

    const std::string meaning =
        Camera_Status_Message(Camera_Operation::Flash_Piece, Camera_Status::Flash_Transfer_Failed);
    expectKeptAndNamed(guard, restoreFailure(guard, 3s), "writing user-data piece 0 failed (status -3): " + meaning);

    virtualModule.Clear_Faults();
    restoreFromKeptFile(guard, virtualModule);
}

TEST_F(UserDataGuardTest, AReadBackDifferenceIsReported)
{
    VirtualModule& virtualModule = addCalibratedModule();
    UserDataGuard guard(m_backups.file("backups"));
    takeBackup(guard);
    virtualModule.With_Chip([](ChipModel& chip) {
        chip.Flash().Set_Stuck_Bits(kSecondPiece * 4096 + 2, 0x01);
        return 0;
    });

    expectKeptAndNamed(guard, restoreFailure(guard, 3s), "user-data piece 1 reads back different from the backup");

    virtualModule.With_Chip([](ChipModel& chip) {
        chip.Flash().Clear_Stuck_Bits();
        return 0;
    });
    restoreFromKeptFile(guard, virtualModule);
}

TEST_F(UserDataGuardTest, AModuleThatDoesNotComeBackIsReported)
{
    VirtualModule& virtualModule = addCalibratedModule();
    UserDataGuard guard(m_backups.file("backups"));
    takeBackup(guard);
    const std::string identification = guard.backup().identification;
    Testbed().Unplug(virtualModule);

    expectKeptAndNamed(guard, restoreFailure(guard, 2s),
                       "the module " + identification + " did not come back within 2 s");

    Testbed().Replug(virtualModule);
    loadFlash(virtualModule, kCalibrationPiece * 4096, Bytes(4096, 0));
    restoreFromKeptFile(guard, virtualModule);
}

TEST_F(UserDataGuardTest, NoBackupNothingToRestore)
{
    UserDataGuard guard(m_backups.file("backups"));
    std::ostringstream out;
    EXPECT_FALSE(guard.restoreAfterDownload(1s, out));
    EXPECT_EQ(out.str(), "The user data cannot be restored: no backup was taken\n");
}

TEST(UserDataGuardCommand, ThePathIsQuotedWhenAShellNeedsIt)
{
    EXPECT_EQ(UserDataGuard::restoreCommand(2, "/home/a/b_1.kvbackup"),
              "korvane-maintenance restore --device 2 /home/a/b_1.kvbackup");
    EXPECT_EQ(UserDataGuard::restoreCommand(0, "/home/my files/it's.kvbackup"),
              "korvane-maintenance restore --device 0 '/home/my files/it'\\''s.kvbackup'");
}

} // namespace
} // namespace korvane::maintenance
