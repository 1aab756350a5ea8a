// korvane-maintenance as a program: its exit statuses and output streams,
// with the virtual modules of this test seen through the inherited environment.
#include <cstdlib>
#include <map>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "support/ChildProcess.h"
#include "Firmware_Image_Generator.h"
#include "ToolTestSupport.h"

using namespace korvane::test;
using namespace std::chrono_literals;

namespace {

using ToolProgram = ToolTest;

ToolRun runProgramTool(std::vector<std::string> words)
{
    words.insert(words.begin(), KORVANE_MAINTENANCE_TOOL);
    int status = -1;
    const std::string out = runProgram(words, {}, status, 60s);
    return {status, out, ""};
}

TEST_F(ToolProgram, HelpAndUsageErrors)
{
    ToolRun run = runProgramTool({"--help"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out.rfind("Usage: korvane-maintenance <command> [--device N] [options] [arguments]\n", 0), 0u);
    run = runProgramTool({"restore", "--help"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out.rfind("Usage: korvane-maintenance restore [--device N] BACKUP [--force]\n", 0), 0u) << run.out;
    EXPECT_EQ(runProgramTool({}).status, 2);
    EXPECT_EQ(runProgramTool({"frobnicate"}).status, 2);
}

TEST_F(ToolProgram, ListsTheModulesAndSaysWhenThereAreNone)
{
    ToolRun run = runProgramTool({"list"});
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.out, "") << "messages go to standard error";

    addModule(0);
    run = runProgramTool({"list"});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(lineWith(run.out, "/dev/video0  SPCA2620  QLV_8M_1"), "") << run.out;
}

// Special files are refused unread. Should the tool read one whole, the
// allocator's limit ends it quickly instead of filling the memory.
TEST_F(ToolProgram, SpecialFilesAreRefusedUnread)
{
    addModule(0);
    const char* asan = std::getenv("ASAN_OPTIONS");
    const std::map<std::string, std::string> bounded = {
        {"ASAN_OPTIONS", std::string(asan ? asan : "") + ":max_allocation_size_mb=64:allocator_may_return_null=0"}};
    const std::string fifo = work().file("image.fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::vector<std::pair<std::string, std::string>> files = {{"/dev/zero", "a character device"},
                                                                     {fifo, "a FIFO"}};
    for (const auto& [path, kind] : files) {
        int status = -1;
        const std::string output = runProgram({KORVANE_MAINTENANCE_TOOL, "firmware", path}, bounded, status, 20s,
                                              StandardError::Collected);
        EXPECT_EQ(status, 4) << output;
        EXPECT_EQ(output, "korvane-maintenance: cannot read " + path + ": it is " + kind + ", not a regular file\n");
    }
}

// A user who may not open a module's node is told so, not that there is no module.
TEST_F(ToolProgram, ANodeThatMayNotBeOpenedIsNamedWithWhatToDo)
{
    addModule(0);
    shareModulesWithOtherUsers();
    denyNode(0);
    const std::string denied =
        "korvane-maintenance: permission denied on /dev/video0: install the udev rules or join the plugdev group\n";
    const std::vector<std::vector<std::string>> commands = {{"list"}, {"info"}, {"info", "--device", "0"}};
    for (const std::vector<std::string>& command : commands) {
        std::vector<std::string> line = {KORVANE_MAINTENANCE_TOOL};
        line.insert(line.end(), command.begin(), command.end());
        int status = -1;
        const std::string output = runProgram(asUnprivilegedUser(line), {}, status, 30s, StandardError::Collected);
        EXPECT_EQ(status, 3) << command.back();
        EXPECT_EQ(output, denied) << command.back();
    }

    // A module the user may open is served; the denied node is still named.
    korvane::emulator::ModuleConfig second = korvane::emulator::Camera_Module("2620", 2);
    second.serial = "SECOND";
    addModule(second);
    shareModulesWithOtherUsers();
    denyNode(0);
    int status = -1;
    std::string output = runProgram(asUnprivilegedUser({KORVANE_MAINTENANCE_TOOL, "list"}), {}, status, 30s,
                                    StandardError::Collected);
    EXPECT_EQ(status, 0) << output;
    EXPECT_NE(lineWith(output, "/dev/video2  SPCA2620"), "") << output;
    EXPECT_TRUE(contains(output, denied)) << output;
    output = runProgram(asUnprivilegedUser({KORVANE_MAINTENANCE_TOOL, "info", "--device", "2"}), {}, status, 30s,
                        StandardError::Collected);
    EXPECT_EQ(status, 0) << output;
    EXPECT_EQ(lineWith(output, "Serial:"), "Serial:         SECOND") << output;
}

TEST_F(ToolProgram, ARefusedImageEndsWithStatusFour)
{
    korvane::emulator::VirtualModule& module = addModule(0);
    const auto image = korvane::firmware::Make_Firmware_Image(korvane::firmware::Firmware_Image_Kind::Kun, 0x10000);
    const std::string path = work().write("fw.bin", std::string(image.begin(), image.end()));
    const ToolRun run = runProgramTool({"firmware", path});
    EXPECT_EQ(run.status, 4);
    EXPECT_TRUE(module.Queries().empty());
}

TEST_F(ToolProgram, AFirmwareUpdateShowsItsPhasesAndRestoresTheUserData)
{
    Testbed().Set_Restart_Delay(std::chrono::milliseconds(20));
    korvane::emulator::VirtualModule& module = addModule(0);
    const std::vector<std::uint8_t> calibration = patternBytes(4096, 11);
    loadFlash(module, userPieceAddress(0), calibration);
    const auto image =
        korvane::firmware::Make_Firmware_Image(korvane::firmware::Firmware_Image_Kind::Header_2620, 0x8000);
    const std::string path = work().write("fw.bin", std::string(image.begin(), image.end()));
    const ToolRun run = runProgramTool({"firmware", path, "--wait", "10"});
    EXPECT_EQ(run.status, 0) << run.out;
    for (const char* phase : {"% preparing\n", "% erasing\n", "% writing and verifying\n", "% header\n",
                              "100.0% restarting\n", "User data restored and verified from "})
        EXPECT_NE(run.out.find(phase), std::string::npos) << phase << "\n" << run.out;
    EXPECT_EQ(flashBytes(module, 0, image.size()), image);
    EXPECT_EQ(flashBytes(module, userPieceAddress(0), 4096), calibration);
}

} // namespace
