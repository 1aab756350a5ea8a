#ifndef KORVANE_EMULATOR_CHIP_PROFILE_H
#define KORVANE_EMULATOR_CHIP_PROFILE_H

#include <cstdint>
#include <string>
#include <vector>

namespace korvane::emulator {

// What an emulated controller chip answers out of reset.
struct ChipProfile
{
    const char* name;         // "2620", "2650", ...
    std::uint8_t unitId;      // the only extension unit that answers
    std::uint8_t chipId;      // ISP 0x20FF
    std::uint8_t chipIdA;     // ISP 0x2051
    std::uint8_t chipIdB;     // ISP 0x20D9
    std::uint16_t pieceLength; // GET_LEN answer of the bulk data selector
    const char* flashPart;    // fitted by default
    // Where the firmware header lies in the flash, and the byte pairs
    // (first byte high) that make it valid; 0 marks an unused pair.
    std::uint32_t headerOffset;
    std::uint16_t headers[2];
    // Whether the mode change (0x5A to ISP 0x20D8) makes the chip leave the
    // bus and re-enumerate, or only switches it in place (the chip whose
    // update writes its boot-code switch right after the mode change).
    bool modeChangeLeavesBus;
};

// The chips the emulator knows out of the box.
const std::vector<ChipProfile>& Chip_Profiles();

// Adds a chip under its profile's name, for a chip described only in a test;
// the name must outlive the program. Add chips before modules are made.
void Add_Chip_Profile(const ChipProfile& profile);

// The profile of that name, built in or added, or null.
const ChipProfile* Find_Chip_Profile(const std::string& name);

} // namespace korvane::emulator

#endif
