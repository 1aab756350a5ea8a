#include "UserDataLayout.h"

#include "Extension_Unit_Class/Chip_Registry.h"
#include "Extension_Unit_Class/Flash_Piece_Plan.h"

namespace korvane::maintenance {

bool UserDataLayout::forModel(const std::string& model, UserDataLayout& out)
{
    const Chip_Description* chip = Chip_Description_For_Model(model);
    if (!chip)
        return false;
    const Extension_Unit_Chip_Table& table = *chip->table;
    out.m_flashPieces.clear();
    for (std::uint32_t piece : table.Allow_Read_Flash_Piece_index) {
        if (Is_Firmware_Header_Piece(*chip, piece))
            break;
        out.m_flashPieces.push_back(piece);
    }
    out.m_downloadAreaStart = table.firmware.areaStart;
    out.m_downloadAreaLength = table.firmware.areaLength;
    return true;
}

bool UserDataLayout::downloadCoversUserData() const
{
    const std::uint64_t areaEnd = std::uint64_t{m_downloadAreaStart} + m_downloadAreaLength;
    for (std::uint32_t piece : m_flashPieces) {
        const std::uint64_t start = std::uint64_t{piece} * FLASH_PIECE_SIZE;
        if (start < areaEnd && start + FLASH_PIECE_SIZE > m_downloadAreaStart)
            return true;
    }
    return false;
}

} // namespace korvane::maintenance
