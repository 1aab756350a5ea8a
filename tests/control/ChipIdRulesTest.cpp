#include "Extension_Unit_Class/Chip_Detection.h"
#include "Extension_Unit_Class/Chip_Registry.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2085_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2281_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2282_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2620_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2650_Protocol.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace {

// The built-in chips' tests in the detection order.
constexpr std::size_t CHIP_TEST_COUNT = 5;

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

TEST(ChipIdRules, TestThatReadsTheIdOnlySeesZeroInAAndB)
{
    const Chip_Id_Rule rules[] = {{0x10, 0, 0, 7}};
    const Chip_Detection_Table idOnly = {0x00, false, rules, 1};
    const Chip_Detection_Table allThree = {0x00, true, rules, 1};
    EXPECT_EQ(Chip_Test_Code(idOnly, Id(0x10, 5, 5)), 7u);
    EXPECT_EQ(Chip_Test_Code(allThree, Id(0x10, 5, 5)), 0u);
    EXPECT_EQ(Chip_Test_Code(allThree, Id(0x10, 0, 0)), 7u);
    EXPECT_EQ(Chip_Test_Code(idOnly, Id(0x11, 0, 0)), 0u);
}

TEST(ChipIdRules, EachChipsTestIsItsRulesOnWhatItReads)
{
    using Decide = std::uint32_t (*)(const Chip_Id_Registers&);
    const std::pair<const Chip_Detection_Table& (*)(), Decide> tests[] = {
        {&Extension_Unit_SPCA2085_Protocol::Detection, &Extension_Unit_SPCA2085_Protocol::Chip_Code_For},
        {&Extension_Unit_SPCA2281_Protocol::Detection, &Extension_Unit_SPCA2281_Protocol::Chip_Code_For},
        {&Extension_Unit_SPCA2282_Protocol::Detection, &Extension_Unit_SPCA2282_Protocol::Chip_Code_For},
        {&Extension_Unit_SPCA2620_Protocol::Detection, &Extension_Unit_SPCA2620_Protocol::Chip_Code_For},
        {&Extension_Unit_SPCA2650_Protocol::Detection, &Extension_Unit_SPCA2650_Protocol::Chip_Code_For}};
    for (const auto& [detection, decide] : tests)
        for (int id = 0; id < 256; ++id)
            for (std::uint8_t a : {0x00, 0x01, 0xFF})
                for (std::uint8_t b : {0x00, 0x02}) {
                    const Chip_Id_Registers read = Id(static_cast<std::uint8_t>(id), a, b);
                    const Chip_Id_Registers seen = detection().readsAllThree ? read : Id(read.id);
                    EXPECT_EQ(Chip_Test_Code(detection(), read), decide(seen)) << "id " << id;
                }
}

// The registers each test of the detection order reads, one set per test; the
// last set is repeated for tests beyond the list.
struct Detection_Order_Case
{
    const char* name;
    std::vector<Chip_Id_Registers> reads;
    std::size_t test;
    std::uint32_t code;
    const char* announced;
};

void PrintTo(const Detection_Order_Case& c, std::ostream* os) { *os << c.name; }

class DetectionOrderOnReads : public ::testing::TestWithParam<Detection_Order_Case>
{
};

TEST_P(DetectionOrderOnReads, FirstTestGivingACodeWins)
{
    const Detection_Order_Case& expected = GetParam();
    std::vector<std::size_t> asked;
    const Chip_Detection found = Detect_Chip([&](std::size_t test) {
        asked.push_back(test);
        return expected.reads[std::min(test, expected.reads.size() - 1)];
    });
    EXPECT_EQ(found.test, expected.test);
    EXPECT_EQ(found.chipCode, expected.code);
    if (expected.announced)
        EXPECT_STREQ(found.announcedName, expected.announced);
    else
        EXPECT_EQ(found.announcedName, nullptr);
    // Every test up to the deciding one reads, in order; none after it.
    std::vector<std::size_t> order;
    for (std::size_t test = 0; test < std::min(expected.test + 1, CHIP_TEST_COUNT); ++test)
        order.push_back(test);
    EXPECT_EQ(asked, order);
}

INSTANTIATE_TEST_SUITE_P(
    Reads, DetectionOrderOnReads,
    ::testing::Values(
        Detection_Order_Case{"Spca2620", {{0xD2, 0, 0}}, 0, 256, "QLVR_56_2"},
        Detection_Order_Case{"Spca2092", {{0xC5, 1, 0}}, 0, 259, "QLVR_56_2"},
        Detection_Order_Case{"Spca2650IdZero", {{0x00, 0, 2}}, 0, 261, "QLVR_56_2"},
        Detection_Order_Case{"Spca2282", {{0xFF, 0xFF, 0}}, 0, 262, "QLVR_56_2"},
        Detection_Order_Case{"Spca2281AfterAFailedRead", {{0xFE, 0, 0}, {0xA8, 0, 0}}, 1, 257, "QLV_3M_1"},
        Detection_Order_Case{"ThirdTest", {{0x10, 0, 2}, {0x00, 0, 0}, {0x10, 0, 2}}, 2, 261, "QLV_1080P_2"},
        Detection_Order_Case{"FourthTest", {{0xFE, 5, 5}, {0x00, 0, 0}, {0xC9, 5, 5}, {0xC9, 5, 5}}, 3, 258,
                             "QLV_8M_1"},
        Detection_Order_Case{"FifthTest",
                             {{0xFE, 0xFF, 0}, {0x00, 0, 0}, {0xFF, 0xFF, 0}, {0xFF, 0, 0}, {0xFF, 0xFF, 0}}, 4, 262,
                             "QLVR_SOC_550_0"},
        Detection_Order_Case{"AllReadsFail", {{0xFE, 0, 0}, {0x00, 0, 0}}, CHIP_TEST_COUNT, 0, nullptr},
        Detection_Order_Case{"UnknownId", {{0x33, 0, 0}}, CHIP_TEST_COUNT, 0, nullptr}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ChipIdRules, DetectionOrderTriesEachChipsTestOnce)
{
    const std::vector<const Chip_Detection_Table*> expected = {
        &Extension_Unit_SPCA2650_Protocol::Detection(), &Extension_Unit_SPCA2281_Protocol::Detection(),
        &Extension_Unit_SPCA2085_Protocol::Detection(), &Extension_Unit_SPCA2620_Protocol::Detection(),
        &Extension_Unit_SPCA2282_Protocol::Detection()};
    const std::vector<const Chip_Description*> order = Chip_Detection_Order();
    ASSERT_EQ(order.size(), CHIP_TEST_COUNT);
    for (std::size_t test = 0; test < CHIP_TEST_COUNT; ++test)
        EXPECT_EQ(order[test]->detection, expected[test]) << "test " << test;
}

} // namespace
