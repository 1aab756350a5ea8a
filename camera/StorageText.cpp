#include "StorageText.h"

#include <cstdio>
#include <cstring>

#include <atomic>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <opencv2/core.hpp>
#include <zlib.h>

namespace korvane {

namespace {

std::atomic<int> g_trialParseBaseMilliseconds{1000};

bool endsWith(const std::string& text, const char* suffix)
{
    const size_t n = std::strlen(suffix);
    return text.size() >= n && text.compare(text.size() - n, n, suffix) == 0;
}

// Both readers stop after kMaxStorageFileBytes + 1 bytes.
bool readPlain(const std::string& fileName, std::string& bytes)
{
    std::FILE* file = std::fopen(fileName.c_str(), "rb");
    if (!file)
        return false;
    char buffer[65536];
    size_t n = 0;
    while (bytes.size() <= kMaxStorageFileBytes && (n = std::fread(buffer, 1, sizeof buffer, file)) > 0)
        bytes.append(buffer, n);
    const bool ok = !std::ferror(file);
    std::fclose(file);
    return ok;
}

bool readCompressed(const std::string& fileName, std::string& bytes)
{
    gzFile file = gzopen(fileName.c_str(), "rb");
    if (!file)
        return false;
    char buffer[65536];
    int n = 0;
    while (bytes.size() <= kMaxStorageFileBytes && (n = gzread(file, buffer, sizeof buffer)) > 0)
        bytes.append(buffer, static_cast<size_t>(n));
    gzclose(file);
    return n >= 0;
}

// Reads every value of the tree, as loading would reach any of them.
void walk(const cv::FileNode& node)
{
    if (node.isMap() || node.isSeq()) {
        for (const cv::FileNode child : node)
            walk(child);
    } else if (node.isString()) {
        (void)static_cast<std::string>(node);
    } else if (node.isInt() || node.isReal()) {
        (void)static_cast<double>(node);
    }
}

[[noreturn]] void trialParseInChild(const std::string& fileName)
{
    const int quiet = open("/dev/null", O_WRONLY);
    if (quiet >= 0) {
        dup2(quiet, STDOUT_FILENO);
        dup2(quiet, STDERR_FILENO);
    }
    try {
        cv::FileStorage fs(fileName, cv::FileStorage::READ);
        if (fs.isOpened())
            walk(fs.root());
    } catch (...) {
        // A parse error is an ordinary outcome: the loader reports it.
    }
    _exit(0);
}

} // namespace

void setTrialParseBaseMilliseconds(int milliseconds) { g_trialParseBaseMilliseconds = milliseconds; }

bool trialParseSucceeds(const std::string& fileName, int milliseconds)
{
    const pid_t child = fork();
    if (child < 0)
        return false;
    if (child == 0)
        trialParseInChild(fileName);
    int status = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    const timespec tick{0, 1000000};
    while (std::chrono::steady_clock::now() < deadline) {
        const pid_t done = waitpid(child, &status, WNOHANG);
        if (done == child)
            return WIFEXITED(status) && WEXITSTATUS(status) == 0;
        if (done < 0)
            return false;
        nanosleep(&tick, nullptr);
    }
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    return false;
}

StorageText classifyStorageBytes(const std::string& bytes)
{
    if (bytes.size() > kMaxStorageFileBytes)
        return StorageText::Refused;
    if (bytes.find('\0') != std::string::npos)
        return StorageText::Refused;
    return StorageText::Text;
}

StorageText inspectStorageFile(const std::string& fileName)
{
    const bool compressed = endsWith(fileName, ".gz") || endsWith(fileName, ".gz?base64");
    std::string bytes;
    const bool read = compressed ? readCompressed(fileName, bytes) : readPlain(fileName, bytes);
    if (!read)
        return StorageText::Unreadable;
    if (classifyStorageBytes(bytes) == StorageText::Refused)
        return StorageText::Refused;
    const int limit = g_trialParseBaseMilliseconds +
                      static_cast<int>(bytes.size() >> 20) * kTrialParseMillisecondsPerMiB;
    return trialParseSucceeds(fileName, limit) ? StorageText::Text : StorageText::Refused;
}

} // namespace korvane
