#ifndef KORVANE_EMULATOR_MODULE_OPTIONS_H
#define KORVANE_EMULATOR_MODULE_OPTIONS_H

#include "emulator/ModuleConfig.h"

#include <string>

namespace korvane::emulator {

// A module from a command-line description: comma-separated key=value
// pairs with the keys chip (empty for a webcam), video, meta (a metadata
// node), vid, pid (hexadecimal), bcd, serial, manufacturer, product, bus,
// dev, flash, piece (the reported piece length, up to 65536), firmware (a
// file whose bytes fill the flash from address 0), and the injected faults:
// fail=N or fail=SS:N (the query N, counted from 0, of any selector or of
// selector SS in hexadecimal fails with EIO; repeatable), power-loss=N (the
// power fails at the query after N) and stuck=ADDRESS[:BITS] (hexadecimal:
// flash bits that programming cannot clear; repeatable).
// Example: "chip=2620,video=0,meta=1,serial=SN01,piece=65536,fail=0d:3".
// Throws std::invalid_argument for an unknown key, a malformed value or an
// unreadable firmware file.
ModuleConfig Parse_Module_Options(const std::string& text);

} // namespace korvane::emulator

#endif
