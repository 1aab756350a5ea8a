#include "Extension_Unit_Class/Extension_Unit_SPCA2092_Protocol.h"

Extension_Unit_SPCA2092_Protocol::Extension_Unit_SPCA2092_Protocol(Extension_Unit_Base_Class* extUnit)
    : Extension_Unit_SPCA2085_Protocol(extUnit, "QLV_1080P_2")
{
}
