#include "Extension_Unit_Class/Serial_Flash_Identification.h"

static_assert(SF_AMICA25LS512 == 77, "flash parts are numbered as the interface gives them");

const char Serial_Flash_Type_Name[SF_UNKNOW + 1][256] = {
    "SF_PMC", "SF_SST", "SF_MX", "SF_EON", "SF_AMIC", "SF_MX32", "SF_UNKNOW",
};

namespace {

// A part recognised by its JEDEC ID.
struct Jedec_Part
{
    std::uint32_t jedec;
    Serial_Flash_Type family;
    SerialFlashPart part;
};

const Jedec_Part kJedecParts[] = {
    {0x1020C2, SF_MX, SF_MX25L512},     {0x10409D, SF_MX, SF_PM25LQ512},   {0x1040C8, SF_MX, SF_GD25D05},
    {0x1131A1, SF_MX, SF_FM25F01},      {0x13409D, SF_MX, SF_IS25LQ040B},  {0x1340A1, SF_MX, SF_FM25Q04},
    {0x1340C8, SF_MX, SF_GD25Q40C},     {0x13301C, SF_EON, SF_EN25Q40A},   {0x209D7F, SF_PMC, SF_PM25LD512},
    // Known, but must not be written by this host.
    {0x01841F, SF_UNKNOW, SF_AT25SF041},
};

// Parts that answer only the older ID opcodes.
constexpr std::uint32_t kSstManufacturerDevice = 0xBF48BF;
constexpr std::uint32_t kWinbondManufacturerDevice = 0xEF12EF;
constexpr std::uint32_t kPmcSignature = 0x7F7B9D;

const Jedec_Part* Find_Jedec_Part(std::uint32_t jedec)
{
    for (const Jedec_Part& known : kJedecParts)
        if (known.jedec == jedec)
            return &known;
    return nullptr;
}

// Opcodes of a family, in field order SF_Read .. SF_ReadId.
struct Family_Opcodes
{
    Serial_Flash_Type family;
    std::uint8_t opcodes[13];
};

const Family_Opcodes kFamilyOpcodes[] = {
    {SF_MX, {0x03, 0x0B, 0x05, 0x06, 0x04, 0x20, 0xD8, 0xC7, 0x02, 0xFF, 0xFF, 0x01, 0x00}},
    {SF_EON, {0x03, 0x0B, 0x05, 0x06, 0x04, 0x20, 0xD8, 0xC7, 0x02, 0xFF, 0xFF, 0x01, 0x00}},
    {SF_PMC, {0x03, 0x0B, 0x05, 0x06, 0x04, 0xD7, 0xD8, 0xC7, 0x02, 0xFF, 0xFF, 0x01, 0x00}},
    {SF_SST, {0x03, 0xFF, 0x05, 0x06, 0x04, 0x20, 0x52, 0x60, 0x02, 0xAF, 0x50, 0x01, 0x01}},
};

SerialFlashCommand Command_Of(const std::uint8_t (&o)[13], Serial_Flash_Type family)
{
    return {o[0], o[1], o[2], o[3], o[4], o[5], o[6], o[7], o[8], o[9], o[10], o[11], o[12],
            static_cast<std::uint8_t>(family)};
}

SerialFlashCommand Full_Command_Of(Serial_Flash_Type family)
{
    for (const Family_Opcodes& row : kFamilyOpcodes)
        if (row.family == family)
            return Command_Of(row.opcodes, family);
    return Unidentified_Serial_Flash_Command();
}

} // namespace

std::uint32_t Serial_Flash_Id_Value(const std::uint8_t (&bytes)[3])
{
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
           static_cast<std::uint32_t>(bytes[2]) << 16;
}

Serial_Flash_Type Serial_Flash_Family(const Serial_Flash_Id& id)
{
    if (const Jedec_Part* known = Find_Jedec_Part(id.jedec))
        return known->family;
    if (id.manufacturerDevice == kSstManufacturerDevice)
        return SF_SST;
    if (id.manufacturerDevice == kWinbondManufacturerDevice || id.signature != kPmcSignature)
        return SF_MX;
    return SF_PMC;
}

SerialFlashPart Serial_Flash_Part(const Serial_Flash_Id& id)
{
    if (const Jedec_Part* known = Find_Jedec_Part(id.jedec))
        return known->part;
    if (id.manufacturerDevice == kSstManufacturerDevice)
        return SF_SST25VF512;
    if (id.manufacturerDevice == kWinbondManufacturerDevice)
        return SF_W25X40CLSNIG;
    if (id.signature == kPmcSignature)
        return SF_PM25LV512;
    return SF_UNDEFINED;
}

Serial_Flash_Commands Serial_Flash_Commands_For(const Serial_Flash_Id& id)
{
    Serial_Flash_Commands commands;
    commands.full = Full_Command_Of(Serial_Flash_Family(id));
    commands.write = commands.full;
    // Ordinary writes never get the chip erase opcode.
    commands.write.SF_ChipErase = 0xFF;
    return commands;
}

std::array<std::uint8_t, 12> Serial_Flash_Loaded_Opcodes(const SerialFlashCommand& c)
{
    return {c.SF_Read,        c.SF_FastRead,    c.SF_RDSR,       c.SF_WREN,    c.SF_WRDI,    c.SF_SectorErase,
            c.SF_BlockErase,  c.SF_ChipErase,   c.SF_Program,    c.SF_AAIProgram, c.SF_EWSR, c.SF_WRSR};
}
