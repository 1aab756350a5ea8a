#ifndef KORVANE_TESTS_SUPPORT_CHILDPROCESS_H
#define KORVANE_TESTS_SUPPORT_CHILDPROCESS_H

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace korvane::test {

// Where a child's standard error goes.
enum class StandardError
{
    Inherited, // the test's own (shown in ctest's log)
    Collected, // into output(), with standard output
};

// A child process that never outlives its test. It runs in a process group
// of its own, which is killed as a whole when the object goes while it still
// runs, when the test's watchdog fires, and (for the child itself) by the
// kernel when the test process dies. Standard input is /dev/null, standard
// output (and error, when asked) a pipe the test reads; a started program
// inherits no other descriptor.
class ChildProcess
{
public:
    // A program, looked up in PATH. environment: variables set on top of
    // this process's environment; an empty value removes the variable.
    ChildProcess(std::vector<std::string> args, const std::map<std::string, std::string>& environment = {},
                 StandardError error = StandardError::Inherited);
    // A forked copy of this process that runs body and exits with status 0
    // when body returns.
    explicit ChildProcess(const std::function<void()>& body);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool started() const { return m_pid > 0; }
    pid_t pid() const { return m_pid; }
    // Collects output until text appears, the child ends or the time runs
    // out; what is awaited is named to the watchdog meanwhile.
    bool waitFor(const std::string& text, std::chrono::milliseconds timeout);
    // The exit status, or -1 when it ended by a signal or did not end in
    // time (its group is then killed).
    int finish(std::chrono::milliseconds timeout);
    // After finish: whether it ended by itself rather than being killed.
    bool exitedByItself() const { return m_exited; }
    // Sends a signal to the child alone.
    void signal(int number);
    const std::string& output();

private:
    void startPipe(int ends[2]);
    void afterFork(int ends[2]);
    void drain();
    void killGroup();

    pid_t m_pid = -1;
    int m_out = -1;
    bool m_done = false;
    bool m_exited = false;
    std::string m_text;
    std::string m_name;
};

// Runs a program to its end (bounded) and returns its output; status gets
// its exit status (-1 when killed after the time-out or ended by a signal).
std::string runProgram(const std::vector<std::string>& args, const std::map<std::string, std::string>& environment,
                       int& status, std::chrono::milliseconds timeout = std::chrono::seconds(30),
                       StandardError error = StandardError::Inherited);

} // namespace korvane::test

#endif
