#ifndef KORVANE_TOOLS_MAINTENANCE_FILEBYTES_H
#define KORVANE_TOOLS_MAINTENANCE_FILEBYTES_H

#include <cstdint>
#include <string>
#include <vector>

namespace korvane::maintenance {

// Reads a whole file; false, with the reason in why, when it cannot be read.
bool readFileBytes(const std::string& path, std::vector<std::uint8_t>& bytes, std::string& why);

} // namespace korvane::maintenance

#endif
