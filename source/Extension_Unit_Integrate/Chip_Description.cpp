#include "Extension_Unit_Class/Chip_Description.h"

#include "Extension_Unit_Class/Extension_Unit_Chip_Protocol.h"
#include "Extension_Unit_Class/Flash_Piece_Plan.h"

#include <cstring>

std::unique_ptr<Extension_Unit_Chip_Protocol> Make_Table_Protocol(Extension_Unit_Base_Class* extUnit,
                                                                  const Chip_Description& description)
{
    return Extension_Unit_Chip_Protocol::On_Table(extUnit, *description.table, description.model);
}

bool Is_Firmware_Header_Piece(const Chip_Description& description, std::uint32_t flashPiece)
{
    return flashPiece == (description.table->firmware.headerAddress >> 12);
}

std::vector<std::uint32_t> User_Data_Flash_Pieces(const Chip_Description& description)
{
    std::vector<std::uint32_t> pieces;
    for (std::uint32_t piece : description.table->Allow_Read_Flash_Piece_index) {
        if (Is_Firmware_Header_Piece(description, piece))
            break;
        pieces.push_back(piece);
    }
    return pieces;
}

bool Download_Rewrites_User_Data(const Chip_Description& description)
{
    const Firmware_Layout& firmware = description.table->firmware;
    const std::uint64_t areaEnd = std::uint64_t{firmware.areaStart} + firmware.areaLength;
    for (std::uint32_t piece : User_Data_Flash_Pieces(description)) {
        const std::uint64_t start = std::uint64_t{piece} * FLASH_PIECE_SIZE;
        if (start < areaEnd && start + FLASH_PIECE_SIZE > firmware.areaStart)
            return true;
    }
    return false;
}

bool Names_Model(const Chip_Description& description, const char* model)
{
    if (std::strcmp(description.model, model) == 0)
        return true;
    for (const char* other : description.otherModels)
        if (other && std::strcmp(other, model) == 0)
            return true;
    return false;
}
