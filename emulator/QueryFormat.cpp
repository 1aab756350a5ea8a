#include "emulator/QueryFormat.h"

#include <cstdio>
#include <cstring>

namespace korvane::emulator {

namespace {

const char* Request_Name(std::uint8_t query)
{
    switch (query) {
    case kSetCur: return "SET_CUR";
    case kGetCur: return "GET_CUR";
    case kGetMin: return "GET_MIN";
    case kGetMax: return "GET_MAX";
    case kGetRes: return "GET_RES";
    case kGetLen: return "GET_LEN";
    case kGetInfo: return "GET_INFO";
    case kGetDef: return "GET_DEF";
    default: return "request?";
    }
}

} // namespace

std::string Format_Query(const QueryRecord& record)
{
    char head[96];
    std::snprintf(head, sizeof head, " unit %u selector 0x%02x %s size %u", record.request.unit,
                  record.request.selector, Request_Name(record.request.query), record.request.size);
    std::string line = record.node + head;
    if (!record.data.empty()) {
        line += " data";
        for (std::uint8_t byte : record.data) {
            char hex[6];
            std::snprintf(hex, sizeof hex, " 0x%02x", byte);
            line += hex;
        }
    }
    line += record.error ? std::string(" failed: ") + std::strerror(record.error) : std::string(" ok");
    return line;
}

} // namespace korvane::emulator
