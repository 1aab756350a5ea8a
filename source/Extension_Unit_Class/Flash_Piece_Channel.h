#ifndef KORVANE_EXTENSION_UNIT_FLASH_PIECE_CHANNEL_H
#define KORVANE_EXTENSION_UNIT_FLASH_PIECE_CHANNEL_H

// The chip's bulk piece channel: 4096-byte pieces of the serial flash read,
// erased and programmed through the piece address and data selectors.

#include "Extension_Unit_Class/Extension_Unit_Chip_Table.h"
#include "Extension_Unit_Class/Flash_Piece_Plan.h"
#include "Extension_Unit_Class/ext_unit.h"

#include <cstdint>

class Flash_Piece_Channel
{
public:
    static constexpr std::uint32_t PIECE_SIZE = FLASH_PIECE_SIZE;

    Flash_Piece_Channel(ExtUnit& unit, const Extension_Unit_Chip_Table& table);

    // Tells the chip the flash ID scheme and asks its transfer length; 0, or Flash_Transfer_Failed.
    int Query_Length(std::uint8_t scheme, std::uint16_t& length);
    // Reads the piece at address in transfers of length bytes; 0,
    // Flash_Transfer_Failed on a failed transfer, or Piece_Length_Unusable
    // for a length that does not divide the piece.
    int Read(std::uint32_t address, std::uint16_t length, std::uint8_t* buffer);
    // Erases the sector at address; 0 or Flash_Transfer_Failed.
    int Erase_Sector(std::uint32_t address);
    // Programs the piece at address in transfers of length bytes, pausing
    // 10 ms after each; 0, Flash_Transfer_Failed at the first failed
    // transfer, or Piece_Length_Unusable for a length that does not divide
    // the piece (then nothing is sent).
    int Program(std::uint32_t address, std::uint16_t length, std::uint8_t* buffer);
    // A piece of length bytes to or from address, without a pause: one
    // transfer, or, when the piece is longer than a query holds, several
    // after their own addresses from the top of the piece down; 0,
    // Flash_Transfer_Failed, or Piece_Length_Unusable for a piece that cannot be split.
    int Write_Piece(std::uint32_t address, std::uint8_t* data, std::uint32_t length);
    int Read_Back_Piece(std::uint32_t address, std::uint8_t* data, std::uint32_t length);
    // Programs the 64 bytes of the program window at address; 0 or Flash_Transfer_Failed.
    int Program_Window(std::uint32_t address, std::uint8_t* data);

private:
    int Single(Windows_UVC_xu_control request, void* data);
    int Transaction(const Windows_UVC_xu_control_unit& request, void* data);
    int Set_Address(std::uint32_t address);
    // Address then data for each transfer of a download piece; 0, or
    // Flash_Transfer_Failed at the first failure.
    int Piece_Transfers(std::uint8_t request, std::uint32_t address, std::uint8_t* data, std::uint32_t length);

    ExtUnit& m_unit;                          // borrowed from the control object
    const Extension_Unit_Chip_Table& m_table; // the chip's constant table
};

#endif
