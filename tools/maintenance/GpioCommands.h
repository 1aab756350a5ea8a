#ifndef KORVANE_TOOLS_MAINTENANCE_GPIOCOMMANDS_H
#define KORVANE_TOOLS_MAINTENANCE_GPIOCOMMANDS_H

#include <cstdint>

namespace korvane::maintenance {

class ToolContext;

// True for a pin the chips have: 0 to 11, 128, 129, and every pin above 255.
bool gpioPinExists(std::uint64_t pin);

// gpio-get PIN: makes the pin an input and reads its level.
int runGpioGet(ToolContext& context);
// gpio-set PIN LEVEL: makes the pin an output and drives it.
int runGpioSet(ToolContext& context);

} // namespace korvane::maintenance

#endif
