#ifndef KORVANE_TOOLS_MAINTENANCE_FIRMWARECOMMAND_H
#define KORVANE_TOOLS_MAINTENANCE_FIRMWARECOMMAND_H

#include <string>

namespace korvane::maintenance {

class ToolContext;

// What a negative Camera_Updata status means, for the user.
std::string downloadFailure(int status);

// firmware IMAGE [--wait SECONDS]: checks the image against the module's
// chip, backs the user data up, downloads with a progress bar and, where
// the download rewrote the user data, writes it back and verifies it.
int runFirmware(ToolContext& context);

} // namespace korvane::maintenance

#endif
