#include "Extension_Unit_Class/Extension_Unit_Base_Protocol.h"

Extension_Unit_Base_Protocol::~Extension_Unit_Base_Protocol() = default;
