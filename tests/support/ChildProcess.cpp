#include "support/ChildProcess.h"

#include <csignal>
#include <cstdio>
#include <thread>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/TestWatchdog.h"

extern char** environ;

namespace korvane::test {

namespace {

// The environment of a started program: this process's, with the given
// variables set or (empty value) removed.
std::vector<std::string> environmentWith(const std::map<std::string, std::string>& changes)
{
    std::vector<std::string> env;
    for (char** e = environ; *e; ++e) {
        const std::string entry = *e;
        if (changes.count(entry.substr(0, entry.find('='))) == 0)
            env.push_back(entry);
    }
    for (const auto& [name, value] : changes)
        if (!value.empty())
            env.push_back(name + "=" + value);
    return env;
}

std::vector<char*> pointersTo(std::vector<std::string>& strings)
{
    std::vector<char*> pointers;
    for (std::string& s : strings)
        pointers.push_back(s.data());
    pointers.push_back(nullptr);
    return pointers;
}

// First steps of a forked child, before it runs anything of its own: die
// with the test process, lead a process group of its own, take no signal
// mask from the test, read /dev/null. Only system calls here: the parent
// may have other threads, and the umockdev preload's wrappers of file calls
// take a lock that such a thread may have held at the fork.
void enterChild(pid_t parent, int nullInput)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(127);
    setpgid(0, 0);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    if (nullInput >= 0)
        dup2(nullInput, STDIN_FILENO);
}

constexpr auto kPoll = std::chrono::milliseconds(20);

} // namespace

void ChildProcess::startPipe(int ends[2])
{
    ends[0] = ends[1] = -1;
    if (pipe2(ends, O_CLOEXEC) != 0)
        ends[0] = ends[1] = -1;
    std::fflush(nullptr);
}

void ChildProcess::afterFork(int ends[2])
{
    if (m_pid > 0) {
        setpgid(m_pid, m_pid); // as the child does: whichever runs first
        watchChildGroup(m_pid);
    }
    if (ends[1] >= 0)
        close(ends[1]);
    m_out = ends[0];
    if (m_out >= 0)
        fcntl(m_out, F_SETFL, O_NONBLOCK);
}

ChildProcess::ChildProcess(std::vector<std::string> args, const std::map<std::string, std::string>& environment,
                           StandardError error)
    : m_name(args.empty() ? std::string() : args[0])
{
    if (args.empty())
        return;
    std::vector<std::string> env = environmentWith(environment);
    std::vector<char*> envp = pointersTo(env);
    std::vector<char*> argv = pointersTo(args);
    int ends[2];
    startPipe(ends);
    if (ends[0] < 0)
        return;
    const int nullInput = open("/dev/null", O_RDONLY | O_CLOEXEC);
    const pid_t parent = getpid();
    m_pid = fork();
    if (m_pid == 0) {
        enterChild(parent, nullInput);
        dup2(ends[1], STDOUT_FILENO);
        if (error == StandardError::Collected)
            dup2(ends[1], STDERR_FILENO);
        syscall(SYS_close_range, 3U, ~0U, 0U); // only standard input, output and error go on
        execvpe(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    if (nullInput >= 0)
        close(nullInput);
    afterFork(ends);
}

ChildProcess::ChildProcess(const std::function<void()>& body) : m_name("a forked copy of the test")
{
    int ends[2];
    startPipe(ends);
    if (ends[0] < 0)
        return;
    const pid_t parent = getpid();
    m_pid = fork();
    if (m_pid == 0) {
        enterChild(parent, -1);
        close(ends[0]);
        dup2(ends[1], STDOUT_FILENO);
        body();
        std::fflush(nullptr);
        _exit(0);
    }
    afterFork(ends);
}

ChildProcess::~ChildProcess()
{
    if (m_pid > 0 && !m_done)
        killGroup();
    if (m_out >= 0)
        close(m_out);
}

void ChildProcess::killGroup()
{
    kill(-m_pid, SIGKILL);
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
    unwatchChildGroup(m_pid);
    m_done = true;
}

void ChildProcess::drain()
{
    char buffer[4096];
    ssize_t n;
    while (m_out >= 0 && (n = read(m_out, buffer, sizeof buffer)) > 0)
        m_text.append(buffer, static_cast<std::size_t>(n));
}

bool ChildProcess::waitFor(const std::string& text, std::chrono::milliseconds timeout)
{
    const WaitingFor waiting("\"" + text + "\" from " + m_name);
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    do {
        drain();
        if (m_text.find(text) != std::string::npos)
            return true;
        if (m_done || m_pid <= 0)
            return false;
        std::this_thread::sleep_for(kPoll);
    } while (std::chrono::steady_clock::now() < deadline);
    return false;
}

int ChildProcess::finish(std::chrono::milliseconds timeout)
{
    if (m_pid <= 0)
        return -1;
    const WaitingFor waiting("the end of " + m_name);
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    int status = 0;
    do {
        drain();
        if (!m_done && waitpid(m_pid, &status, WNOHANG) == m_pid) {
            m_done = true;
            m_exited = WIFEXITED(status);
            // Anything the child left in its group goes with it.
            kill(-m_pid, SIGKILL);
            unwatchChildGroup(m_pid);
            drain();
            return m_exited ? WEXITSTATUS(status) : -1;
        }
        if (m_done)
            return -1;
        std::this_thread::sleep_for(kPoll);
    } while (std::chrono::steady_clock::now() < deadline);
    killGroup();
    drain();
    return -1;
}

void ChildProcess::signal(int number)
{
    if (m_pid > 0 && !m_done)
        kill(m_pid, number);
}

const std::string& ChildProcess::output()
{
    drain();
    return m_text;
}

std::string runProgram(const std::vector<std::string>& args, const std::map<std::string, std::string>& environment,
                       int& status, std::chrono::milliseconds timeout, StandardError error)
{
    ChildProcess child(args, environment, error);
    status = child.finish(timeout);
    return child.output();
}

} // namespace korvane::test
