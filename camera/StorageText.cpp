#include "StorageText.h"

#include <cstdio>
#include <cstring>

#include <atomic>
#include <chrono>
#include <mutex>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

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

// A name of this process's own descriptors (/proc/self/fd/N, /dev/fd/N)
// names the same file from another process as /proc/PID/fd/N.
std::string pathForAnotherProcess(const std::string& fileName)
{
    const std::string own = "/proc/" + std::to_string(getpid()) + "/fd/";
    for (const char* prefix : {"/proc/self/fd/", "/proc/thread-self/fd/", "/dev/fd/"})
        if (fileName.rfind(prefix, 0) == 0)
            return own + fileName.substr(std::strlen(prefix));
    return fileName;
}

// Starts the trial parser on fileName with nothing but /dev/null for its
// standard streams and no other descriptor of this process; -1 on failure.
pid_t startStorageCheck(const std::string& program, const std::string& fileName)
{
    posix_spawn_file_actions_t actions;
    if (posix_spawn_file_actions_init(&actions) != 0)
        return -1;
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    const std::string target = pathForAnotherProcess(fileName);
    char* const argv[] = {const_cast<char*>(program.c_str()), const_cast<char*>(target.c_str()), nullptr};
    pid_t child = -1;
    if (posix_spawn(&child, program.c_str(), &actions, nullptr, argv, environ) != 0)
        child = -1;
    posix_spawn_file_actions_destroy(&actions);
    return child;
}

// Processor time a running child has used, in milliseconds; 0 when it
// cannot be read (the wall clock then ends a hung parse).
long processorMilliseconds(pid_t child)
{
    clockid_t clock{};
    timespec used{};
    if (clock_getcpuclockid(child, &clock) != 0 || clock_gettime(clock, &used) != 0)
        return 0;
    return static_cast<long>(used.tv_sec) * 1000 + used.tv_nsec / 1000000;
}

} // namespace

void setTrialParseBaseMilliseconds(int milliseconds) { g_trialParseBaseMilliseconds = milliseconds; }

bool trialParseSucceeds(const std::string& fileName, int milliseconds)
{
    return trialParseSucceeds(fileName, milliseconds, kTrialParseBlockedMilliseconds);
}

bool trialParseSucceeds(const std::string& fileName, int milliseconds, int blockedMilliseconds)
{
    static const std::string program = storageCheckProgram();
    if (program.empty()) {
        // A broken installation: the file goes to the parser untried, as
        // it would without this check.
        static std::once_flag told;
        std::call_once(told, [] {
            std::fprintf(stderr, "%s is missing next to the camera library: settings files are read untried\n",
                         kStorageCheckName);
        });
        return true;
    }
    const pid_t child = startStorageCheck(program, fileName);
    if (child < 0)
        return false;
    int status = 0;
    // The limit counts the processor time the parser uses, so a busy machine
    // that leaves it waiting for a core does not make a good file look hung.
    // A parse blocked on its input uses none and is ended by the clock.
    const auto wallDeadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds + blockedMilliseconds);
    const timespec tick{0, 1000000};
    for (;;) {
        const pid_t done = waitpid(child, &status, WNOHANG);
        if (done == child)
            return WIFEXITED(status) && WEXITSTATUS(status) == 0;
        if (done < 0)
            return false;
        const long used = processorMilliseconds(child);
        if (used >= milliseconds || std::chrono::steady_clock::now() >= wallDeadline)
            break;
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
