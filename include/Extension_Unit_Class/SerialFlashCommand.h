#ifndef KORVANE_EXTENSION_UNIT_SERIAL_FLASH_COMMAND_H
#define KORVANE_EXTENSION_UNIT_SERIAL_FLASH_COMMAND_H

// The SPI opcode set of a serial flash part, as loaded into the controller.

#include <cstdint>

// Command-set families.
enum Serial_Flash_Type : std::int32_t
{
    SF_PMC = 0,
    SF_SST = 1,
    SF_MX = 2,
    SF_EON = 3,
    SF_AMIC = 4,
    SF_MX32 = 5,
    SF_UNKNOW = 6,
};

// One opcode per field; 0xFF where the part has no such command.
typedef struct SerialFlashCommand
{
    std::uint8_t SF_Read;
    std::uint8_t SF_FastRead;
    std::uint8_t SF_RDSR;
    std::uint8_t SF_WREN;
    std::uint8_t SF_WRDI;
    std::uint8_t SF_SectorErase;
    std::uint8_t SF_BlockErase;
    std::uint8_t SF_ChipErase;
    std::uint8_t SF_Program;
    std::uint8_t SF_AAIProgram;
    std::uint8_t SF_EWSR;
    std::uint8_t SF_WRSR;
    std::uint8_t SF_ReadId; // ID scheme of the chip firmware, 0 or 1
    std::uint8_t SF_TYPE;   // a Serial_Flash_Type
} Serial_Flash_Command;

// A command set with no opcodes and no known family: nothing may be loaded.
constexpr SerialFlashCommand Unidentified_Serial_Flash_Command()
{
    return {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, SF_UNKNOW};
}

#endif
