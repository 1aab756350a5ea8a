#include "support/TestWatchdog.h"

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <thread>

#include <gtest/gtest.h>
#include <unistd.h>

namespace korvane::test {

namespace {

using Clock = std::chrono::steady_clock;

// Shared between the test thread and the watchdog thread through atomics
// only: the watchdog reads them when it fires, while the test may be
// changing them, so a message may at worst mix two waits.
std::atomic<const ::testing::TestInfo*> g_test{nullptr};
std::atomic<Clock::rep> g_started{0};
std::array<std::atomic<char>, 512> g_waiting{};
std::array<std::atomic<pid_t>, 64> g_groups{};

void setWaiting(const std::string& what)
{
    const std::size_t n = std::min(what.size(), g_waiting.size() - 1);
    for (std::size_t i = 0; i < n; ++i)
        g_waiting[i].store(what[i], std::memory_order_relaxed);
    g_waiting[n].store('\0', std::memory_order_relaxed);
}

void say(const std::string& text)
{
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = write(STDERR_FILENO, text.data() + done, text.size() - done);
        if (n <= 0)
            return;
        done += static_cast<std::size_t>(n);
    }
}

[[noreturn]] void fire(const ::testing::TestInfo& test, int seconds)
{
    std::string waiting;
    for (const std::atomic<char>& c : g_waiting) {
        const char value = c.load(std::memory_order_relaxed);
        if (value == '\0')
            break;
        waiting += value;
    }
    say(std::string("\n[watchdog] ") + test.test_suite_name() + "." + test.name() + " still running after " +
        std::to_string(seconds) + " s, " + (waiting.empty() ? "not in a named wait" : "waiting for " + waiting) +
        "; killing its child processes and ending the test program\n");
    for (std::atomic<pid_t>& group : g_groups)
        if (const pid_t g = group.load(); g > 0)
            kill(-g, SIGKILL);
    _exit(1);
}

class Listener : public ::testing::EmptyTestEventListener
{
public:
    void OnTestStart(const ::testing::TestInfo& test) override
    {
        setWaiting("");
        g_started.store(Clock::now().time_since_epoch().count());
        g_test.store(&test);
    }
    void OnTestEnd(const ::testing::TestInfo&) override { g_test.store(nullptr); }
};

int budgetSeconds()
{
    const char* text = std::getenv("KORVANE_TEST_BUDGET_SECONDS");
    const int value = text ? std::atoi(text) : 0;
    return value > 0 ? value : KORVANE_TEST_BUDGET_SECONDS;
}

} // namespace

void installTestWatchdog()
{
    static bool installed = false;
    if (installed)
        return;
    installed = true;
    const int budget = budgetSeconds();
    ::testing::UnitTest::GetInstance()->listeners().Append(new Listener);
    // The test forks copies of itself: the sanitizers' allocator and thread
    // list are not fork-safe, so a copy made while this thread is still
    // starting may inherit one of their locks held and hang. Install returns
    // only once the thread is in its loop, where it takes no lock.
    static std::atomic<bool> running{false};
    std::thread([budget] {
        running.store(true);
        for (;;) {
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
            const ::testing::TestInfo* test = g_test.load();
            const Clock::time_point started{Clock::duration(g_started.load())};
            if (test && Clock::now() - started > std::chrono::seconds(budget) && g_test.load() == test)
                fire(*test, budget);
        }
    }).detach();
    while (!running.load())
        std::this_thread::yield();
}

WaitingFor::WaitingFor(const std::string& what) { setWaiting(what); }

WaitingFor::~WaitingFor() { setWaiting(""); }

void watchChildGroup(pid_t group)
{
    for (std::atomic<pid_t>& slot : g_groups) {
        pid_t free = 0;
        if (slot.compare_exchange_strong(free, group))
            return;
    }
}

void unwatchChildGroup(pid_t group)
{
    for (std::atomic<pid_t>& slot : g_groups) {
        pid_t expected = group;
        if (slot.compare_exchange_strong(expected, 0))
            return;
    }
}

} // namespace korvane::test
