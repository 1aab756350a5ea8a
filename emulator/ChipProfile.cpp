#include "emulator/ChipProfile.h"

#include <deque>

namespace korvane::emulator {

const std::vector<ChipProfile>& Chip_Profiles()
{
    static const std::vector<ChipProfile> profiles = {
        {"2620", 4, 0xD2, 0x00, 0x00, 1024, "MX25L512", 0x0, {0x8926, 0}, true},
        {"2650", 4, 0x04, 0x00, 0x02, 4096, "GD25Q40C", 0x100, {0x4359, 0x9527}, true},
        {"2281", 3, 0xA8, 0x00, 0x00, 4096, "PM25LQ512", 0x0, {0x8916, 0}, true},
        {"2085", 4, 0xC9, 0x01, 0x00, 1024, "GD25D05", 0x0, {0x8917, 0}, true},
        {"2092", 4, 0xC5, 0x01, 0x00, 1024, "GD25D05", 0x0, {0x8917, 0}, true},
        {"2282", 4, 0xFF, 0xFF, 0x00, 4096, "FM25Q04", 0x100, {0x4359, 0x9527}, false},
    };
    return profiles;
}

namespace {

// Kept at fixed addresses: modules hold on to their profile.
std::deque<ChipProfile>& Added_Profiles()
{
    static std::deque<ChipProfile> added;
    return added;
}

} // namespace

void Add_Chip_Profile(const ChipProfile& profile) { Added_Profiles().push_back(profile); }

const ChipProfile* Find_Chip_Profile(const std::string& name)
{
    for (const ChipProfile& profile : Chip_Profiles())
        if (name == profile.name)
            return &profile;
    for (const ChipProfile& profile : Added_Profiles())
        if (name == profile.name)
            return &profile;
    return nullptr;
}

} // namespace korvane::emulator
