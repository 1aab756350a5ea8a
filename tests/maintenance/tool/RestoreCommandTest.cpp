// restore on virtual modules: a backup goes back to the module it was taken
// from, another module needs --force, and a file that is no backup is refused.
#include <filesystem>

#include <gtest/gtest.h>

#include "ToolTestSupport.h"
#include "UserDataBackup.h"

using namespace korvane::test;
using korvane::emulator::ModuleConfig;
using korvane::emulator::VirtualModule;

namespace {

class RestoreCommand : public ToolTest
{
protected:
    VirtualModule& moduleWith(const std::string& chip, int node, const std::string& serial, int seed)
    {
        ModuleConfig config = korvane::emulator::Camera_Module(chip, node);
        config.serial = serial;
        VirtualModule& module = addModule(config);
        if (chip == "2620") {
            loadFlash(module, userPieceAddress(0), patternBytes(4096, seed));
            loadFlash(module, userPieceAddress(1), patternBytes(4096, seed + 1));
        }
        return module;
    }

    // A backup of the module on node, as the tool takes it before a write.
    std::string backupOf(int node)
    {
        const std::size_t before = backupFiles().size();
        const std::string calibration = work().file("calib" + std::to_string(node) + ".yml");
        writeCalibrationFile(calibration, 10 + node, node);
        const ToolRun run = runTool({"calib-write", "--device", std::to_string(node), calibration});
        EXPECT_EQ(run.status, 0) << run.out << run.err;
        const std::vector<std::string> files = backupFiles();
        EXPECT_EQ(files.size(), before + 1);
        for (const std::string& file : files)
            if (contains(run.out, file))
                return file;
        return "";
    }
};

TEST_F(RestoreCommand, WritesTheBackupBackToItsModuleWithVerify)
{
    VirtualModule& module = moduleWith("2620", 0, "FIRST", 1);
    const std::string backup = backupOf(0);
    ASSERT_NE(flashBytes(module, userPieceAddress(0), 4096), patternBytes(4096, 1));

    const ToolRun run = runTool({"restore", backup});
    EXPECT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_TRUE(contains(run.out, "User data backed up to ")) << "the present contents are kept too: " << run.out;
    EXPECT_TRUE(contains(run.out, "User data from " + backup + " (taken ")) << run.out;
    EXPECT_TRUE(contains(run.out, ") written to /dev/video0 and verified\n")) << run.out;
    EXPECT_EQ(flashBytes(module, userPieceAddress(0), 4096), patternBytes(4096, 1));
    EXPECT_EQ(flashBytes(module, userPieceAddress(1), 4096), patternBytes(4096, 2));
    EXPECT_EQ(backupFiles().size(), 2u);
}

// What a backup file says of its module is printed with its control characters escaped.
TEST_F(RestoreCommand, TheBackupsTextsArePrintedEscaped)
{
    moduleWith("2620", 0, "FIRST", 1);
    const std::string path = backupOf(0);
    korvane::maintenance::UserDataBackup backup;
    std::string why;
    ASSERT_TRUE(korvane::maintenance::UserDataBackup::load(path, backup, why)) << why;
    backup.identification = "100-100-7119-\x1b[2J\nOTHER";
    backup.takenAt = "2026-11-21T09:13:53Z\x1b[8m";
    const std::vector<std::uint8_t> bytes = backup.toBytes();
    const std::string other = work().write("other.kvbackup", std::string(bytes.begin(), bytes.end()));

    ToolRun run = runTool({"restore", other});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "korvane-maintenance: refusing " + other + ": it was taken from module "
                       "100-100-7119-\\x1b[2J\\x0aOTHER, the module on /dev/video0 is 100-100-7119-FIRST; add "
                       "--force to write it anyway\n");
    run = runTool({"restore", other, "--force"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(contains(run.out, "(taken 2026-11-21T09:13:53Z\\x1b[8m) written to /dev/video0")) << run.out;

    backup.model = "QLV_8M_1\x1b[2J";
    const std::vector<std::uint8_t> modelBytes = backup.toBytes();
    const std::string model = work().write("model.kvbackup", std::string(modelBytes.begin(), modelBytes.end()));
    run = runTool({"restore", model});
    EXPECT_EQ(run.status, 4);
    EXPECT_TRUE(contains(run.err, "it holds the user data of a QLV_8M_1\\x1b[2J module")) << run.err;
}

TEST_F(RestoreCommand, ABackupOfAnotherModuleIsRefusedWithoutForce)
{
    moduleWith("2620", 0, "FIRST", 1);
    VirtualModule& other = moduleWith("2620", 2, "SECOND", 7);
    const std::string backup = backupOf(0);
    other.Clear_Queries();

    ToolRun run = runTool({"restore", "--device", "2", backup});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "korvane-maintenance: refusing " + backup + ": it was taken from module 100-100-7119-FIRST, "
                       "the module on /dev/video2 is 100-100-7119-SECOND; add --force to write it anyway\n");
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(flashChanges(other.Queries()), 0u);
    EXPECT_EQ(flashBytes(other, userPieceAddress(0), 4096), patternBytes(4096, 7));

    run = runTool({"restore", backup, "--device", "2", "--force"});
    EXPECT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_EQ(flashBytes(other, userPieceAddress(0), 4096), patternBytes(4096, 1));
    EXPECT_EQ(flashBytes(other, userPieceAddress(1), 4096), patternBytes(4096, 2));
}

TEST_F(RestoreCommand, ABackupOfAnotherChipIsRefusedEvenWithForce)
{
    moduleWith("2620", 0, "FIRST", 1);
    VirtualModule& other = moduleWith("2650", 2, "SECOND", 7);
    const std::string backup = backupOf(0);
    other.Clear_Queries();
    const ToolRun run = runTool({"restore", "--device", "2", "--force", backup});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "korvane-maintenance: refusing " + backup +
                           ": it holds the user data of a QLV_8M_1 module, the module on /dev/video2 is a QLVR_56_2\n");
    EXPECT_EQ(flashChanges(other.Queries()), 0u);
}

TEST_F(RestoreCommand, AFileThatIsNoBackupIsRefusedBeforeAnyTraffic)
{
    VirtualModule& module = moduleWith("2620", 0, "FIRST", 1);
    const std::string backup = backupOf(0);
    std::string bytes = readFile(backup);
    const std::string truncated = work().write("truncated.kvbackup", bytes.substr(0, bytes.size() - 10));
    bytes[bytes.size() / 2] ^= 0x40;
    const std::string damaged = work().write("damaged.kvbackup", bytes);
    const std::string text = work().write("text.kvbackup", "hello\n");
    module.Clear_Queries();
    for (const std::string& path : {truncated, damaged, text, work().file("absent.kvbackup")}) {
        const ToolRun run = runTool({"restore", path});
        EXPECT_EQ(run.status, 4) << path;
        EXPECT_EQ(run.err.rfind("korvane-maintenance: refusing " + path + ": ", 0), 0u) << run.err;
    }
    EXPECT_TRUE(module.Queries().empty());
}

TEST_F(RestoreCommand, NoModuleGivesStatusThree)
{
    moduleWith("2620", 0, "FIRST", 1);
    const std::string backup = backupOf(0);
    const ToolRun run = runTool({"restore", "--device", "5", backup});
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.err, "korvane-maintenance: no module on /dev/video5\n");
}

} // namespace
