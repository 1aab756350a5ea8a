#ifndef KORVANE_EMULATOR_MODULE_OPTIONS_H
#define KORVANE_EMULATOR_MODULE_OPTIONS_H

#include "emulator/ModuleConfig.h"

#include <string>

namespace korvane::emulator {

// A module from a command-line description: comma-separated key=value
// pairs with the keys chip (empty for a webcam), video, meta (a metadata
// node), vid, pid (hexadecimal), bcd, serial, manufacturer, product, bus,
// dev, flash and piece. Example: "chip=2620,video=0,meta=1,serial=SN01".
// Throws std::invalid_argument for an unknown key or a malformed value.
ModuleConfig Parse_Module_Options(const std::string& text);

} // namespace korvane::emulator

#endif
