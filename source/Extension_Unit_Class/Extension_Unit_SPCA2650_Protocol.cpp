#include "Extension_Unit_Class/Extension_Unit_SPCA2650_Protocol.h"

#include "Extension_Unit_Class/Firmware_Form.h"

#include <iterator>

namespace {

constexpr std::uint16_t kUnit = 4;

const Extension_Unit_Chip_Table kTable = {
    kUnit,
    Make_Extension_Unit_Templates(kUnit),
    {Get_Len_Request(kUnit, XU_SEL_PIECE_DATA, 1), Get_Len_Request(kUnit, XU_SEL_PIECE_DATA, 0x1000), {}},
    2,
    0x1000,
    {46, 45, 44},
    5.8f,
    Flash_Id_Source::Isp_Registers,
    // 768 KiB from 0, the CY mark at 0x100 as header:
    // 1 + 1 + 1 + 192 + 2 x 191 + 2 + 1 = 580 steps with 4096-byte pieces.
    {{SPCA_2650, FIRMWARE_VARIANT_1 | SPCA_2650}, 0x0, 0xC0000, FIRMWARE_LARGE_MARK_OFFSET, true,
     {{0x2034, 0x00}, {0x2030, 0xFF}, {0x2031, 0x00}, {0x2032, 0x00}, {0x2033, 0x02}, {0x2034, 0x01}}},
};

// Decides on the id alone; 0x2051 and 0x20D9 are read and logged only.
const Chip_Id_Rule kRules[] = {
    {0xC5, CHIP_ID_ANY, CHIP_ID_ANY, CHIP_SPCA2092}, {0x00, CHIP_ID_ANY, CHIP_ID_ANY, CHIP_SPCA2650},
    {0x04, CHIP_ID_ANY, CHIP_ID_ANY, CHIP_SPCA2650}, {0xA8, CHIP_ID_ANY, CHIP_ID_ANY, CHIP_SPCA2281},
    {0xC9, CHIP_ID_ANY, CHIP_ID_ANY, CHIP_SPCA2085}, {0xD2, CHIP_ID_ANY, CHIP_ID_ANY, CHIP_SPCA2620},
    {0xFF, CHIP_ID_ANY, CHIP_ID_ANY, CHIP_SPCA2282},
};

// The 0xFE preset is no known id, so a failed read is not recognised.
const Chip_Detection_Table kDetection = {0xFE, true, kRules, std::size(kRules)};

} // namespace

Extension_Unit_SPCA2650_Protocol::Extension_Unit_SPCA2650_Protocol(Extension_Unit_Base_Class* extUnit)
    : Extension_Unit_SPCA2650_Protocol(extUnit, Description().model)
{
}

Extension_Unit_SPCA2650_Protocol::Extension_Unit_SPCA2650_Protocol(Extension_Unit_Base_Class* extUnit,
                                                                   const char* name)
    : Extension_Unit_Chip_Protocol(extUnit, kTable, name)
{
}

int Extension_Unit_SPCA2650_Protocol::This_Is_Me(Extension_Unit_Base_Class* extUnit)
{
    Extension_Unit_SPCA2650_Protocol probe(extUnit);
    return probe.Recognise(kDetection);
}

std::uint32_t Extension_Unit_SPCA2650_Protocol::Chip_Code_For(const Chip_Id_Registers& registers)
{
    return Match_Chip_Id(kRules, registers);
}

const Chip_Detection_Table& Extension_Unit_SPCA2650_Protocol::Detection() { return kDetection; }

const Chip_Description& Extension_Unit_SPCA2650_Protocol::Description()
{
    static const Chip_Description description = {
        "QLVR_56_2", "SPCA2650", CHIP_SPCA2650, &kTable, &kDetection, 0, "QLVR_56_2",
        &Make_Chip_Protocol<Extension_Unit_SPCA2650_Protocol>, Chip_Update_Path::Mode_Change,
        {"QLVR_56_0", "QLVR_56_1", "QLVR_56_3", nullptr},
    };
    return description;
}
