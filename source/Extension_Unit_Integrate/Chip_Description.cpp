#include "Extension_Unit_Class/Chip_Description.h"

#include "Extension_Unit_Class/Extension_Unit_Chip_Protocol.h"

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

bool Names_Model(const Chip_Description& description, const char* model)
{
    if (std::strcmp(description.model, model) == 0)
        return true;
    for (const char* other : description.otherModels)
        if (other && std::strcmp(other, model) == 0)
            return true;
    return false;
}
