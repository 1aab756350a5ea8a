#include "Extension_Unit_Class/Extension_Unit_SPCA2281_Protocol.h"

#include "Extension_Unit_Class/Firmware_Form.h"

#include <iterator>

namespace {

constexpr std::uint16_t kUnit = 3;

const Extension_Unit_Chip_Table kTable = {
    kUnit,
    Make_Extension_Unit_Templates(kUnit),
    {Get_Len_Request(kUnit, XU_SEL_PIECE_CONTROL, 1), Set_Cur_Request(kUnit, XU_SEL_PIECE_CONTROL, 1),
     Get_Len_Request(kUnit, XU_SEL_PIECE_DATA, 0x1000)},
    3,
    0x1000,
    {13, 12, 0},
    0.52f,
    Flash_Id_Source::Id_Selector,
    // 64 KiB from 0: 1 + 1 + 1 + 16 + 2 x 15 + 2 + 1 = 52 steps with 4096-byte pieces.
    {{SPCA_2088, 0}, 0x0, 0x10000, 0x0, true,
     {{0x2034, 0x00}, {0x2030, 0xFF}, {0x2031, 0x00}, {0x2032, 0x00}, {0x2033, 0x02}, {0x2034, 0x01}}},
};

const Chip_Id_Rule kRules[] = {
    {0xA8, CHIP_ID_ANY, CHIP_ID_ANY, CHIP_SPCA2281},
};

const Chip_Detection_Table kDetection = {0x00, false, kRules, std::size(kRules)};

} // namespace

Extension_Unit_SPCA2281_Protocol::Extension_Unit_SPCA2281_Protocol(Extension_Unit_Base_Class* extUnit)
    : Extension_Unit_SPCA2281_Protocol(extUnit, Description().model)
{
}

Extension_Unit_SPCA2281_Protocol::Extension_Unit_SPCA2281_Protocol(Extension_Unit_Base_Class* extUnit,
                                                                   const char* name)
    : Extension_Unit_Chip_Protocol(extUnit, kTable, name)
{
}

int Extension_Unit_SPCA2281_Protocol::This_Is_Me(Extension_Unit_Base_Class* extUnit)
{
    Extension_Unit_SPCA2281_Protocol probe(extUnit);
    return probe.Recognise(kDetection);
}

std::uint32_t Extension_Unit_SPCA2281_Protocol::Chip_Code_For(const Chip_Id_Registers& registers)
{
    return Match_Chip_Id(kRules, registers);
}

const Chip_Detection_Table& Extension_Unit_SPCA2281_Protocol::Detection() { return kDetection; }

const Chip_Description& Extension_Unit_SPCA2281_Protocol::Description()
{
    static const Chip_Description description = {
        "QLV_3M_1", "SPCA2281", CHIP_SPCA2281, &kTable, &kDetection, 1, "QLV_3M_1",
        &Make_Chip_Protocol<Extension_Unit_SPCA2281_Protocol>, Chip_Update_Path::Direct,
        {nullptr, nullptr, nullptr, nullptr},
    };
    return description;
}
