#include "emulator/SerialFlashModel.h"

#include <algorithm>

namespace korvane::emulator {

namespace {

constexpr std::uint32_t kNoAnswer = 0xFFFFFF;

} // namespace

SerialFlashModel::SerialFlashModel(const FlashPart& part) : m_part(part), m_memory(part.size, 0xFF) {}

std::uint32_t SerialFlashModel::Identify(std::uint8_t opcode) const
{
    switch (opcode) {
    case 0x9F:
        return m_part.jedecId;
    case 0x90:
        return m_part.manufacturerDevice;
    case 0xAB:
        return m_part.signature;
    default:
        return kNoAnswer;
    }
}

void SerialFlashModel::Erase_Sector(std::uint32_t address)
{
    const std::size_t start = Index(address) / kSectorSize * kSectorSize;
    std::fill_n(m_memory.begin() + static_cast<std::ptrdiff_t>(start), kSectorSize, 0xFF);
}

void SerialFlashModel::Program(std::uint32_t address, const std::uint8_t* data, std::size_t length)
{
    for (std::size_t i = 0; i < length; ++i) {
        const std::size_t index = Index(address + static_cast<std::uint32_t>(i));
        const auto stuck = m_stuck.find(index);
        m_memory[index] &= static_cast<std::uint8_t>(data[i] | (stuck == m_stuck.end() ? 0 : stuck->second));
    }
}

void SerialFlashModel::Read(std::uint32_t address, std::uint8_t* data, std::size_t length) const
{
    for (std::size_t i = 0; i < length; ++i)
        data[i] = m_memory[Index(address + static_cast<std::uint32_t>(i))];
}

void SerialFlashModel::Load(std::uint32_t address, const std::vector<std::uint8_t>& bytes)
{
    for (std::size_t i = 0; i < bytes.size(); ++i)
        m_memory[Index(address + static_cast<std::uint32_t>(i))] = bytes[i];
}

} // namespace korvane::emulator
