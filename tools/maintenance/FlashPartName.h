#ifndef KORVANE_TOOLS_MAINTENANCE_FLASHPARTNAME_H
#define KORVANE_TOOLS_MAINTENANCE_FLASHPARTNAME_H

#include <string>

namespace korvane::maintenance {

// The printable name of a SerialFlashPart value ("MX25L512"), "unknown" for
// SF_UNDEFINED and for values outside the enumeration.
std::string flashPartName(int part);

} // namespace korvane::maintenance

#endif
