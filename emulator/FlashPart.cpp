#include "emulator/FlashPart.h"

namespace korvane::emulator {

namespace {

constexpr std::uint32_t kNoAnswer = 0xFFFFFF;
constexpr std::uint32_t k64K = 0x10000;
constexpr std::uint32_t k128K = 0x20000;
constexpr std::uint32_t k512K = 0x80000;

} // namespace

const std::vector<FlashPart>& Flash_Parts()
{
    static const std::vector<FlashPart> parts = {
        {"MX25L512", 0x1020C2, 0xC205C2, 0x050505, k64K},
        {"PM25LQ512", 0x10409D, 0x9D059D, 0x050505, k64K},
        {"GD25D05", 0x1040C8, 0xC810C8, 0x101010, k64K},
        {"FM25F01", 0x1131A1, 0xA110A1, 0x101010, k128K},
        {"IS25LQ040B", 0x13409D, 0x9D129D, 0x121212, k512K},
        {"FM25Q04", 0x1340A1, 0xA112A1, 0x121212, k512K},
        {"GD25Q40C", 0x1340C8, 0xC812C8, 0x121212, k512K},
        {"EN25Q40A", 0x13301C, 0x1C121C, 0x121212, k512K},
        {"PM25LD512", 0x209D7F, 0x9D209D, 0x202020, k64K},
        {"AT25SF041", 0x01841F, 0x1F121F, 0x121212, k512K},
        {"W25X40CL", 0x1330EF, 0xEF12EF, 0x121212, k512K},
        {"SST25VF512", kNoAnswer, 0xBF48BF, kNoAnswer, k64K},
        {"PM25LV512", kNoAnswer, kNoAnswer, 0x7F7B9D, k64K},
        {"NONE", kNoAnswer, kNoAnswer, kNoAnswer, k64K},
    };
    return parts;
}

const FlashPart* Find_Flash_Part(const std::string& name)
{
    for (const FlashPart& part : Flash_Parts())
        if (name == part.name)
            return &part;
    return nullptr;
}

} // namespace korvane::emulator
