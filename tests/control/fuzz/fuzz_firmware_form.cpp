// Feeds arbitrary images to the firmware form recognition and acceptance:
// the results must stay within the table's values and agree with each
// other, and no byte beyond the image may be read, whatever the bytes.
//
// The input is used twice: as an image by itself, and spread over a sparse
// image whose length comes from the first four bytes, so that the marks at
// 0x100, 0x2000, 0xFFFE and 0x30000 of large images are reached too.
#include "Extension_Unit_Class/Firmware_Form.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

constexpr std::uint32_t kLongestSparseImage = 0x40000;
constexpr std::uint32_t kRegions[] = {0x0, 0x100, 0x2000, 0xFFFE, 0x30000};
constexpr std::size_t kRegionBytes = 4;

void Check(bool rule)
{
    if (!rule)
        __builtin_trap();
}

bool Accepted_Type(std::int32_t type)
{
    return type == 0x6B || type == 0x69 || type == 0x6D || type == 0x6E || type == 0x16E;
}

void Check_Image(const std::uint8_t* data, std::size_t size)
{
    // An exact-size copy, so that a read past the end is caught.
    std::vector<std::uint8_t> image(data, data + size);
    const unsigned length = static_cast<unsigned>(size);
    const std::int32_t type = FirmwareType(image.data(), length);
    const int support = FW_Support_Device(image.data(), length, 0, false);

    Check(type == -1 || type == 0x6B || type == 0x69 || type == 0x6D || type == 0x6C || type == 0x16C ||
          type == 0x6E || type == 0x16E || type == 0xFF6E);
    Check(support == 1 || support == -5);
    Check((support == 1) == Accepted_Type(type));
    Check(FW_Support_Device(image.data(), length, 0xFFFFFFFFu, false) == support);
    Check(FW_Support_Device(image.data(), length, 0, true) == 1);

    const bool header = size >= 2 && image[0] == 0x89 && (image[1] == 0x17 || image[1] == 0x16 || image[1] == 0x26);
    Check(header == (type == 0x6B || type == 0x69 || type == 0x6D));
    if (type == 0x6E)
        Check(size >= 0x34001);
    if (type == 0x16E)
        Check(size >= 0x31801);
    if (type == 0x6C || type == 0x16C)
        Check(size > 0x2002 && std::memcmp(&image[0x2000], "KUN", 3) == 0);
    if (type == 0x6C)
        Check(size >= 0x10000);
    if ((type & 0xFF) == 0x6E)
        Check(size > 0x101);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Check_Image(data, size);
    if (size < 4)
        return 0;
    std::uint32_t length = 0;
    std::memcpy(&length, data, 4);
    length %= kLongestSparseImage + 1;
    std::vector<std::uint8_t> sparse(length, 0);
    std::size_t next = 4;
    for (std::uint32_t region : kRegions)
        for (std::size_t i = 0; i < kRegionBytes && next < size; ++i, ++next)
            if (region + i < length)
                sparse[region + i] = data[next];
    Check_Image(sparse.data(), sparse.size());
    return 0;
}
