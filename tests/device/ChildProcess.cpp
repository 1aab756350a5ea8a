#include "ChildProcess.h"

#include <csignal>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace korvane::test {

ChildProcess::ChildProcess(std::vector<std::string> args, const std::map<std::string, std::string>& environment,
                           bool withStandardError)
{
    std::vector<std::string> env;
    for (char** e = environ; *e; ++e) {
        const std::string entry = *e;
        const std::string name = entry.substr(0, entry.find('='));
        if (environment.count(name) == 0)
            env.push_back(entry);
    }
    for (const auto& [name, value] : environment)
        if (!value.empty())
            env.push_back(name + "=" + value);
    std::vector<char*> envp;
    for (std::string& e : env)
        envp.push_back(e.data());
    envp.push_back(nullptr);
    std::vector<char*> argv;
    for (std::string& a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);

    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    if (withStandardError)
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    if (posix_spawnp(&m_pid, argv[0], &actions, nullptr, argv.data(), envp.data()) != 0)
        m_pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    m_out = ends[0];
    fcntl(m_out, F_SETFL, O_NONBLOCK);
}

ChildProcess::~ChildProcess()
{
    if (m_pid > 0 && !m_done) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    if (m_out >= 0)
        close(m_out);
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
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    do {
        drain();
        if (m_text.find(text) != std::string::npos)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    } while (std::chrono::steady_clock::now() < deadline);
    return false;
}

int ChildProcess::finish(std::chrono::milliseconds timeout)
{
    if (m_pid <= 0)
        return -1;
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    int status = 0;
    do {
        drain();
        if (waitpid(m_pid, &status, WNOHANG) == m_pid) {
            m_done = true;
            drain();
            return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    } while (std::chrono::steady_clock::now() < deadline);
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
    m_done = true;
    drain();
    return -1;
}

const std::string& ChildProcess::output()
{
    drain();
    return m_text;
}

std::string runProgram(const std::vector<std::string>& args, const std::map<std::string, std::string>& environment,
                       int& status, std::chrono::milliseconds timeout)
{
    ChildProcess child(args, environment);
    status = child.finish(timeout);
    return child.output();
}

} // namespace korvane::test
