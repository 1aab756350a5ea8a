#include "Extension_Unit_Class/Chip_Id_Rules.h"

namespace {

bool Byte_Matches(int wanted, std::uint8_t value) { return wanted == CHIP_ID_ANY || wanted == value; }

} // namespace

std::uint32_t Match_Chip_Id(const Chip_Id_Rule* rules, std::size_t count, const Chip_Id_Registers& registers)
{
    for (std::size_t i = 0; i < count; ++i) {
        const Chip_Id_Rule& rule = rules[i];
        if (Byte_Matches(rule.id, registers.id) && Byte_Matches(rule.a, registers.a) &&
            Byte_Matches(rule.b, registers.b))
            return rule.chipCode;
    }
    return 0;
}
