#include "StandardErrorPipe.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <iostream>
#include <unistd.h>

namespace korvane::maintenance {

namespace {

void writeAll(int fd, const std::string& text)
{
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t written = ::write(fd, text.data() + done, text.size() - done);
        if (written <= 0)
            return;
        done += static_cast<std::size_t>(written);
    }
}

} // namespace

StandardErrorPipe::StandardErrorPipe(Consumer consumer) : m_consumer(std::move(consumer))
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return;
    std::cerr.flush();
    std::fflush(stderr);
    m_saved = ::fcntl(2, F_DUPFD_CLOEXEC, 3);
    if (m_saved < 0 || ::dup2(ends[1], 2) < 0) {
        if (m_saved >= 0)
            ::close(m_saved);
        m_saved = -1;
        ::close(ends[0]);
        ::close(ends[1]);
        return;
    }
    ::close(ends[1]);
    m_reader = std::thread(&StandardErrorPipe::readUntilClosed, this, ends[0]);
}

StandardErrorPipe::~StandardErrorPipe() { stop(); }

void StandardErrorPipe::stop()
{
    if (m_saved < 0)
        return;
    std::cerr.flush();
    std::fflush(stderr);
    // The last write end goes away here: the reader sees the end of the pipe.
    ::dup2(m_saved, 2);
    m_reader.join();
    ::close(m_saved);
    m_saved = -1;
}

void StandardErrorPipe::readUntilClosed(int readEnd)
{
    char buffer[4096];
    ssize_t count;
    while ((count = ::read(readEnd, buffer, sizeof buffer)) != 0) {
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            break;
        writeAll(m_saved, m_consumer(std::string(buffer, static_cast<std::size_t>(count))));
    }
    ::close(readEnd);
}

} // namespace korvane::maintenance
