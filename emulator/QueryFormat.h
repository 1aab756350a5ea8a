#ifndef KORVANE_EMULATOR_QUERY_FORMAT_H
#define KORVANE_EMULATOR_QUERY_FORMAT_H

#include "emulator/XuQuery.h"

#include <string>

namespace korvane::emulator {

// One line for a logged query, e.g.
// "/dev/video0 unit 4 selector 0x03 GET_CUR size 1 data 0xd2 ok".
std::string Format_Query(const QueryRecord& record);

} // namespace korvane::emulator

#endif
