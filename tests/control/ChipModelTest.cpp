#include "emulator/ChipModel.h"
#include "emulator/FaultPlan.h"
#include "emulator/QueryFormat.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <string>
#include <vector>

using namespace korvane::emulator;

namespace {

class ChipModelTest : public ::testing::Test
{
protected:
    ChipModelTest() : m_chip(*Find_Chip_Profile("2620"), *Find_Flash_Part("MX25L512")) {}

    int Set(std::uint8_t selector, std::vector<std::uint8_t> data)
    {
        return m_chip.Answer({4, selector, kSetCur, static_cast<std::uint16_t>(data.size())}, data.data());
    }

    std::vector<std::uint8_t> Get(std::uint8_t selector, std::uint16_t size)
    {
        std::vector<std::uint8_t> data(size, 0xEE);
        EXPECT_EQ(m_chip.Answer({4, selector, kGetCur, size}, data.data()), 0);
        return data;
    }

    unsigned Length_Of(std::uint8_t selector)
    {
        std::uint8_t answer[2] = {};
        EXPECT_EQ(m_chip.Answer({4, selector, kGetLen, 2}, answer), 0);
        return answer[0] | answer[1] << 8;
    }

    // Loads a command set at indexes 1 to 12, as the host does before a write.
    void Load_Commands(const std::array<std::uint8_t, 12>& opcodes)
    {
        for (std::size_t i = 0; i < opcodes.size(); ++i) {
            ASSERT_EQ(Set(0x07, {static_cast<std::uint8_t>(i + 1)}), 0);
            ASSERT_EQ(Set(0x08, {opcodes[i]}), 0);
        }
    }

    void Load_Write_Commands() { Load_Commands(*Write_Command_Set(m_chip.Flash().Part())); }

    std::vector<std::uint8_t> Flash_Id(std::uint8_t opcode)
    {
        Set(0x07, {13});
        Set(0x08, {opcode});
        return Get(0x17, 3);
    }

    ChipModel m_chip;
};

TEST_F(ChipModelTest, AnswersTheLengthOfEverySelector)
{
    const std::vector<std::pair<std::uint8_t, unsigned>> lengths = {
        {0x02, 2}, {0x03, 1}, {0x04, 2}, {0x05, 2}, {0x07, 1}, {0x08, 1},
        {0x0D, 4}, {0x0E, 4}, {0x0F, 1024}, {0x10, 1}, {0x16, 64}, {0x17, 3}};
    for (const auto& [selector, length] : lengths)
        EXPECT_EQ(Length_Of(selector), length) << "selector " << int(selector);
}

TEST_F(ChipModelTest, UnknownUnitOrSelectorIsMissing)
{
    std::uint8_t data[2] = {};
    EXPECT_EQ(m_chip.Answer({3, 0x03, kGetLen, 2}, data), ENOENT);
    EXPECT_EQ(m_chip.Answer({4, 0x01, kGetLen, 2}, data), ENOENT);
}

TEST_F(ChipModelTest, WrongSizeIsRefused)
{
    std::uint8_t data[4] = {};
    EXPECT_EQ(m_chip.Answer({4, 0x03, kGetCur, 2}, data), ENOBUFS);
    EXPECT_EQ(m_chip.Answer({4, 0x03, kGetLen, 1}, data), ENOBUFS);
}

TEST_F(ChipModelTest, IdentificationRegistersHoldTheProfile)
{
    EXPECT_EQ(m_chip.Isp(0x20FF), 0xD2);
    EXPECT_EQ(m_chip.Isp(0x2051), 0x00);
    EXPECT_EQ(m_chip.Isp(0x20D9), 0x00);
    const ChipModel other(*Find_Chip_Profile("2282"), *Find_Flash_Part("FM25Q04"));
    EXPECT_EQ(other.Isp(0x20FF), 0xFF);
    EXPECT_EQ(other.Isp(0x2051), 0xFF);
}

TEST_F(ChipModelTest, IspRegistersSitBehindAddressAndValue)
{
    EXPECT_EQ(Set(0x02, {0x34, 0x12}), 0);
    EXPECT_EQ(Set(0x03, {0xA5}), 0);
    EXPECT_EQ(m_chip.Isp(0x1234), 0xA5);
    EXPECT_EQ(Get(0x02, 2), (std::vector<std::uint8_t>{0x34, 0x12}));
    EXPECT_EQ(Get(0x03, 1), (std::vector<std::uint8_t>{0xA5}));
}

TEST_F(ChipModelTest, SensorRegistersAreSixteenBits)
{
    Set(0x04, {0x02, 0x30});
    Set(0x05, {0xCD, 0xAB});
    EXPECT_EQ(m_chip.Sensor(0x3002), 0xABCD);
    EXPECT_EQ(Get(0x05, 2), (std::vector<std::uint8_t>{0xCD, 0xAB}));
}

TEST_F(ChipModelTest, FlashAnswersTheIdOpcodeLoadedAtIndexThirteen)
{
    EXPECT_EQ(Flash_Id(0x9F), (std::vector<std::uint8_t>{0xC2, 0x20, 0x10}));
    EXPECT_EQ(Flash_Id(0x90), (std::vector<std::uint8_t>{0xC2, 0x05, 0xC2}));
    EXPECT_EQ(Flash_Id(0xAB), (std::vector<std::uint8_t>{0x05, 0x05, 0x05}));
    EXPECT_EQ(m_chip.Isp(ChipModel::kFlashIdRegister), 0x05);
    EXPECT_EQ(m_chip.Command_Set(13), 0xAB);
}

TEST_F(ChipModelTest, OlderPartsAnswerOnlyTheirOwnIdOpcode)
{
    ChipModel chip(*Find_Chip_Profile("2620"), *Find_Flash_Part("PM25LV512"));
    EXPECT_EQ(chip.Flash().Identify(0x9F), 0xFFFFFFu);
    EXPECT_EQ(chip.Flash().Identify(0x90), 0xFFFFFFu);
    EXPECT_EQ(chip.Flash().Identify(0xAB), 0x7F7B9Du);
}

TEST_F(ChipModelTest, CommandSetRegistersKeepTheOpcodes)
{
    Set(0x07, {1});
    Set(0x08, {0x03});
    Set(0x07, {8});
    Set(0x08, {0xFF});
    EXPECT_EQ(m_chip.Command_Set(1), 0x03);
    EXPECT_EQ(m_chip.Command_Set(8), 0xFF);
}

TEST_F(ChipModelTest, ProgrammingOnlyClearsBitsAndEraseSetsThem)
{
    Load_Write_Commands();
    Set(0x0E, {0x00, 0x04, 0x00, 0x00}); // 0x400
    std::vector<std::uint8_t> piece(1024, 0x0F);
    EXPECT_EQ(Set(0x0F, piece), 0);
    std::vector<std::uint8_t> second(1024, 0xF3);
    EXPECT_EQ(Set(0x0F, second), 0);
    EXPECT_EQ(Get(0x0F, 1024), std::vector<std::uint8_t>(1024, 0x03));

    Set(0x0D, {0x10, 0x04, 0x00, 0x00}); // inside sector 0
    EXPECT_EQ(Get(0x0F, 1024), std::vector<std::uint8_t>(1024, 0xFF));
}

TEST_F(ChipModelTest, EraseTouchesOnlyItsSector)
{
    m_chip.Flash().Load(0x0FFF, {0x00, 0x00});
    Load_Write_Commands();
    Set(0x0D, {0x00, 0x10, 0x00, 0x00}); // sector at 0x1000
    std::uint8_t bytes[2] = {};
    m_chip.Flash().Read(0x0FFF, bytes, 2);
    EXPECT_EQ(bytes[0], 0x00);
    EXPECT_EQ(bytes[1], 0xFF);
}

TEST_F(ChipModelTest, ProgramWindowWritesSixtyFourBytes)
{
    m_chip.Flash().Load(0, std::vector<std::uint8_t>(128, 0x89));
    Load_Write_Commands();
    Set(0x0E, {0, 0, 0, 0});
    std::vector<std::uint8_t> window(64, 0xFF);
    window[0] = window[1] = 0x00;
    EXPECT_EQ(Set(0x16, window), 0);
    std::vector<std::uint8_t> flash(66);
    m_chip.Flash().Read(0, flash.data(), flash.size());
    EXPECT_EQ(flash[0], 0x00);
    EXPECT_EQ(flash[1], 0x00);
    EXPECT_EQ(flash[2], 0x89);
    EXPECT_EQ(flash[65], 0x89);
}

TEST_F(ChipModelTest, WritesNeedTheCommandSetOfThePart)
{
    m_chip.Flash().Load(0x1000, std::vector<std::uint8_t>(16, 0x5A));
    const std::vector<std::uint8_t> address = {0x00, 0x10, 0x00, 0x00};
    EXPECT_EQ(Set(0x0D, address), EIO) << "nothing loaded yet";
    EXPECT_EQ(Set(0x0E, address), 0);
    EXPECT_EQ(Set(0x0F, std::vector<std::uint8_t>(1024, 0x00)), EIO);
    EXPECT_EQ(Set(0x16, std::vector<std::uint8_t>(64, 0x00)), EIO);

    std::array<std::uint8_t, 12> pmcErase = *Write_Command_Set(m_chip.Flash().Part());
    pmcErase[5] = 0xD7;
    Load_Commands(pmcErase);
    EXPECT_EQ(Set(0x0D, address), EIO) << "wrong sector erase opcode";

    std::array<std::uint8_t, 12> withChipErase = *Write_Command_Set(m_chip.Flash().Part());
    withChipErase[7] = 0xC7;
    Load_Commands(withChipErase);
    EXPECT_EQ(Set(0x0D, address), EIO) << "chip erase left on";
    EXPECT_EQ(m_chip.Refused_Writes(), 5);
    std::uint8_t byte = 0;
    m_chip.Flash().Read(0x1000, &byte, 1);
    EXPECT_EQ(byte, 0x5A);

    Load_Write_Commands();
    EXPECT_EQ(Set(0x0D, address), 0);
    m_chip.Flash().Read(0x1000, &byte, 1);
    EXPECT_EQ(byte, 0xFF);
}

TEST(ChipModel, PartThatMustNotBeWrittenRefusesEveryCommandSet)
{
    ChipModel chip(*Find_Chip_Profile("2620"), *Find_Flash_Part("AT25SF041"));
    EXPECT_FALSE(Write_Command_Set(chip.Flash().Part()).has_value());
    for (const FlashPart& part : Flash_Parts()) {
        const auto opcodes = Write_Command_Set(part);
        if (!opcodes)
            continue;
        for (std::size_t i = 0; i < opcodes->size(); ++i) {
            std::uint8_t index = static_cast<std::uint8_t>(i + 1);
            std::uint8_t opcode = (*opcodes)[i];
            chip.Answer({4, 0x07, kSetCur, 1}, &index);
            chip.Answer({4, 0x08, kSetCur, 1}, &opcode);
        }
        std::uint8_t address[4] = {};
        EXPECT_EQ(chip.Answer({4, 0x0D, kSetCur, 4}, address), EIO) << part.name;
    }
}

TEST_F(ChipModelTest, GpioInputRegistersAreDrivenByThePinsOnly)
{
    m_chip.Set_Isp(0x2045, 0x81);
    m_chip.Set_Isp(0x204C, 0x08);
    Set(0x02, {0x45, 0x20});
    Set(0x03, {0x00});
    EXPECT_EQ(m_chip.Isp(0x2045), 0x81);
    Set(0x02, {0x4C, 0x20});
    Set(0x03, {0x03});
    EXPECT_EQ(m_chip.Isp(0x204C), 0x0B) << "enable and value bits follow the host, input bit 3 stays";
    Set(0x02, {0x43, 0x20});
    Set(0x03, {0x81});
    EXPECT_EQ(m_chip.Isp(0x2043), 0x81);
}

TEST_F(ChipModelTest, PieceLengthFollowsTheModule)
{
    m_chip.Set_Piece_Length(4096);
    EXPECT_EQ(Length_Of(0x0F), 4096u);
}

// 0x10000 does not fit the 16-bit answer: it reads as 0, and the piece
// moves in 0x8000-byte transfers at the piece address.
TEST_F(ChipModelTest, WholeAreaPieceLengthReadsAsZeroAndMovesInHalves)
{
    m_chip.Set_Piece_Length(0x10000);
    EXPECT_EQ(Length_Of(0x0F), 0u);
    const auto commands = Write_Command_Set(m_chip.Flash().Part());
    ASSERT_TRUE(commands);
    for (std::size_t i = 0; i < commands->size(); ++i) {
        ASSERT_EQ(Set(0x07, {static_cast<std::uint8_t>(i + 1)}), 0);
        ASSERT_EQ(Set(0x08, {(*commands)[i]}), 0);
    }
    ASSERT_EQ(Set(0x0D, {0x00, 0x80, 0x00, 0x00}), 0);
    ASSERT_EQ(Set(0x0E, {0x00, 0x80, 0x00, 0x00}), 0);
    std::vector<std::uint8_t> half(0x8000, 0x42);
    EXPECT_EQ(m_chip.Answer({4, 0x0F, kSetCur, 0x8000}, half.data()), 0);
    EXPECT_EQ(m_chip.Answer({4, 0x0F, kSetCur, 0x0400}, half.data()), ENOBUFS);
    std::vector<std::uint8_t> back(0x8000, 0);
    EXPECT_EQ(m_chip.Answer({4, 0x0F, kGetCur, 0x8000}, back.data()), 0);
    EXPECT_EQ(back, half);
}

// The chip whose update writes the boot-code switch right after the mode
// change stays on the bus; the others leave it to change their mode.
TEST(ChipModelModeChange, LeavesTheBusOnEveryChipButThe2282)
{
    for (const ChipProfile& profile : Chip_Profiles()) {
        SCOPED_TRACE(profile.name);
        ChipModel chip(profile, *Find_Flash_Part(profile.flashPart));
        std::uint8_t address[2] = {0xD8, 0x20};
        std::uint8_t value = 0x5A;
        ASSERT_EQ(chip.Answer({profile.unitId, 0x02, kSetCur, 2}, address), 0);
        ASSERT_EQ(chip.Answer({profile.unitId, 0x03, kSetCur, 1}, &value), 0);
        EXPECT_EQ(chip.Isp(0x20D8), 0x5A);
        EXPECT_EQ(chip.Take_Restart_Request(), std::string(profile.name) != "2282");
    }
}

TEST_F(ChipModelTest, RestartRequestIsTakenOnce)
{
    EXPECT_FALSE(m_chip.Take_Restart_Request());
    Set(0x02, {0x34, 0x20});
    Set(0x03, {0x01});
    EXPECT_TRUE(m_chip.Take_Restart_Request());
    EXPECT_FALSE(m_chip.Take_Restart_Request());
}

TEST_F(ChipModelTest, RestartKeepsTheFlash)
{
    m_chip.Set_Isp(0x2041, 0x7F);
    m_chip.Flash().Load(0x100, {0x12});
    m_chip.Restart();
    EXPECT_EQ(m_chip.Isp(0x2041), 0);
    EXPECT_EQ(m_chip.Isp(0x20FF), 0xD2);
    std::uint8_t byte = 0;
    m_chip.Flash().Read(0x100, &byte, 1);
    EXPECT_EQ(byte, 0x12);
}

TEST(FaultPlan, RulesRunOutInOrder)
{
    FaultPlan plan;
    plan.Add({4, 3, kGetCur, EAGAIN, 2});
    plan.Add({kAny, kAny, kAny, EIO, 1});
    const XuQuery read{4, 3, kGetCur, 1};
    const XuQuery other{4, 2, kSetCur, 2};
    EXPECT_EQ(plan.Next(other), EIO);
    EXPECT_EQ(plan.Next(read), EAGAIN);
    EXPECT_EQ(plan.Next(read), EAGAIN);
    EXPECT_EQ(plan.Next(read), 0);
    EXPECT_EQ(plan.Next(other), 0);
}

TEST(FaultPlan, SkippedQueriesPassBeforeTheRuleFails)
{
    FaultPlan plan;
    plan.Add({kAny, kAny, kAny, EIO, 1, 2});
    const XuQuery query{4, 3, kGetCur, 1};
    EXPECT_EQ(plan.Next(query), 0);
    EXPECT_EQ(plan.Next(query), 0);
    EXPECT_EQ(plan.Next(query), EIO);
    EXPECT_EQ(plan.Next(query), 0);
}

TEST(FaultPlan, AlwaysNeverRunsOut)
{
    FaultPlan plan;
    plan.Add({kAny, kAny, kGetLen, ETIMEDOUT, kAlways});
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(plan.Next({4, 3, kGetLen, 2}), ETIMEDOUT);
    EXPECT_EQ(plan.Next({4, 3, kGetCur, 1}), 0);
}

TEST(QueryFormat, DescribesAQueryOnOneLine)
{
    EXPECT_EQ(Format_Query({"/dev/video0", {4, 3, kGetCur, 1}, {0xD2}, 0}),
              "/dev/video0 unit 4 selector 0x03 GET_CUR size 1 data 0xd2 ok");
    EXPECT_EQ(Format_Query({"/dev/video1", {3, 2, kGetLen, 2}, {}, ENOENT}),
              "/dev/video1 unit 3 selector 0x02 GET_LEN size 2 failed: No such file or directory");
}

} // namespace
