#include "Extension_Unit_Class/Extension_Unit_SPCA2085_Protocol.h"

#include "Extension_Unit_Class/Firmware_Form.h"

#include <iterator>

namespace {

constexpr std::uint16_t kUnit = 4;

const Extension_Unit_Chip_Table kTable = {
    kUnit,
    Make_Extension_Unit_Templates(kUnit),
    {Get_Len_Request(kUnit, XU_SEL_PIECE_CONTROL, 1), Set_Cur_Request(kUnit, XU_SEL_PIECE_CONTROL, 1),
     Get_Len_Request(kUnit, XU_SEL_PIECE_DATA, 0x400)},
    3,
    0x400,
    {15, 14, 0},
    1.48f,
    Flash_Id_Source::Id_Selector,
    // 64 KiB from 0: 1 + 1 + 1 + 16 + 2 x 63 + 2 + 1 = 148 steps with 1024-byte pieces.
    {{SPCA_2085, 0}, 0x0, 0x10000, 0x0, true,
     {{0x2034, 0x00}, {0x2030, 0xFF}, {0x2031, 0x00}, {0x2032, 0x00}, {0x2033, 0x02}, {0x2034, 0x01}}},
};

const Chip_Id_Rule kRules[] = {
    {0xC9, 1, 0, CHIP_SPCA2085},
    {0xD2, 0, 0, CHIP_SPCA2620},
    {0xC5, 1, 0, CHIP_SPCA2092},
    {CHIP_ID_ANY, 0, 2, CHIP_SPCA2650},
};

const Chip_Detection_Table kDetection = {0x00, true, kRules, std::size(kRules)};

} // namespace

Extension_Unit_SPCA2085_Protocol::Extension_Unit_SPCA2085_Protocol(Extension_Unit_Base_Class* extUnit)
    : Extension_Unit_SPCA2085_Protocol(extUnit, Description().model)
{
}

Extension_Unit_SPCA2085_Protocol::Extension_Unit_SPCA2085_Protocol(Extension_Unit_Base_Class* extUnit,
                                                                   const char* name)
    : Extension_Unit_Chip_Protocol(extUnit, kTable, name)
{
}

int Extension_Unit_SPCA2085_Protocol::This_Is_Me(Extension_Unit_Base_Class* extUnit)
{
    Extension_Unit_SPCA2085_Protocol probe(extUnit);
    return probe.Recognise(kDetection);
}

std::uint32_t Extension_Unit_SPCA2085_Protocol::Chip_Code_For(const Chip_Id_Registers& registers)
{
    return Match_Chip_Id(kRules, registers);
}

const Chip_Detection_Table& Extension_Unit_SPCA2085_Protocol::Detection() { return kDetection; }

// Its test runs third and announces the SPCA2092's model name.
const Chip_Description& Extension_Unit_SPCA2085_Protocol::Description()
{
    static const Chip_Description description = {
        "QLV_1080P_1", "SPCA2085", CHIP_SPCA2085, &kTable, &kDetection, 2, "QLV_1080P_2",
        &Make_Chip_Protocol<Extension_Unit_SPCA2085_Protocol>, Chip_Update_Path::Boot_Code,
        {nullptr, nullptr, nullptr, nullptr},
    };
    return description;
}
