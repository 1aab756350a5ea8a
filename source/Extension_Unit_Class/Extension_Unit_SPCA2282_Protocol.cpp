#include "Extension_Unit_Class/Extension_Unit_SPCA2282_Protocol.h"

#include <iterator>

namespace {

const Chip_Id_Rule kRules[] = {
    {0xC5, 1, 0, CHIP_SPCA2092},
    {0xC9, 1, 0, CHIP_SPCA2085},
    {0xD2, 0, 0, CHIP_SPCA2620},
    {0xFF, 0xFF, 0, CHIP_SPCA2282},
    {CHIP_ID_ANY, 0, 2, CHIP_SPCA2650},
};

const Chip_Detection_Table kDetection = {0x00, true, kRules, std::size(kRules)};

} // namespace

Extension_Unit_SPCA2282_Protocol::Extension_Unit_SPCA2282_Protocol(Extension_Unit_Base_Class* extUnit)
    : Extension_Unit_SPCA2650_Protocol(extUnit, Description().model)
{
}

int Extension_Unit_SPCA2282_Protocol::This_Is_Me(Extension_Unit_Base_Class* extUnit)
{
    Extension_Unit_SPCA2282_Protocol probe(extUnit);
    return probe.Recognise(kDetection);
}

std::uint32_t Extension_Unit_SPCA2282_Protocol::Chip_Code_For(const Chip_Id_Registers& registers)
{
    return Match_Chip_Id(kRules, registers);
}

const Chip_Detection_Table& Extension_Unit_SPCA2282_Protocol::Detection() { return kDetection; }

// The SPCA2650's table; its test runs last and announces a model of its own.
const Chip_Description& Extension_Unit_SPCA2282_Protocol::Description()
{
    static const Chip_Description description = {
        "QLVR_1080p_3D", "SPCA2282", CHIP_SPCA2282, Extension_Unit_SPCA2650_Protocol::Description().table,
        &kDetection, 4, "QLVR_SOC_550_0", &Make_Chip_Protocol<Extension_Unit_SPCA2282_Protocol>,
        Chip_Update_Path::Mode_Change_Boot_Code, {nullptr, nullptr, nullptr, nullptr},
    };
    return description;
}
