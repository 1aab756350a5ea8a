#include "FileBytes.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ChipCatalog.h"

namespace korvane::maintenance {

namespace {

std::string fileKind(mode_t mode)
{
    switch (mode & S_IFMT) {
    case S_IFDIR:
        return "a directory";
    case S_IFCHR:
        return "a character device";
    case S_IFBLK:
        return "a block device";
    case S_IFIFO:
        return "a FIFO";
    case S_IFSOCK:
        return "a socket";
    default:
        return "something else";
    }
}

// A regular file no larger than the limit; otherwise why it is refused.
bool acceptable(const struct stat& info, std::uint64_t limit, std::string& why)
{
    if (!S_ISREG(info.st_mode)) {
        why = "it is " + fileKind(info.st_mode) + ", not a regular file";
        return false;
    }
    if (static_cast<std::uint64_t>(info.st_size) > limit) {
        why = "it is " + std::to_string(info.st_size) + " bytes, more than the largest firmware area (" +
              std::to_string(limit) + " bytes)";
        return false;
    }
    return true;
}

// Reads up to limit bytes, and one more to notice a file that grew.
bool readAll(int fd, std::uint64_t limit, std::vector<std::uint8_t>& bytes, std::string& why)
{
    std::vector<std::uint8_t> buffer(static_cast<std::size_t>(limit) + 1);
    std::size_t done = 0;
    while (done < buffer.size()) {
        const ssize_t count = ::read(fd, buffer.data() + done, buffer.size() - done);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0) {
            why = std::strerror(errno);
            return false;
        }
        if (count == 0)
            break;
        done += static_cast<std::size_t>(count);
    }
    if (done > limit) {
        why = "it grew past the largest firmware area (" + std::to_string(limit) + " bytes) while it was read";
        return false;
    }
    buffer.resize(done);
    bytes = std::move(buffer);
    return true;
}

} // namespace

bool readFileBytes(const std::string& path, std::vector<std::uint8_t>& bytes, std::string& why)
{
    const std::uint64_t limit = largestFirmwareArea();
    // Looked at before it is opened: opening a device or a FIFO can block or act.
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
        why = std::strerror(errno);
        return false;
    }
    if (!acceptable(info, limit, why))
        return false;
    // What was opened is looked at again: the path may name another file by now.
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (fd < 0) {
        why = std::strerror(errno);
        return false;
    }
    const bool read = ::fstat(fd, &info) == 0 && acceptable(info, limit, why) && readAll(fd, limit, bytes, why);
    ::close(fd);
    return read;
}

} // namespace korvane::maintenance
