// calib-write on virtual modules: the file check before any traffic, the
// user-data backup, the write and its read-back, and the restore command a
// failure names.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>

#include <dlfcn.h>
#include <spawn.h>

#include <gtest/gtest.h>

#include "ChipCatalog.h"
#include "Extension_Unit_Class/Extension_Unit_Templates.h"
#include "ToolTestSupport.h"
#include "UserDataBackup.h"

using namespace korvane::test;
using korvane::emulator::ChipModel;
using korvane::emulator::QueryRecord;
using korvane::emulator::VirtualModule;
using korvane::maintenance::UserDataBackup;

namespace {

// A file put in place of another when this process next starts a program:
// the calibration check has the file's text parsed by a program of its own,
// so the replacement lands after the file was read and checked.
struct SpawnReplacement
{
    std::string replacement;
    std::string path;
    bool armed = false;
    bool done = false;
};

SpawnReplacement g_spawnReplacement;

void replaceBeforeSpawn()
{
    if (!g_spawnReplacement.armed)
        return;
    g_spawnReplacement.armed = false;
    g_spawnReplacement.done =
        std::rename(g_spawnReplacement.replacement.c_str(), g_spawnReplacement.path.c_str()) == 0;
}

void replaceOnNextSpawn(const std::string& replacement, const std::string& path)
{
    g_spawnReplacement = {replacement, path, true, false};
}

} // namespace

// Takes the place of the C library's posix_spawn in this test program (the
// libraries call it through the dynamic linker), to replace the file first.
extern "C" int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                           const posix_spawnattr_t* attributes, char* const argv[], char* const envp[])
{
    using Spawn = int (*)(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*,
                          char* const[], char* const[]);
    static const Spawn real = reinterpret_cast<Spawn>(dlsym(RTLD_NEXT, "posix_spawn"));
    replaceBeforeSpawn();
    return real ? real(pid, path, actions, attributes, argv, envp) : ENOSYS;
}

namespace {

std::vector<std::uint8_t> blockOf(const std::string& text)
{
    std::vector<std::uint8_t> block(text.begin(), text.end());
    block.resize(4096, 0);
    return block;
}

class CalibWrite : public ToolTest
{
protected:
    // A module whose flash holds the factory calibration and other user data.
    VirtualModule& factoryModule()
    {
        VirtualModule& module = addModule(0);
        const std::string factory = work().file("factory.yml");
        writeCalibrationFile(factory, 1001, 3);
        m_factoryBlock = blockOf(readFile(factory));
        loadFlash(module, userPieceAddress(0), m_factoryBlock);
        loadFlash(module, userPieceAddress(1), patternBytes(4096, 9));
        module.Clear_Queries();
        return module;
    }

    std::string newCalibration()
    {
        const std::string path = work().file("new.yml");
        writeCalibrationFile(path, 2002, 5);
        return path;
    }

    // Runs the restore command printed in text and expects it to succeed.
    void runPrintedRestore(const std::string& text)
    {
        const std::string line = lineWith(text, "korvane-maintenance restore --device 0 ");
        ASSERT_FALSE(line.empty()) << text;
        std::vector<std::string> command = words(line);
        command.erase(command.begin());
        const ToolRun run = runTool(command);
        EXPECT_EQ(run.status, 0) << run.out << run.err;
    }

    std::vector<std::uint8_t> m_factoryBlock;
};

TEST_F(CalibWrite, BacksUpWritesAndReadsTheBlockBack)
{
    VirtualModule& module = factoryModule();
    const std::string path = newCalibration();
    const std::string text = readFile(path);

    const ToolRun run = runTool({"calib-write", path});
    ASSERT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_EQ(run.err, "");
    ASSERT_EQ(backupFiles().size(), 1u);
    EXPECT_EQ(run.out, "User data backed up to " + backupFiles()[0] + "\n" + "Calibration " + path + " (" +
                           std::to_string(text.size()) + " bytes) written to /dev/video0 and verified\n");
    EXPECT_EQ(flashBytes(module, userPieceAddress(0), 4096), blockOf(text));
    EXPECT_EQ(flashBytes(module, userPieceAddress(1), 4096), patternBytes(4096, 9)) << "other user data kept";

    UserDataBackup backup;
    std::string why;
    ASSERT_TRUE(UserDataBackup::load(backupFiles()[0], backup, why)) << why;
    EXPECT_EQ(backup.identification, "100-100-" + std::to_string(0x1bcf) + "-KV1000000000");
    ASSERT_EQ(backup.pieces.size(), 2u);
    EXPECT_EQ(backup.pieces[0], m_factoryBlock);
    EXPECT_EQ(backup.pieces[1], patternBytes(4096, 9));

    // The block was read back after it was written.
    const std::vector<QueryRecord> queries = module.Queries();
    std::size_t lastWrite = 0;
    std::size_t lastRead = 0;
    for (std::size_t i = 0; i < queries.size(); ++i) {
        if (queries[i].request.selector != XU_SEL_PIECE_DATA)
            continue;
        if (queries[i].request.query == korvane::emulator::kSetCur)
            lastWrite = i;
        if (queries[i].request.query == korvane::emulator::kGetCur)
            lastRead = i;
    }
    EXPECT_GT(lastWrite, 0u);
    EXPECT_GT(lastRead, lastWrite);
}

TEST_F(CalibWrite, WritesTheBytesItCheckedThoughTheFileIsReplacedAfterTheCheck)
{
    VirtualModule& module = factoryModule();
    const std::string path = newCalibration();
    const std::string checked = readFile(path);
    const std::string other = "%YAML:1.0\n---\nnot: a calibration\n";
    replaceOnNextSpawn(work().write("other.yml", other), path);

    const ToolRun run = runTool({"calib-write", path});
    g_spawnReplacement.armed = false;
    ASSERT_TRUE(g_spawnReplacement.done) << "the file was not replaced during the check";
    ASSERT_EQ(readFile(path), other);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(flashBytes(module, userPieceAddress(0), 4096), blockOf(checked));
    EXPECT_TRUE(contains(run.out, "Calibration " + path + " (" + std::to_string(checked.size()) + " bytes) written"))
        << run.out;
}

TEST_F(CalibWrite, InputsThatAreNotRegularFilesOrTooLargeAreRefusedBeforeAnyTraffic)
{
    VirtualModule& module = factoryModule();
    std::filesystem::create_directory(work().file("calibrations"));
    ToolRun run = runTool({"calib-write", work().file("calibrations")});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "korvane-maintenance: cannot read " + work().file("calibrations") +
                           ": it is a directory, not a regular file\n");

    const std::uint32_t largest = korvane::maintenance::largestFirmwareArea();
    const std::string huge = work().write("huge.yml", "");
    std::filesystem::resize_file(huge, largest + 1);
    run = runTool({"calib-write", huge});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "korvane-maintenance: cannot read " + huge + ": it is " + std::to_string(largest + 1) +
                           " bytes, more than the largest firmware area (" + std::to_string(largest) + " bytes)\n");
    EXPECT_TRUE(module.Queries().empty());
    EXPECT_TRUE(backupFiles().empty());
}

TEST_F(CalibWrite, AFileThatIsNotACalibrationIsRefusedBeforeAnyTraffic)
{
    VirtualModule& module = factoryModule();
    const std::string path = work().write("notes.yml", "%YAML:1.0\n---\nSerialNumber: 7\n");
    const ToolRun run = runTool({"calib-write", path});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err.rfind("korvane-maintenance: refusing " + path + ": ", 0), 0u) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_TRUE(module.Queries().empty());
    EXPECT_TRUE(backupFiles().empty());
    EXPECT_EQ(flashBytes(module, userPieceAddress(0), 4096), m_factoryBlock);
}

TEST_F(CalibWrite, AFileLongerThanTheBlockIsRefusedBeforeAnyTraffic)
{
    VirtualModule& module = factoryModule();
    std::string text = readFile(newCalibration());
    text += "#" + std::string(4096 - text.size(), 'x') + "\n";
    ASSERT_EQ(text.size(), 4098u);
    const std::string path = work().write("long.yml", text);
    const ToolRun run = runTool({"calib-write", path});
    EXPECT_EQ(run.status, 4);
    EXPECT_TRUE(contains(run.err, "longer than the 4096-byte")) << run.err;
    EXPECT_TRUE(module.Queries().empty());
    EXPECT_TRUE(backupFiles().empty());
    EXPECT_EQ(flashBytes(module, userPieceAddress(0), 4096), m_factoryBlock);
}

TEST_F(CalibWrite, AMissingFileIsRefused)
{
    VirtualModule& module = factoryModule();
    const ToolRun run = runTool({"calib-write", work().file("absent.yml")});
    EXPECT_EQ(run.status, 4);
    EXPECT_TRUE(module.Queries().empty());
}

TEST_F(CalibWrite, NoModuleGivesStatusThree)
{
    const ToolRun run = runTool({"calib-write", newCalibration()});
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.err, "korvane-maintenance: no module is attached\n");
}

TEST_F(CalibWrite, AReadBackDifferenceKeepsTheBackupAndNamesTheRestore)
{
    VirtualModule& module = factoryModule();
    // A worn cell at the block's first byte: programming cannot clear its bits.
    module.With_Chip([](ChipModel& chip) {
        chip.Flash().Set_Stuck_Bits(userPieceAddress(0), 0xFF);
        return 0;
    });
    const ToolRun run = runTool({"calib-write", newCalibration()});
    EXPECT_EQ(run.status, 1);
    ASSERT_EQ(backupFiles().size(), 1u);
    EXPECT_TRUE(contains(run.err, "korvane-maintenance: the calibration block read back differs from ")) << run.err;
    EXPECT_TRUE(contains(run.err, "kept in " + backupFiles()[0])) << run.err;
    EXPECT_EQ(lineWith(run.err, "korvane-maintenance restore"), "  korvane-maintenance restore --device 0 " + backupFiles()[0]);

    module.With_Chip([](ChipModel& chip) {
        chip.Flash().Clear_Stuck_Bits();
        return 0;
    });
    runPrintedRestore(run.err);
    EXPECT_EQ(flashBytes(module, userPieceAddress(0), 4096), m_factoryBlock);
}

TEST_F(CalibWrite, AFailedWriteKeepsTheBackupAndNamesTheRestore)
{
    VirtualModule& module = factoryModule();
    module.Fail_Queries({korvane::emulator::kAny, XU_SEL_PIECE_DATA, korvane::emulator::kSetCur, EIO,
                         korvane::emulator::kAlways});
    const ToolRun run = runTool({"calib-write", newCalibration()});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(contains(run.err, "korvane-maintenance: writing the calibration block failed (status -3)")) << run.err;
    ASSERT_EQ(backupFiles().size(), 1u);
    EXPECT_NE(flashBytes(module, userPieceAddress(0), 4096), m_factoryBlock) << "the sector was erased";

    module.Clear_Faults();
    runPrintedRestore(run.err);
    EXPECT_EQ(flashBytes(module, userPieceAddress(0), 4096), m_factoryBlock);
    EXPECT_EQ(flashBytes(module, userPieceAddress(1), 4096), patternBytes(4096, 9));
}

TEST_F(CalibWrite, NothingIsWrittenWhenTheBackupCannotBeTaken)
{
    VirtualModule& module = factoryModule();
    // The backup directory cannot be made: a file stands in its place.
    work().write("backups", "not a directory");
    const ToolRun run = runTool({"calib-write", newCalibration()});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(contains(run.out, "Cannot back up the user data: ")) << run.out;
    EXPECT_EQ(run.err, "korvane-maintenance: nothing was written: the user data could not be backed up\n");
    EXPECT_EQ(flashChanges(module.Queries()), 0u);
    EXPECT_EQ(flashBytes(module, userPieceAddress(0), 4096), m_factoryBlock);
}

} // namespace
