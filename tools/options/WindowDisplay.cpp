#include "WindowDisplay.h"

#include <cstdlib>

namespace {

bool set(const char* name)
{
    const char* value = std::getenv(name);
    return value && *value;
}

} // namespace

bool windowDisplayNamed() { return set("DISPLAY") || set("WAYLAND_DISPLAY"); }
