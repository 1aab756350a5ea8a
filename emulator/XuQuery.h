#ifndef KORVANE_EMULATOR_XU_QUERY_H
#define KORVANE_EMULATOR_XU_QUERY_H

#include <cstdint>
#include <string>
#include <vector>

namespace korvane::emulator {

// UVC request codes seen by the emulator.
constexpr std::uint8_t kSetCur = 0x01;
constexpr std::uint8_t kGetCur = 0x81;
constexpr std::uint8_t kGetMin = 0x82;
constexpr std::uint8_t kGetMax = 0x83;
constexpr std::uint8_t kGetRes = 0x84;
constexpr std::uint8_t kGetLen = 0x85;
constexpr std::uint8_t kGetInfo = 0x86;
constexpr std::uint8_t kGetDef = 0x87;

// The addressing part of one extension-unit query.
struct XuQuery
{
    std::uint8_t unit;
    std::uint8_t selector;
    std::uint8_t query;
    std::uint16_t size;
};

// One query as the module saw it: the data sent (SET_CUR) or answered (the
// GET requests; empty when the query failed), and the errno it failed with (0: success).
struct QueryRecord
{
    std::string node;
    XuQuery request;
    std::vector<std::uint8_t> data;
    int error;
};

} // namespace korvane::emulator

#endif
