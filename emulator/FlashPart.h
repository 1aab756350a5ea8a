#ifndef KORVANE_EMULATOR_FLASH_PART_H
#define KORVANE_EMULATOR_FLASH_PART_H

#include <cstdint>
#include <string>
#include <vector>

namespace korvane::emulator {

// A serial flash part: its answers to the three ID opcodes (first byte
// lowest; 0xFFFFFF when the part does not know the opcode) and its size.
struct FlashPart
{
    const char* name;
    std::uint32_t jedecId;            // 0x9F
    std::uint32_t manufacturerDevice; // 0x90
    std::uint32_t signature;          // 0xAB
    std::uint32_t size;               // bytes
};

const std::vector<FlashPart>& Flash_Parts();

// The part of that name, or null.
const FlashPart* Find_Flash_Part(const std::string& name);

} // namespace korvane::emulator

#endif
