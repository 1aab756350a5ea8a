#ifndef KORVANE_EMULATOR_FLASH_PART_H
#define KORVANE_EMULATOR_FLASH_PART_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace korvane::emulator {

// The SPI opcodes a part understands.
enum class FlashOpcodes
{
    Common,     // sector erase 0x20, block erase 0xD8
    Pmc,        // sector erase 0xD7
    Sst,        // no fast read, block erase 0x52, AAI programming
    NotWritable // no command set is accepted for writing
};

// A serial flash part: its answers to the three ID opcodes (first byte
// lowest; 0xFFFFFF when the part does not know the opcode), its size and
// the opcodes it understands.
struct FlashPart
{
    const char* name;
    std::uint32_t jedecId;            // 0x9F
    std::uint32_t manufacturerDevice; // 0x90
    std::uint32_t signature;          // 0xAB
    std::uint32_t size;               // bytes
    FlashOpcodes opcodes;
};

// The command set (indexes 1 to 12 of the chip's command register file,
// read .. write status) under which the part may be erased and programmed:
// its own opcodes with chip erase switched off (0xFF). None for a part that
// must not be written.
std::optional<std::array<std::uint8_t, 12>> Write_Command_Set(const FlashPart& part);

const std::vector<FlashPart>& Flash_Parts();

// The part of that name, or null.
const FlashPart* Find_Flash_Part(const std::string& name);

} // namespace korvane::emulator

#endif
