// Feeds arbitrary bytes to the user-data backup parser: it must accept or
// refuse with a reason, never crash, hang or leak; what it accepts must
// write back to the very same bytes.
#include <cstdlib>

#include "UserDataBackup.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::vector<std::uint8_t> bytes(data, data + size);
    korvane::maintenance::UserDataBackup backup;
    std::string why;
    if (korvane::maintenance::UserDataBackup::fromBytes(bytes, backup, why)) {
        if (backup.toBytes() != bytes)
            std::abort();
    } else if (why.empty()) {
        std::abort();
    }
    return 0;
}
