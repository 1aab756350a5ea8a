// The control library's log names a video node that this user may not open.
#include <string>

#include <gtest/gtest.h>

#include "DeviceTestSupport.h"
#include "support/ChildProcess.h"

using namespace korvane::test;
using namespace std::chrono_literals;

namespace {

using DeniedNodeLog = DeviceTest;

TEST_F(DeniedNodeLog, EnumerationNamesTheNodeWithWhatToDoWhenALogIsSet)
{
    addModule(0);
    addModule(korvane::emulator::Camera_Module("2620", 2));
    shareModulesWithOtherUsers();
    denyNode(0);
    const std::string denied =
        "permission denied on /dev/video0: install the udev rules or join the plugdev group\n";

    int status = -1;
    const std::string logged =
        runProgram(asUnprivilegedUser({KORVANE_PROBE, "--log"}), {}, status, 30s, StandardError::Collected);
    EXPECT_EQ(status, 0) << logged;
    EXPECT_NE(logged.find(denied), std::string::npos) << logged;
    EXPECT_NE(logged.find("cameras 1\n"), std::string::npos) << logged;

    // Without a log the library says nothing of it; the listing is unchanged.
    const std::string quiet =
        runProgram(asUnprivilegedUser({KORVANE_PROBE}), {}, status, 30s, StandardError::Collected);
    EXPECT_EQ(status, 0) << quiet;
    EXPECT_EQ(quiet.find("permission denied"), std::string::npos) << quiet;
    EXPECT_NE(quiet.find("cameras 1\n"), std::string::npos) << quiet;
}

} // namespace
