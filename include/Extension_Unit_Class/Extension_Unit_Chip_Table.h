#ifndef KORVANE_EXTENSION_UNIT_CHIP_TABLE_H
#define KORVANE_EXTENSION_UNIT_CHIP_TABLE_H

// What distinguishes one controller chip from another, as data: the chip
// protocols share their algorithms and each one hands them its table.

#include "Extension_Unit_Class/Chip_Id_Rules.h"
#include "Extension_Unit_Class/Extension_Unit_Templates.h"

#include <cstddef>
#include <cstdint>

// Where the chip puts the flash's answer to an ID opcode.
enum class Flash_Id_Source
{
    Id_Selector,   // three bytes from the flash ID selector
    Isp_Registers, // ISP registers 0x2C24 to 0x2C26
};

// One ISP register write of a fixed sequence.
struct Isp_Register_Write
{
    std::uint16_t address;
    std::uint8_t value;
};

constexpr std::size_t RESET_SEQUENCE_LENGTH = 6;

// Where the chip keeps its firmware and how a download goes.
struct Firmware_Layout
{
    std::int32_t imageTypes[2];     // FirmwareType values the chip takes (0: unused entry)
    std::uint32_t areaStart;        // flash address of the image
    std::uint32_t areaLength;       // bytes erased and written, whatever the image's length
    std::uint32_t headerAddress;    // the image header that the boot-code switch clears
    bool stepAfterFlashType;        // a progress step after the command set is loaded
    Isp_Register_Write resetSequence[RESET_SEQUENCE_LENGTH]; // restarts the chip
};

struct Extension_Unit_Chip_Table
{
    std::uint16_t unitId;               // extension-unit id of the chip
    Extension_Unit_Templates templates; // request templates on that unit
    // The bulk piece channel's length negotiation, in order.
    Windows_UVC_xu_control Windows_GET_Piece_Mes_Length[3];
    std::size_t pieceLengthRecordCount;
    std::uint16_t pieceLength;                   // bytes per bulk piece transfer of a write
    std::uint8_t Allow_Read_Flash_Piece_index[3]; // user piece index -> 4096-byte flash piece
    float progressDivisor;                       // download steps per percent
    Flash_Id_Source flashIdSource;
    Firmware_Layout firmware;
};

// How a chip test reads the identification registers and decides.
struct Chip_Detection_Table
{
    std::uint8_t presetId;  // id buffer before the read, kept when the read fails
    bool readsAllThree;     // id only, or id, 0x2051 and 0x20D9
    const Chip_Id_Rule* rules;
    std::size_t ruleCount;
};

#endif
