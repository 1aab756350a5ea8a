#include "Extension_Unit_Class/Extension_Unit_SPCA2281_Protocol.h"

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
};

const Chip_Id_Rule kRules[] = {
    {0xA8, CHIP_ID_ANY, CHIP_ID_ANY, CHIP_SPCA2281},
};

const Chip_Detection_Table kDetection = {0x00, false, kRules, std::size(kRules)};

} // namespace

Extension_Unit_SPCA2281_Protocol::Extension_Unit_SPCA2281_Protocol(Extension_Unit_Base_Class* extUnit)
    : Extension_Unit_SPCA2281_Protocol(extUnit, "QLV_3M_1")
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
