#ifndef KORVANE_TESTS_DEVICE_CHILDPROCESS_H
#define KORVANE_TESTS_DEVICE_CHILDPROCESS_H

#include <chrono>
#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace korvane::test {

// A program run as a child with its standard output (and error, when asked)
// collected through a pipe. Killed on destruction if still running.
class ChildProcess
{
public:
    // environment: variables to set (an empty value removes the variable)
    // on top of this process's environment.
    ChildProcess(std::vector<std::string> args, const std::map<std::string, std::string>& environment,
                 bool withStandardError = false);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool started() const { return m_pid > 0; }
    // Collects output until text appears or the time runs out.
    bool waitFor(const std::string& text, std::chrono::milliseconds timeout);
    // The exit status, or -1 when it did not end in time (it is then
    // killed) or ended by a signal.
    int finish(std::chrono::milliseconds timeout);
    const std::string& output();

private:
    void drain();

    pid_t m_pid = -1;
    int m_out = -1;
    bool m_done = false;
    std::string m_text;
};

// Runs a program to its end (bounded) and returns its output; status gets
// its exit status.
std::string runProgram(const std::vector<std::string>& args, const std::map<std::string, std::string>& environment,
                       int& status, std::chrono::milliseconds timeout = std::chrono::seconds(30));

} // namespace korvane::test

#endif
