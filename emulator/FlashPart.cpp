#include "emulator/FlashPart.h"

namespace korvane::emulator {

namespace {

constexpr std::uint32_t kNoAnswer = 0xFFFFFF;
constexpr std::uint32_t k64K = 0x10000;
constexpr std::uint32_t k128K = 0x20000;
constexpr std::uint32_t k512K = 0x80000;
constexpr std::uint32_t k1M = 0x100000;

} // namespace

const std::vector<FlashPart>& Flash_Parts()
{
    static const std::vector<FlashPart> parts = {
        {"MX25L512", 0x1020C2, 0xC205C2, 0x050505, k64K, FlashOpcodes::Common},
        {"PM25LQ512", 0x10409D, 0x9D059D, 0x050505, k64K, FlashOpcodes::Common},
        {"GD25D05", 0x1040C8, 0xC810C8, 0x101010, k64K, FlashOpcodes::Common},
        {"FM25F01", 0x1131A1, 0xA110A1, 0x101010, k128K, FlashOpcodes::Common},
        {"IS25LQ040B", 0x13409D, 0x9D129D, 0x121212, k512K, FlashOpcodes::Common},
        {"FM25Q04", 0x1340A1, 0xA112A1, 0x121212, k512K, FlashOpcodes::Common},
        {"GD25Q40C", 0x1340C8, 0xC812C8, 0x121212, k512K, FlashOpcodes::Common},
        {"EN25Q40A", 0x13301C, 0x1C121C, 0x121212, k512K, FlashOpcodes::Common},
        {"PM25LD512", 0x209D7F, 0x9D209D, 0x202020, k64K, FlashOpcodes::Pmc},
        {"AT25SF041", 0x01841F, 0x1F121F, 0x121212, k512K, FlashOpcodes::NotWritable},
        {"W25X40CL", 0x1330EF, 0xEF12EF, 0x121212, k512K, FlashOpcodes::Common},
        {"SST25VF512", kNoAnswer, 0xBF48BF, kNoAnswer, k64K, FlashOpcodes::Sst},
        {"PM25LV512", kNoAnswer, kNoAnswer, 0x7F7B9D, k64K, FlashOpcodes::Pmc},
        // 1 MiB, room for the SPCA2650's 768 KiB image area; no ID table knows it.
        {"GD25Q80C", 0x1440C8, 0xC813C8, 0x131313, k1M, FlashOpcodes::Common},
        // Answers no ID opcode; an ordinary part otherwise.
        {"NONE", kNoAnswer, kNoAnswer, kNoAnswer, k64K, FlashOpcodes::Common},
    };
    return parts;
}

std::optional<std::array<std::uint8_t, 12>> Write_Command_Set(const FlashPart& part)
{
    switch (part.opcodes) {
    case FlashOpcodes::Common:
        return std::array<std::uint8_t, 12>{0x03, 0x0B, 0x05, 0x06, 0x04, 0x20, 0xD8, 0xFF, 0x02, 0xFF, 0xFF, 0x01};
    case FlashOpcodes::Pmc:
        return std::array<std::uint8_t, 12>{0x03, 0x0B, 0x05, 0x06, 0x04, 0xD7, 0xD8, 0xFF, 0x02, 0xFF, 0xFF, 0x01};
    case FlashOpcodes::Sst:
        return std::array<std::uint8_t, 12>{0x03, 0xFF, 0x05, 0x06, 0x04, 0x20, 0x52, 0xFF, 0x02, 0xAF, 0x50, 0x01};
    case FlashOpcodes::NotWritable:
        break;
    }
    return std::nullopt;
}

const FlashPart* Find_Flash_Part(const std::string& name)
{
    for (const FlashPart& part : Flash_Parts())
        if (name == part.name)
            return &part;
    return nullptr;
}

} // namespace korvane::emulator
