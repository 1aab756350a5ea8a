#ifndef KORVANE_TOOLS_MAINTENANCE_NUMBERARGUMENT_H
#define KORVANE_TOOLS_MAINTENANCE_NUMBERARGUMENT_H

#include <cstdint>
#include <string>

namespace korvane::maintenance {

// Reads a decimal or 0x-prefixed hexadecimal number no greater than max.
// False for anything else: empty text, signs, spaces, other characters,
// values above max.
bool parseNumber(const std::string& text, std::uint64_t max, std::uint64_t& value);

} // namespace korvane::maintenance

#endif
