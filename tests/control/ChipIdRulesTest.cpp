#include "Extension_Unit_Class/Extension_Unit_SPCA2085_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2281_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2282_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2620_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2650_Protocol.h"

#include <gtest/gtest.h>

#include <map>

namespace {

Chip_Id_Registers Id(std::uint8_t id, std::uint8_t a = 0, std::uint8_t b = 0) { return {id, a, b}; }

// The code for every id byte, with a and b given.
template <typename Decide>
void Expect_Id_Decisions(Decide decide, const std::map<int, std::uint32_t>& codes, std::uint8_t a, std::uint8_t b)
{
    for (int id = 0; id < 256; ++id) {
        const auto known = codes.find(id);
        const std::uint32_t expected = known == codes.end() ? 0 : known->second;
        EXPECT_EQ(decide(Id(static_cast<std::uint8_t>(id), a, b)), expected) << "id " << id;
    }
}

TEST(ChipIdRules, Spca2650TestDecidesOnTheIdAlone)
{
    const std::map<int, std::uint32_t> codes = {{0xC5, 259}, {0x00, 261}, {0x04, 261}, {0xA8, 257},
                                                {0xC9, 258}, {0xD2, 256}, {0xFF, 262}};
    for (std::uint8_t a : {0x00, 0x01, 0xFF})
        for (std::uint8_t b : {0x00, 0x02, 0xFF})
            Expect_Id_Decisions(&Extension_Unit_SPCA2650_Protocol::Chip_Code_For, codes, a, b);
}

TEST(ChipIdRules, Spca2281TestKnowsOnlyItsOwnId)
{
    Expect_Id_Decisions(&Extension_Unit_SPCA2281_Protocol::Chip_Code_For, {{0xA8, 257}}, 0, 0);
    Expect_Id_Decisions(&Extension_Unit_SPCA2281_Protocol::Chip_Code_For, {{0xA8, 257}}, 1, 2);
}

TEST(ChipIdRules, Spca2620TestDecidesOnTheIdAlone)
{
    const std::map<int, std::uint32_t> codes = {{0xC9, 258}, {0xD2, 256}, {0xC5, 259}};
    Expect_Id_Decisions(&Extension_Unit_SPCA2620_Protocol::Chip_Code_For, codes, 0, 0);
    Expect_Id_Decisions(&Extension_Unit_SPCA2620_Protocol::Chip_Code_For, codes, 7, 9);
}

TEST(ChipIdRules, Spca2085TestNeedsAllThreeRegisters)
{
    const auto decide = &Extension_Unit_SPCA2085_Protocol::Chip_Code_For;
    EXPECT_EQ(decide(Id(0xC9, 1, 0)), 258u);
    EXPECT_EQ(decide(Id(0xD2, 0, 0)), 256u);
    EXPECT_EQ(decide(Id(0xC5, 1, 0)), 259u);
    EXPECT_EQ(decide(Id(0xC9, 0, 0)), 0u);
    EXPECT_EQ(decide(Id(0xD2, 1, 0)), 0u);
    EXPECT_EQ(decide(Id(0xC5, 1, 1)), 0u);
    EXPECT_EQ(decide(Id(0xFF, 0xFF, 0)), 0u);
    // Any id with a = 0 and b = 2 is an SPCA2650, the listed ids included.
    for (int id = 0; id < 256; ++id)
        EXPECT_EQ(decide(Id(static_cast<std::uint8_t>(id), 0, 2)), 261u) << "id " << id;
    EXPECT_EQ(decide(Id(0x10, 0, 3)), 0u);
}

TEST(ChipIdRules, Spca2282TestNeedsAllThreeRegisters)
{
    const auto decide = &Extension_Unit_SPCA2282_Protocol::Chip_Code_For;
    EXPECT_EQ(decide(Id(0xC5, 1, 0)), 259u);
    EXPECT_EQ(decide(Id(0xC9, 1, 0)), 258u);
    EXPECT_EQ(decide(Id(0xD2, 0, 0)), 256u);
    EXPECT_EQ(decide(Id(0xFF, 0xFF, 0)), 262u);
    EXPECT_EQ(decide(Id(0xFF, 0, 0)), 0u);
    EXPECT_EQ(decide(Id(0xFF, 0xFF, 1)), 0u);
    EXPECT_EQ(decide(Id(0x42, 0, 2)), 261u);
    EXPECT_EQ(decide(Id(0x42, 1, 2)), 0u);
    EXPECT_EQ(decide(Id(0x42, 0, 0)), 0u);
}

TEST(ChipIdRules, FirstMatchingRuleWins)
{
    const Chip_Id_Rule rules[] = {{0x10, CHIP_ID_ANY, 2, 1}, {CHIP_ID_ANY, CHIP_ID_ANY, 2, 2}, {0x10, 5, 5, 3}};
    EXPECT_EQ(Match_Chip_Id(rules, Id(0x10, 9, 2)), 1u);
    EXPECT_EQ(Match_Chip_Id(rules, Id(0x11, 9, 2)), 2u);
    EXPECT_EQ(Match_Chip_Id(rules, Id(0x10, 5, 5)), 3u);
    EXPECT_EQ(Match_Chip_Id(rules, Id(0x10, 5, 4)), 0u);
}

} // namespace
