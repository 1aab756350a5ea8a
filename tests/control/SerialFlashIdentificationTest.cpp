#include "Extension_Unit_Class/Serial_Flash_Identification.h"

#include <gtest/gtest.h>

#include <array>
#include <cctype>
#include <cstring>
#include <string>

namespace {

constexpr std::uint32_t kNoAnswer = 0xFFFFFF;

using Opcodes = std::array<std::uint8_t, 13>;

// The opcode rows of the families, SF_Read .. SF_ReadId.
const Opcodes kMxOpcodes = {0x03, 0x0B, 0x05, 0x06, 0x04, 0x20, 0xD8, 0xC7, 0x02, 0xFF, 0xFF, 0x01, 0x00};
const Opcodes kPmcOpcodes = {0x03, 0x0B, 0x05, 0x06, 0x04, 0xD7, 0xD8, 0xC7, 0x02, 0xFF, 0xFF, 0x01, 0x00};
const Opcodes kSstOpcodes = {0x03, 0xFF, 0x05, 0x06, 0x04, 0x20, 0x52, 0x60, 0x02, 0xAF, 0x50, 0x01, 0x01};

Opcodes Opcodes_Of(const SerialFlashCommand& c)
{
    return {c.SF_Read, c.SF_FastRead, c.SF_RDSR,    c.SF_WREN,       c.SF_WRDI, c.SF_SectorErase, c.SF_BlockErase,
            c.SF_ChipErase, c.SF_Program, c.SF_AAIProgram, c.SF_EWSR, c.SF_WRSR,    c.SF_ReadId};
}

struct Identification_Case
{
    const char* what;
    Serial_Flash_Id id;
    Serial_Flash_Type family;
    SerialFlashPart part;
    const Opcodes* opcodes; // null: not writable
};

const Identification_Case kCases[] = {
    {"FM25F01", {0x1131A1, kNoAnswer, kNoAnswer}, SF_MX, SF_FM25F01, &kMxOpcodes},
    {"MX25L512", {0x1020C2, kNoAnswer, kNoAnswer}, SF_MX, SF_MX25L512, &kMxOpcodes},
    {"PM25LQ512", {0x10409D, kNoAnswer, kNoAnswer}, SF_MX, SF_PM25LQ512, &kMxOpcodes},
    {"GD25D05", {0x1040C8, kNoAnswer, kNoAnswer}, SF_MX, SF_GD25D05, &kMxOpcodes},
    {"AT25SF041", {0x01841F, kNoAnswer, kNoAnswer}, SF_UNKNOW, SF_AT25SF041, nullptr},
    {"FM25Q04", {0x1340A1, kNoAnswer, kNoAnswer}, SF_MX, SF_FM25Q04, &kMxOpcodes},
    {"EN25Q40A", {0x13301C, kNoAnswer, kNoAnswer}, SF_EON, SF_EN25Q40A, &kMxOpcodes},
    {"IS25LQ040B", {0x13409D, kNoAnswer, kNoAnswer}, SF_MX, SF_IS25LQ040B, &kMxOpcodes},
    {"GD25Q40C", {0x1340C8, kNoAnswer, kNoAnswer}, SF_MX, SF_GD25Q40C, &kMxOpcodes},
    {"PM25LD512", {0x209D7F, kNoAnswer, kNoAnswer}, SF_PMC, SF_PM25LD512, &kPmcOpcodes},
    {"SST25VF512", {kNoAnswer, 0xBF48BF, kNoAnswer}, SF_SST, SF_SST25VF512, &kSstOpcodes},
    {"W25X40CL", {0x1330EF, 0xEF12EF, kNoAnswer}, SF_MX, SF_W25X40CLSNIG, &kMxOpcodes},
    {"PM25LV512", {kNoAnswer, kNoAnswer, 0x7F7B9D}, SF_PMC, SF_PM25LV512, &kPmcOpcodes},
    {"nothing known", {kNoAnswer, kNoAnswer, kNoAnswer}, SF_MX, SF_UNDEFINED, &kMxOpcodes},
    {"all zero", {0, 0, 0}, SF_MX, SF_UNDEFINED, &kMxOpcodes},
    // The JEDEC answer decides before the older ID answers are looked at.
    {"JEDEC first", {0x209D7F, 0xBF48BF, 0x7F7B9D}, SF_PMC, SF_PM25LD512, &kPmcOpcodes},
    {"SST before PMC signature", {kNoAnswer, 0xBF48BF, 0x7F7B9D}, SF_SST, SF_SST25VF512, &kSstOpcodes},
    {"Winbond before PMC signature", {kNoAnswer, 0xEF12EF, 0x7F7B9D}, SF_MX, SF_W25X40CLSNIG, &kMxOpcodes},
};

void PrintTo(const Identification_Case& c, std::ostream* out) { *out << c.what; }

class SerialFlashIdentification : public ::testing::TestWithParam<Identification_Case>
{
};

TEST_P(SerialFlashIdentification, GivesTheFamilyPartAndOpcodes)
{
    const Identification_Case& c = GetParam();
    EXPECT_EQ(Serial_Flash_Family(c.id), c.family);
    EXPECT_EQ(Serial_Flash_Part(c.id), c.part);
    const Serial_Flash_Commands commands = Serial_Flash_Commands_For(c.id);
    EXPECT_EQ(commands.full.SF_TYPE, c.family);
    EXPECT_EQ(commands.write.SF_TYPE, c.family);
    EXPECT_EQ(commands.write.SF_ChipErase, 0xFF);
    if (c.opcodes) {
        EXPECT_EQ(Opcodes_Of(commands.full), *c.opcodes);
        Opcodes withoutChipErase = *c.opcodes;
        withoutChipErase[7] = 0xFF;
        EXPECT_EQ(Opcodes_Of(commands.write), withoutChipErase);
    } else {
        EXPECT_EQ(Opcodes_Of(commands.full), Opcodes_Of(Unidentified_Serial_Flash_Command()));
    }
}

INSTANTIATE_TEST_SUITE_P(Parts, SerialFlashIdentification, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<Identification_Case>& info) {
                             std::string name = info.param.what;
                             for (char& c : name)
                                 if (!std::isalnum(static_cast<unsigned char>(c)))
                                     c = '_';
                             return name;
                         });

TEST(SerialFlashIdentification, IdBytesAreReadFirstByteLowest)
{
    const std::uint8_t bytes[3] = {0xC2, 0x20, 0x10};
    EXPECT_EQ(Serial_Flash_Id_Value(bytes), 0x1020C2u);
}

TEST(SerialFlashIdentification, OpcodesAreAskedInOrder)
{
    EXPECT_EQ(SERIAL_FLASH_ID_OPCODES, (std::array<std::uint8_t, 3>{0x9F, 0x90, 0xAB}));
}

TEST(SerialFlashIdentification, NameTableHoldsTheEnumeratorNames)
{
    const char* names[] = {"SF_PMC", "SF_SST", "SF_MX", "SF_EON", "SF_AMIC", "SF_MX32", "SF_UNKNOW"};
    for (int family = SF_PMC; family <= SF_UNKNOW; ++family)
        EXPECT_STREQ(Serial_Flash_Type_Name[family], names[family]);
    EXPECT_EQ(sizeof Serial_Flash_Type_Name[0], 256u);
}

TEST(SerialFlashIdentification, PartsAreNumberedInOrder)
{
    EXPECT_EQ(SF_UNDEFINED, 0);
    EXPECT_EQ(SF_MX25L512, 1);
    EXPECT_EQ(SF_W25X40CLSNIG, 48);
    EXPECT_EQ(SF_SST25VF512, 66);
    EXPECT_EQ(SF_AMICA25LS512, 77);
}

TEST(SerialFlashIdentification, LoadedOpcodesAreTheFirstTwelveFields)
{
    const SerialFlashCommand command = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, SF_MX};
    const std::array<std::uint8_t, 12> expected = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    EXPECT_EQ(Serial_Flash_Loaded_Opcodes(command), expected);
}

} // namespace
