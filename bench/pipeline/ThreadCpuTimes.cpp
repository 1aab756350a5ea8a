#include "ThreadCpuTimes.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace {

std::string firstLine(const std::filesystem::path& file)
{
    std::ifstream in(file);
    std::string line;
    std::getline(in, line);
    return line;
}

// schedstat starts with the nanoseconds spent running.
double runningSeconds(const std::filesystem::path& task)
{
    std::ifstream in(task / "schedstat");
    double nanoseconds = 0;
    in >> nanoseconds;
    return in ? nanoseconds * 1e-9 : 0.0;
}

} // namespace

ThreadCpuTimes ThreadCpuTimes::now()
{
    ThreadCpuTimes times;
    const int self = static_cast<int>(getpid());
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task", error)) {
        int id = 0;
        try {
            id = std::stoi(entry.path().filename().string());
        } catch (const std::exception&) {
            continue;
        }
        Thread thread;
        thread.name = id == self ? "main" : firstLine(entry.path() / "comm");
        thread.seconds = runningSeconds(entry.path());
        times.m_threads[id] = thread;
    }
    return times;
}

std::map<std::string, double> ThreadCpuTimes::since(const ThreadCpuTimes& earlier) const
{
    std::map<std::string, double> byName;
    for (const auto& [id, thread] : m_threads) {
        const auto before = earlier.m_threads.find(id);
        if (before != earlier.m_threads.end())
            byName[thread.name] += thread.seconds - before->second.seconds;
    }
    return byName;
}
