#ifndef KORVANE_EMULATOR_CHIP_MODEL_H
#define KORVANE_EMULATOR_CHIP_MODEL_H

#include "emulator/ChipProfile.h"
#include "emulator/SerialFlashModel.h"
#include "emulator/XuQuery.h"

#include <array>
#include <cstdint>

namespace korvane::emulator {

// What a chip starts after a restart: the firmware when the flash holds a
// valid header, else its ROM boot code (which waits for a download).
enum class Boot_Mode
{
    Firmware,
    Rom_Boot_Code,
};

// The controller chip behind the extension unit: an 8-bit ISP register
// file (with read-only GPIO input registers) and 16-bit sensor registers
// behind address and value selectors, the flash command-set registers, the
// bulk piece selectors and the serial flash. An erase or a program is
// refused (EIO) unless the loaded command set is the part's own with chip
// erase switched off, so that a wrong command set never reaches the flash.
// Not thread-safe: the owning module serialises access.
class ChipModel
{
public:
    // ISP registers where the chip puts the flash ID answer too.
    static constexpr std::uint16_t kFlashIdRegister = 0x2C24;

    ChipModel(const ChipProfile& profile, const FlashPart& flash);

    // Answers one query in place; 0 or the errno value the driver would give.
    int Answer(const XuQuery& query, std::uint8_t* data);

    // Back to the power-on state; the flash keeps its contents and decides what boots.
    void Restart();
    // True once after the host wrote the restart request (0x01 to 0x2034)
    // or, on a chip whose mode change re-enumerates, the mode change (0x5A
    // to 0x20D8): the chip then leaves the bus.
    bool Take_Restart_Request();
    Boot_Mode Booted() const { return m_booted; }
    // True when the flash holds a header this chip starts from.
    bool Has_Valid_Header() const;

    std::uint8_t Isp(std::uint16_t address) const { return m_isp[address]; }
    // Sets a register directly, read-only bits too (e.g. a GPIO input pin's level).
    void Set_Isp(std::uint16_t address, std::uint8_t value) { m_isp[address] = value; }
    std::uint16_t Sensor(std::uint16_t address) const { return m_sensor[address]; }
    void Set_Sensor(std::uint16_t address, std::uint16_t value) { m_sensor[address] = value; }
    // Opcode loaded at a command-set index (1 .. 13).
    std::uint8_t Command_Set(std::uint8_t index) const { return m_commandSet[index]; }
    // The piece length the chip reports (1 .. 0x10000; 0x10000 reads as 0 in
    // the 16-bit answer). A piece longer than 0xFFFF bytes moves in 0x8000-byte transfers.
    void Set_Piece_Length(std::uint32_t length) { m_pieceLength = length; }
    std::uint32_t Piece_Length() const { return m_pieceLength; }
    // Erases and programs refused since power-on.
    int Refused_Writes() const { return m_refusedWrites; }
    SerialFlashModel& Flash() { return m_flash; }
    const SerialFlashModel& Flash() const { return m_flash; }
    const ChipProfile& Profile() const { return m_profile; }

private:
    // Data length of a selector, 0 when the chip has no such control.
    std::uint32_t Control_Length(std::uint8_t selector) const;
    // Bytes per data query of a piece.
    std::uint32_t Piece_Transfer_Length() const;
    int Set(std::uint8_t selector, const std::uint8_t* data);
    int Get(std::uint8_t selector, std::uint8_t* data);
    void Write_Isp(std::uint16_t address, std::uint8_t value);
    std::uint32_t Flash_Id() const;
    bool Command_Set_Fits_Part() const;
    // Runs a flash erase or program when the command set allows it.
    template <typename Write>
    int Guarded_Write(Write&& write);

    ChipProfile m_profile;
    SerialFlashModel m_flash;
    std::array<std::uint8_t, 0x10000> m_isp{};
    std::array<std::uint16_t, 0x10000> m_sensor{};
    std::array<std::uint8_t, 256> m_commandSet{};
    std::uint16_t m_ispAddress = 0;
    std::uint16_t m_sensorAddress = 0;
    std::uint8_t m_commandIndex = 0;
    std::uint32_t m_pieceAddress = 0;
    std::uint8_t m_pieceControl = 0;
    std::uint32_t m_pieceLength;
    bool m_restartRequested = false;
    Boot_Mode m_booted = Boot_Mode::Rom_Boot_Code;
    int m_refusedWrites = 0;
};

} // namespace korvane::emulator

#endif
