#ifndef KORVANE_EMULATOR_SERIAL_FLASH_MODEL_H
#define KORVANE_EMULATOR_SERIAL_FLASH_MODEL_H

#include "emulator/FlashPart.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

namespace korvane::emulator {

// A serial flash behind the controller: erased bytes read 0xFF, a sector
// erase sets 4096 bytes to 0xFF, and programming can only clear bits.
// Addresses wrap at the part's size.
class SerialFlashModel
{
public:
    static constexpr std::uint32_t kSectorSize = 4096;

    explicit SerialFlashModel(const FlashPart& part);

    const FlashPart& Part() const { return m_part; }
    // The 24-bit answer to an ID opcode (first byte lowest).
    std::uint32_t Identify(std::uint8_t opcode) const;
    void Erase_Sector(std::uint32_t address);
    void Program(std::uint32_t address, const std::uint8_t* data, std::size_t length);
    void Read(std::uint32_t address, std::uint8_t* data, std::size_t length) const;
    // Sets bytes directly, as a flash programmer would before assembly.
    void Load(std::uint32_t address, const std::vector<std::uint8_t>& bytes);
    // Makes bits of a byte that programming cannot clear (a worn cell).
    void Set_Stuck_Bits(std::uint32_t address, std::uint8_t bits) { m_stuck[Index(address)] = bits; }
    void Clear_Stuck_Bits() { m_stuck.clear(); }

private:
    std::size_t Index(std::uint32_t address) const { return address % m_memory.size(); }

    FlashPart m_part;
    std::vector<std::uint8_t> m_memory;
    std::map<std::size_t, std::uint8_t> m_stuck;
};

} // namespace korvane::emulator

#endif
