#ifndef KORVANE_TESTS_CONTROL_LOG_CAPTURE_H
#define KORVANE_TESTS_CONTROL_LOG_CAPTURE_H

#include "Extension_Unit_Class/camera_api.h"

#include <cstdio>
#include <cstdlib>
#include <string>

// Sets the library's log stream to a memory buffer for its lifetime.
class LogCapture
{
public:
    LogCapture() : m_stream(open_memstream(&m_buffer, &m_size)) { SetLog(m_stream); }
    ~LogCapture()
    {
        SetLog(nullptr);
        std::fclose(m_stream);
        std::free(m_buffer);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::string text()
    {
        std::fflush(m_stream);
        return std::string(m_buffer, m_size);
    }

private:
    char* m_buffer = nullptr;
    std::size_t m_size = 0;
    FILE* m_stream;
};

#endif
