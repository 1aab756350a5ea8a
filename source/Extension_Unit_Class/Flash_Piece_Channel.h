#ifndef KORVANE_EXTENSION_UNIT_FLASH_PIECE_CHANNEL_H
#define KORVANE_EXTENSION_UNIT_FLASH_PIECE_CHANNEL_H

// The chip's bulk piece channel: 4096-byte pieces of the serial flash read,
// erased and programmed through the piece address and data selectors.

#include "Extension_Unit_Class/Extension_Unit_Chip_Table.h"
#include "Extension_Unit_Class/ext_unit.h"

#include <cstdint>

class Flash_Piece_Channel
{
public:
    static constexpr std::uint32_t PIECE_SIZE = 4096;

    Flash_Piece_Channel(ExtUnit& unit, const Extension_Unit_Chip_Table& table);

    // Tells the chip the flash ID scheme and asks its transfer length; 0, or -3 on a failed transfer.
    int Query_Length(std::uint8_t scheme, std::uint16_t& length);
    // Reads the piece at address in transfers of length bytes; 0, or -3 on a failed
    // transfer or a length that does not divide the piece.
    int Read(std::uint32_t address, std::uint16_t length, std::uint8_t* buffer);
    // Erases the sector at address; 0 or -3.
    int Erase_Sector(std::uint32_t address);
    // Programs the piece at address in transfers of the chip's write length,
    // pausing 10 ms after each; 0, or -3 at the first failed transfer.
    int Program(std::uint32_t address, std::uint8_t* buffer);
    // One transfer of length bytes to or from address, without a pause; 0 or -3.
    int Write_Piece(std::uint32_t address, std::uint8_t* data, std::uint16_t length);
    int Read_Back_Piece(std::uint32_t address, std::uint8_t* data, std::uint16_t length);
    // Programs the 64 bytes of the program window at address; 0 or -3.
    int Program_Window(std::uint32_t address, std::uint8_t* data);

private:
    int Single(Windows_UVC_xu_control request, void* data);
    int Transaction(const Windows_UVC_xu_control_unit& request, void* data);
    int Set_Address(std::uint32_t address);

    ExtUnit& m_unit;                          // borrowed from the control object
    const Extension_Unit_Chip_Table& m_table; // the chip's constant table
};

#endif
