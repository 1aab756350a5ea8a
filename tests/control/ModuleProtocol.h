#ifndef KORVANE_TESTS_CONTROL_MODULE_PROTOCOL_H
#define KORVANE_TESTS_CONTROL_MODULE_PROTOCOL_H

#include "Extension_Unit_Class/Extension_Unit_Chip_Protocol.h"
#include "Extension_Unit_Class/Extunit.h"
#include "emulator/VirtualModule.h"

#include <cstdint>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

// The chip protocol that detection makes for a virtual module's node; the
// node stays open as long as the protocol.
class ModuleProtocol
{
public:
    explicit ModuleProtocol(const std::string& node)
        : m_fd(open(node.c_str(), O_RDWR | O_NONBLOCK)), m_protocol(m_fd >= 0 ? Get_Extension_Unit(m_fd) : nullptr)
    {
    }
    ~ModuleProtocol()
    {
        Delete_Extension_Unit(m_protocol);
        if (m_fd >= 0)
            close(m_fd);
    }
    ModuleProtocol(const ModuleProtocol&) = delete;
    ModuleProtocol& operator=(const ModuleProtocol&) = delete;

    Extension_Unit_Base_Protocol* operator->() const { return m_protocol; }
    Extension_Unit_Base_Protocol* get() const { return m_protocol; }
    Extension_Unit_Chip_Protocol* chip() const { return dynamic_cast<Extension_Unit_Chip_Protocol*>(m_protocol); }

private:
    int m_fd;
    Extension_Unit_Base_Protocol* m_protocol; // owned
};

// Bytes of a module's flash, read in the model.
inline std::vector<std::uint8_t> Flash_Bytes(korvane::emulator::VirtualModule& module, std::uint32_t address,
                                             std::size_t length)
{
    std::vector<std::uint8_t> bytes(length);
    module.With_Chip([&](korvane::emulator::ChipModel& chip) { chip.Flash().Read(address, bytes.data(), length); });
    return bytes;
}

inline void Load_Flash(korvane::emulator::VirtualModule& module, std::uint32_t address,
                       const std::vector<std::uint8_t>& bytes)
{
    module.With_Chip([&](korvane::emulator::ChipModel& chip) { chip.Flash().Load(address, bytes); });
}

// A 4096-byte piece of recognisable bytes.
inline std::vector<std::uint8_t> Pattern_Piece(unsigned seed)
{
    std::vector<std::uint8_t> piece(4096);
    for (std::size_t i = 0; i < piece.size(); ++i)
        piece[i] = static_cast<std::uint8_t>((i * 31 + seed * 17 + (i >> 8)) & 0xFF);
    return piece;
}

#endif
