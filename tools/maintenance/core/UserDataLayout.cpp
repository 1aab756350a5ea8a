#include "UserDataLayout.h"

#include "Extension_Unit_Class/Module_Handle.h"

namespace korvane::maintenance {

bool UserDataLayout::forModel(const std::string& model, UserDataLayout& out)
{
    return Module_Handle::User_Data_Layout(model, out.m_flashPieces, out.m_downloadCoversUserData);
}

} // namespace korvane::maintenance
