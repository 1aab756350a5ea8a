// The test helper that starts child processes: nothing it starts outlives
// the test, and a started program inherits only its standard descriptors.
#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include "support/ChildProcess.h"

using namespace korvane::test;
using namespace std::chrono_literals;

namespace {

// Whether a process runs (a zombie waiting for its parent does not).
bool running(pid_t pid)
{
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    if (!std::getline(stat, line))
        return false;
    const std::size_t close = line.rfind(')');
    return close != std::string::npos && close + 2 < line.size() && line[close + 2] != 'Z';
}

bool endsSoon(pid_t pid)
{
    for (auto deadline = std::chrono::steady_clock::now() + 5s; std::chrono::steady_clock::now() < deadline;) {
        if (!running(pid))
            return true;
        std::this_thread::sleep_for(20ms);
    }
    return false;
}

TEST(ChildProcess, ItsWholeProcessGroupGoesWithIt)
{
    pid_t grandchild = 0;
    pid_t child = 0;
    {
        ChildProcess shell({"sh", "-c", "sleep 300 & echo $!; wait"});
        ASSERT_TRUE(shell.waitFor("\n", 10s)) << shell.output();
        grandchild = std::stoi(shell.output());
        child = shell.pid();
        ASSERT_TRUE(running(grandchild));
    }
    EXPECT_TRUE(endsSoon(child));
    EXPECT_TRUE(endsSoon(grandchild)) << "a process the child started outlived the test's helper";
}

TEST(ChildProcess, FinishEndsAChildThatOverrunsItsTime)
{
    ChildProcess sleeper({"sleep", "300"});
    ASSERT_TRUE(sleeper.started());
    EXPECT_EQ(sleeper.finish(200ms), -1);
    EXPECT_FALSE(sleeper.exitedByItself());
    EXPECT_TRUE(endsSoon(sleeper.pid()));
}

TEST(ChildProcess, AProgramInheritsOnlyItsStandardDescriptors)
{
    const int leaked = open("/dev/null", O_RDONLY); // no close-on-exec, as a careless caller would
    ASSERT_GE(leaked, 0);
    ASSERT_EQ(dup2(leaked, 57), 57);
    int status = -1;
    const std::string listing = runProgram({"ls", "-1", "/proc/self/fd"}, {}, status, 10s);
    close(57);
    close(leaked);
    ASSERT_EQ(status, 0) << listing;
    std::istringstream lines(listing);
    std::vector<int> descriptors;
    for (std::string line; std::getline(lines, line);)
        descriptors.push_back(std::stoi(line));
    // 0 to 2, and the one ls opens to read the folder.
    EXPECT_EQ(descriptors, (std::vector<int>{0, 1, 2, 3})) << listing;
}

TEST(ChildProcess, StandardInputIsEmptyAndErrorIsCollectedWhenAsked)
{
    int status = -1;
    const std::string out =
        runProgram({"sh", "-c", "cat; echo to-error >&2"}, {}, status, 10s, StandardError::Collected);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(out, "to-error\n");
}

TEST(ChildProcess, AForkedCopyRunsTheBodyAndItsOutputIsCollected)
{
    ChildProcess copy([] { std::printf("from the copy %d\n", 7); });
    EXPECT_EQ(copy.finish(10s), 0);
    EXPECT_TRUE(copy.exitedByItself());
    EXPECT_EQ(copy.output(), "from the copy 7\n");
}

TEST(ChildProcess, AnEnvironmentEntryIsSetOrRemoved)
{
    setenv("KORVANE_CHILD_TEST_GONE", "here", 1);
    int status = -1;
    const std::string out = runProgram({"sh", "-c", "echo \"$KORVANE_CHILD_TEST_SET/${KORVANE_CHILD_TEST_GONE:-none}\""},
                                       {{"KORVANE_CHILD_TEST_SET", "set"}, {"KORVANE_CHILD_TEST_GONE", ""}}, status);
    unsetenv("KORVANE_CHILD_TEST_GONE");
    EXPECT_EQ(out, "set/none\n");
}

// A test that waits for ever is ended by the watchdog within its budget,
// with a line naming the test and the wait, and its children go with it.
TEST(TestWatchdog, EndsAStuckTestNamingWhatItWaitedForAndKillsItsChildren)
{
    const auto start = std::chrono::steady_clock::now();
    ChildProcess probe({KORVANE_WATCHDOG_PROBE}, {{"KORVANE_TEST_BUDGET_SECONDS", "2"}}, StandardError::Collected);
    const int status = probe.finish(30s);
    const std::string& out = probe.output();
    EXPECT_EQ(status, 1) << out;
    EXPECT_LT(std::chrono::steady_clock::now() - start, 20s);
    EXPECT_NE(out.find("[watchdog] WatchdogProbe.WaitsForTextThatNeverComes still running after 2 s, waiting for "
                       "\"never printed\" from sh"),
              std::string::npos)
        << out;
    const std::size_t at = out.find("child ");
    ASSERT_NE(at, std::string::npos) << out;
    EXPECT_TRUE(endsSoon(std::stoi(out.substr(at + 6)))) << "the stuck test's child outlived it";
}

} // namespace
