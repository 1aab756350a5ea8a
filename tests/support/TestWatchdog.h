#ifndef KORVANE_TESTS_SUPPORT_TESTWATCHDOG_H
#define KORVANE_TESTS_SUPPORT_TESTWATCHDOG_H

#include <string>
#include <sys/types.h>

namespace korvane::test {

// Ends a test program whose current test runs past its budget, well before
// ctest would kill it: prints which test ran for how long and what it was
// waiting for, kills the process groups of the test's children and exits
// with status 1. The budget is the build's, 20 s below ctest's time-out;
// $KORVANE_TEST_BUDGET_SECONDS changes it. Call once in main(), before
// RUN_ALL_TESTS.
void installTestWatchdog();

// Names what the current test waits for while the object lives, for the
// watchdog's message.
class WaitingFor
{
public:
    explicit WaitingFor(const std::string& what);
    ~WaitingFor();
    WaitingFor(const WaitingFor&) = delete;
    WaitingFor& operator=(const WaitingFor&) = delete;
};

// Process groups the watchdog kills when it fires.
void watchChildGroup(pid_t group);
void unwatchChildGroup(pid_t group);

} // namespace korvane::test

#endif
