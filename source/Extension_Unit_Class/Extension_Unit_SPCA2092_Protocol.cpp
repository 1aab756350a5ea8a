#include "Extension_Unit_Class/Extension_Unit_SPCA2092_Protocol.h"

Extension_Unit_SPCA2092_Protocol::Extension_Unit_SPCA2092_Protocol(Extension_Unit_Base_Class* extUnit)
    : Extension_Unit_SPCA2085_Protocol(extUnit, Description().model)
{
}

// The SPCA2085's table; no test of its own, the others' tests recognise it.
const Chip_Description& Extension_Unit_SPCA2092_Protocol::Description()
{
    static const Chip_Description description = {
        "QLV_1080P_2", "SPCA2092", CHIP_SPCA2092, Extension_Unit_SPCA2085_Protocol::Description().table,
        nullptr, -1, nullptr, &Make_Chip_Protocol<Extension_Unit_SPCA2092_Protocol>, Chip_Update_Path::Boot_Code,
        {nullptr, nullptr, nullptr, nullptr},
    };
    return description;
}
