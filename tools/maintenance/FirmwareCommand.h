#ifndef KORVANE_TOOLS_MAINTENANCE_FIRMWARECOMMAND_H
#define KORVANE_TOOLS_MAINTENANCE_FIRMWARECOMMAND_H

namespace korvane::maintenance {

class ToolContext;

// firmware IMAGE [--wait SECONDS]: checks the image against the module's
// chip, backs the user data up, downloads with a progress bar and, where
// the download rewrote the user data, writes it back and verifies it.
int runFirmware(ToolContext& context);

} // namespace korvane::maintenance

#endif
