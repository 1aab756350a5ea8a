// The main job on virtual modules, as a user who may not open the module's node.
#include <chrono>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "DeviceTestSupport.h"
#include "support/ChildProcess.h"

using namespace korvane::test;
using namespace std::chrono_literals;

namespace {

using MainJobOnModule = DeviceTest;

TEST_F(MainJobOnModule, ANodeThatMayNotBeOpenedIsNamedFirst)
{
    addModule(0);
    shareModulesWithOtherUsers();
    denyNode(0);
    // Everything else the job needs is open to that user: only the node stands in its way.
    namespace fs = std::filesystem;
    fs::permissions(work().path(), fs::perms::others_exec, fs::perm_options::add);
    fs::create_directory(work().file("out"));
    fs::permissions(work().file("out"), fs::perms::all);
    int status = -1;
    const std::string output =
        runProgram(asUnprivilegedUser({KORVANE_MAIN_JOB, "--device", "0", "--calib", sampleCalibrationPath(),
                                       "--out", work().file("out"), "--no-window"}),
                   {}, status, 30s, StandardError::Collected);
    EXPECT_EQ(status, 1) << output;
    EXPECT_EQ(output, "permission denied on /dev/video0: install the udev rules or join the plugdev group\n");
}

} // namespace
