#include "UserDataLayout.h"

#include "Extension_Unit_Class/Chip_Registry.h"

namespace korvane::maintenance {

bool UserDataLayout::forModel(const std::string& model, UserDataLayout& out)
{
    const Chip_Description* chip = Chip_Description_For_Model(model);
    if (!chip)
        return false;
    out.m_flashPieces = User_Data_Flash_Pieces(*chip);
    out.m_downloadCoversUserData = Download_Rewrites_User_Data(*chip);
    return true;
}

} // namespace korvane::maintenance
