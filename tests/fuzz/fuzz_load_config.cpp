// Feeds arbitrary bytes to StereoCamera::loadConfig: it must return true or
// false, never crash, hang or leak.
#include "FuzzCamera.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    korvane::fuzz::MemoryFile file(data, size);
    if (!file.path().empty())
        korvane::fuzz::camera().loadConfig(file.path());
    return 0;
}
