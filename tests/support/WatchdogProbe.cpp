// A test program whose one test waits for ever, for the watchdog's test.
#include <chrono>
#include <cstdio>

#include <gtest/gtest.h>

#include "support/ChildProcess.h"

using namespace std::chrono_literals;

TEST(WatchdogProbe, WaitsForTextThatNeverComes)
{
    korvane::test::ChildProcess child({"sh", "-c", "echo $$; exec sleep 300"});
    ASSERT_TRUE(child.waitFor("\n", 10s));
    std::printf("child %s", child.output().c_str());
    std::fflush(stdout);
    child.waitFor("never printed", 600s);
}
