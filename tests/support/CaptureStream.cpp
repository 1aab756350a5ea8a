#include "support/CaptureStream.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <unistd.h>

namespace korvane::test {

namespace {

void flushAll()
{
    std::cout.flush();
    std::cerr.flush();
    std::fflush(nullptr);
}

} // namespace

CaptureStream::CaptureStream(int fd) : m_fd(fd)
{
    flushAll();
    FILE* file = std::tmpfile();
    if (!file)
        throw std::runtime_error("cannot create a capture file");
    m_file = dup(fileno(file));
    std::fclose(file);
    m_saved = dup(fd);
    dup2(m_file, fd);
}

CaptureStream::~CaptureStream() { restore(); }

void CaptureStream::restore()
{
    if (m_saved < 0)
        return;
    flushAll();
    dup2(m_saved, m_fd);
    close(m_saved);
    m_saved = -1;
    lseek(m_file, 0, SEEK_SET);
    char buffer[4096];
    ssize_t n;
    while ((n = read(m_file, buffer, sizeof buffer)) > 0)
        m_text.append(buffer, static_cast<size_t>(n));
    close(m_file);
    m_file = -1;
}

std::string CaptureStream::text()
{
    restore();
    return m_text;
}

} // namespace korvane::test
