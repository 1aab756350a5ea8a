#include "Extension_Unit_Class/Firmware_Form.h"

#include "Extension_Unit_Class/Camera_Status.h"

namespace {

constexpr int kAccepted = 1;
constexpr unsigned char kHeaderStart = 0x89;

// The byte at offset, or nothing when the image ends before it.
bool Byte_Is(const unsigned char* image, unsigned int length, std::uint32_t offset, unsigned char value)
{
    return image && offset < length && image[offset] == value;
}

bool Bytes_Are(const unsigned char* image, unsigned int length, std::uint32_t offset, unsigned char first,
               unsigned char second)
{
    return Byte_Is(image, length, offset, first) && Byte_Is(image, length, offset + 1, second);
}

// The little-endian word at offset; false when it does not lie within the image.
bool Word_At(const unsigned char* image, unsigned int length, std::uint32_t offset, std::uint32_t& word)
{
    if (!image || length < 4 || offset > length - 4)
        return false;
    word = static_cast<std::uint32_t>(image[offset]) | static_cast<std::uint32_t>(image[offset + 1]) << 8 |
           static_cast<std::uint32_t>(image[offset + 2]) << 16 | static_cast<std::uint32_t>(image[offset + 3]) << 24;
    return true;
}

bool Has_Kun_Mark(const unsigned char* image, unsigned int length)
{
    return Bytes_Are(image, length, FIRMWARE_KUN_MARK_OFFSET, 'K', 'U') &&
           Byte_Is(image, length, FIRMWARE_KUN_MARK_OFFSET + 2, 'N');
}

bool Has_Large_Mark(const unsigned char* image, unsigned int length)
{
    return Bytes_Are(image, length, FIRMWARE_LARGE_MARK_OFFSET, 'C', 'Y') ||
           Bytes_Are(image, length, FIRMWARE_LARGE_MARK_OFFSET, 0x95, 0x27);
}

std::int32_t Large_Image_Type(const unsigned char* image, unsigned int length)
{
    std::uint32_t word = 0;
    const bool hasWord = Word_At(image, length, FIRMWARE_LARGE_WORD_OFFSET, word);
    if (length >= FIRMWARE_LARGE_MIN_LENGTH) {
        if (hasWord && word == FIRMWARE_LARGE_WORD)
            return SPCA_2650;
        if (hasWord && word == FIRMWARE_LARGE_WORD_1)
            return FIRMWARE_VARIANT_1 | SPCA_2650;
        return FIRMWARE_VARIANT_SIZE_MISFIT | SPCA_2650;
    }
    if (length >= FIRMWARE_MEDIUM_MIN_LENGTH && hasWord && word == FIRMWARE_LARGE_WORD_1)
        return FIRMWARE_VARIANT_1 | SPCA_2650;
    return FIRMWARE_VARIANT_SIZE_MISFIT | SPCA_2650;
}

} // namespace

std::int32_t FirmwareType(const unsigned char* image, unsigned int length)
{
    if (Bytes_Are(image, length, 0, kHeaderStart, 0x17))
        return SPCA_2085;
    if (Bytes_Are(image, length, 0, kHeaderStart, 0x16))
        return SPCA_2088;
    if (Bytes_Are(image, length, 0, kHeaderStart, 0x26))
        return SPCA_2610;
    if (Has_Kun_Mark(image, length)) {
        if (Bytes_Are(image, length, FIRMWARE_KUN_TAIL_OFFSET, 0x10, 0xEF))
            return SPCA_2089;
        return FIRMWARE_VARIANT_1 | SPCA_2089;
    }
    if (!Has_Large_Mark(image, length))
        return FIRMWARE_UNKNOWN_FORM;
    return Large_Image_Type(image, length);
}

// The KUN-marked image is recognised but refused on purpose.
int FW_Support_Device(unsigned char* image, unsigned int length, unsigned int, bool acceptAll)
{
    if (acceptAll)
        return kAccepted;
    switch (FirmwareType(image, length)) {
    case SPCA_2085:
    case SPCA_2088:
    case SPCA_2610:
    case SPCA_2650:
    case FIRMWARE_VARIANT_1 | SPCA_2650:
        return kAccepted;
    default:
        return Camera_Status::Unsupported_Image;
    }
}
