#include "SystemLog.h"

#include <cstdarg>
#include <cstdio>

namespace {

const char* const kReset = "\033[0m";

// Prints colour + tag + label + the caller's format + reset through one
// vprintf call. The caller's format becomes part of the printed format, so
// a "%" in the tag would be interpreted; component names are plain words.
void printLine(const std::string& tag, const char* colour, const char* label,
               const char* format, va_list args)
{
    std::string full;
    full.reserve(64 + (format ? std::char_traits<char>::length(format) : 0));
    full += colour;
    full += tag;
    full += label;
    if (format)
        full += format;
    full += kReset;
    std::vprintf(full.c_str(), args);
}

} // namespace

#define KORVANE_LOG_BODY(minLevel, colour, label)        \
    do {                                                 \
        if (m_level < (minLevel))                        \
            return;                                      \
        va_list args;                                    \
        va_start(args, format);                          \
        printLine(m_tag, colour, label, format, args);   \
        va_end(args);                                    \
    } while (0)

SystemLog::SystemLog(std::string name)
    : m_tag("[" + name + "]"), m_fileName(m_tag + "RunningLog.txt")
{
}

void SystemLog::setLogLevel(int level) { m_level = level; }

void SystemLog::runTimeError(const char* format, ...)
{
    KORVANE_LOG_BODY(0, "\033[1m\033[31m", "[ERROR] ");
}

void SystemLog::runTimeInfo(const char* format, ...)
{
    KORVANE_LOG_BODY(1, "\033[32m", "[INFO] ");
}

void SystemLog::runTimeWarning(const char* format, ...)
{
    KORVANE_LOG_BODY(1, "\033[1m\033[33m", "[WARNING] ");
}

void SystemLog::debugTimeWarning(const char* format, ...)
{
    KORVANE_LOG_BODY(2, "\033[36m", "[DEBUG_WARNING] ");
}

void SystemLog::debugTimeInfo(const char* format, ...)
{
    KORVANE_LOG_BODY(2, "\033[1m\033[37m", "[DEBUG_INFO] ");
}

void SystemLog::debugTimeError(const char* format, ...)
{
    KORVANE_LOG_BODY(2, "\033[35m", "[DEBUG_ERROR] ");
}

void SystemLog::saveLog() { m_save = true; }

void SystemLog::saveLogToFile(std::string name)
{
    m_save = true;
    m_fileName = name + ".log";
}
