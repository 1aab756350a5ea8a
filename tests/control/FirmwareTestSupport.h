#ifndef KORVANE_TESTS_CONTROL_FIRMWARE_TEST_SUPPORT_H
#define KORVANE_TESTS_CONTROL_FIRMWARE_TEST_SUPPORT_H

// Helpers of the firmware tests: one CPU for the whole test (emulated
// queries are much faster so), the progress lines a download prints, and
// the flash traffic of a download as a list of events.

#include "emulator/VirtualModule.h"

#include <cstdint>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include <sched.h>

namespace firmware_test {

// Pins the calling process to the CPU it runs on now.
inline void Pin_To_One_Cpu()
{
    const int cpu = sched_getcpu();
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(cpu < 0 ? 0 : cpu, &set);
    sched_setaffinity(0, sizeof set, &set);
}

// The "DownLoad Schedule" lines of a text, each without its line end; other text is skipped.
inline std::vector<std::string> Schedule_Lines(const std::string& text)
{
    std::vector<std::string> lines;
    const std::string start = "DownLoad Schedule ";
    for (std::size_t at = text.find(start); at != std::string::npos; at = text.find(start, at + 1)) {
        const std::size_t end = text.find("\r\n", at);
        lines.push_back(text.substr(at, end == std::string::npos ? std::string::npos : end - at));
    }
    return lines;
}

// The lines a download of that many steps prints with that divisor.
inline std::vector<std::string> Expected_Schedule(unsigned steps, float divisor)
{
    std::vector<std::string> lines;
    for (unsigned step = 1; step <= steps; ++step) {
        char line[64];
        std::snprintf(line, sizeof line, "DownLoad Schedule %f %%", static_cast<double>(static_cast<float>(step) / divisor));
        lines.push_back(line);
    }
    return lines;
}

// One flash or register action seen by the module.
struct Event
{
    char kind;              // 'E' erase, 'A' piece address, 'W' piece write, 'R' piece read, 'P' program window, 'I' ISP write
    std::uint32_t value;    // address (E, A, I) or length (W, R, P)
    std::uint8_t ispValue;  // the value of an ISP write
    std::vector<std::uint8_t> data;

    bool operator==(const Event& other) const
    {
        return kind == other.kind && value == other.value && ispValue == other.ispValue;
    }
};

inline std::string Describe(const Event& event)
{
    std::ostringstream text;
    text << event.kind << std::hex << " 0x" << event.value;
    if (event.kind == 'I')
        text << "=0x" << int(event.ispValue);
    return text.str();
}

inline std::uint32_t Little_Endian(const std::vector<std::uint8_t>& bytes)
{
    std::uint32_t value = 0;
    for (std::size_t i = bytes.size(); i > 0; --i)
        value = value << 8 | bytes[i - 1];
    return value;
}

// The successful data-moving queries, in order; an ISP address and value pair is one 'I' event.
inline std::vector<Event> Flash_Events(const std::vector<korvane::emulator::QueryRecord>& queries)
{
    using namespace korvane::emulator;
    std::vector<Event> events;
    std::uint32_t ispAddress = 0;
    for (const QueryRecord& query : queries) {
        if (query.error != 0)
            continue;
        const std::uint8_t selector = query.request.selector;
        const bool set = query.request.query == kSetCur;
        const bool get = query.request.query == kGetCur;
        if (set && selector == 0x02)
            ispAddress = Little_Endian(query.data);
        else if (set && selector == 0x03)
            events.push_back({'I', ispAddress, query.data.at(0), {}});
        else if (set && selector == 0x0D)
            events.push_back({'E', Little_Endian(query.data), 0, {}});
        else if (set && selector == 0x0E)
            events.push_back({'A', Little_Endian(query.data), 0, {}});
        else if (set && selector == 0x0F)
            events.push_back({'W', query.request.size, 0, query.data});
        else if (get && selector == 0x0F)
            events.push_back({'R', query.request.size, 0, query.data});
        else if (set && selector == 0x16)
            events.push_back({'P', query.request.size, 0, query.data});
    }
    return events;
}

// The six register writes that restart a chip.
inline std::vector<Event> Reset_Events()
{
    return {{'I', 0x2034, 0x00, {}}, {'I', 0x2030, 0xFF, {}}, {'I', 0x2031, 0x00, {}},
            {'I', 0x2032, 0x00, {}}, {'I', 0x2033, 0x02, {}}, {'I', 0x2034, 0x01, {}}};
}

} // namespace firmware_test

#endif
