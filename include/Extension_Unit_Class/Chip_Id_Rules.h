#ifndef KORVANE_EXTENSION_UNIT_CHIP_ID_RULES_H
#define KORVANE_EXTENSION_UNIT_CHIP_ID_RULES_H

// Chip recognition from the identification registers, as pure decisions on bytes.

#include <cstddef>
#include <cstdint>

// ISP addresses of the identification registers.
constexpr std::uint16_t ISP_CHIP_ID = 0x20FF;
constexpr std::uint16_t ISP_CHIP_ID_A = 0x2051;
constexpr std::uint16_t ISP_CHIP_ID_B = 0x20D9;

// The bytes read from the identification registers.
struct Chip_Id_Registers
{
    std::uint8_t id; // 0x20FF
    std::uint8_t a;  // 0x2051
    std::uint8_t b;  // 0x20D9
};

// Matches any byte in a Chip_Id_Rule.
constexpr int CHIP_ID_ANY = -1;

// One recognition rule: the register values (or CHIP_ID_ANY) and the chip code they give.
struct Chip_Id_Rule
{
    int id;
    int a;
    int b;
    std::uint32_t chipCode;
};

// The chip code of the first matching rule, 0 when none matches.
std::uint32_t Match_Chip_Id(const Chip_Id_Rule* rules, std::size_t count, const Chip_Id_Registers& registers);

template <std::size_t N>
std::uint32_t Match_Chip_Id(const Chip_Id_Rule (&rules)[N], const Chip_Id_Registers& registers)
{
    return Match_Chip_Id(rules, N, registers);
}

#endif
