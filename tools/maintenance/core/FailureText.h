#ifndef KORVANE_TOOLS_MAINTENANCE_FAILURETEXT_H
#define KORVANE_TOOLS_MAINTENANCE_FAILURETEXT_H

#include <string>

#include "Extension_Unit_Class/Camera_Status.h"

namespace korvane::maintenance {

// "<what> failed (status N): <meaning>", the meaning of the control
// channel's status N as Camera_Status_Message tells it for that operation.
std::string failureText(const std::string& what, Camera_Operation operation, int status);

} // namespace korvane::maintenance

#endif
