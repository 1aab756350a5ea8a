#ifndef KORVANE_TOOLS_MAINTENANCE_FILEBYTES_H
#define KORVANE_TOOLS_MAINTENANCE_FILEBYTES_H

#include <cstdint>
#include <string>
#include <vector>

namespace korvane::maintenance {

// Reads a whole regular file of at most largestFirmwareArea() bytes, the
// largest file the tool writes to a module. False, with the reason in why,
// for anything else: what is not a regular file (a device, a FIFO, a
// directory) and larger files are refused before any byte is read.
bool readFileBytes(const std::string& path, std::vector<std::uint8_t>& bytes, std::string& why);

} // namespace korvane::maintenance

#endif
