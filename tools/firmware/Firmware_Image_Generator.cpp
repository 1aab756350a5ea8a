#include "Firmware_Image_Generator.h"

namespace korvane::firmware {

namespace {

constexpr std::uint32_t kKunOffset = 0x2000;
constexpr std::uint32_t kKunTailOffset = 0xFFFE;
constexpr std::uint32_t kLargeMarkOffset = 0x100;
constexpr std::uint32_t kLargeWordOffset = 0x30000;

void Put(std::vector<std::uint8_t>& image, std::uint32_t offset, std::initializer_list<std::uint8_t> bytes)
{
    for (std::uint8_t byte : bytes) {
        if (offset < image.size())
            image[offset] = byte;
        ++offset;
    }
}

void Put_Word(std::vector<std::uint8_t>& image, std::uint32_t offset, std::uint32_t word)
{
    Put(image, offset,
        {static_cast<std::uint8_t>(word), static_cast<std::uint8_t>(word >> 8), static_cast<std::uint8_t>(word >> 16),
         static_cast<std::uint8_t>(word >> 24)});
}

// A pattern in which no mark of another form can appear.
std::vector<std::uint8_t> Pattern(std::uint32_t length, std::uint32_t seed)
{
    std::vector<std::uint8_t> image(length);
    for (std::uint32_t i = 0; i < length; ++i)
        image[i] = static_cast<std::uint8_t>((i * 131u + seed * 7u + (i >> 9)) & 0xFF);
    Put(image, 0, {0x00, 0x00});
    Put(image, kKunOffset, {0x00});
    Put(image, kLargeMarkOffset, {0x00, 0x00});
    return image;
}

} // namespace

const std::vector<Firmware_Image_Form>& Firmware_Image_Forms()
{
    static const std::vector<Firmware_Image_Form> forms = {
        {Firmware_Image_Kind::Header_2085, "2085", 0x8000, "0x89 0x17 header (SPCA2085 download image)"},
        {Firmware_Image_Kind::Header_2088, "2088", 0x8000, "0x89 0x16 header (SPCA2281 download image)"},
        {Firmware_Image_Kind::Header_2620, "2620", 0x8000, "0x89 0x26 header (SPCA2620 download image)"},
        {Firmware_Image_Kind::Kun, "kun", 0x10000, "KUN mark with its tail (recognised, refused)"},
        {Firmware_Image_Kind::Kun_Without_Tail, "kun-no-tail", 0x4000, "KUN mark without its tail (refused)"},
        {Firmware_Image_Kind::Unmarked, "unmarked", 0x1000, "no mark (refused)"},
        {Firmware_Image_Kind::Large, "large", 0x34001, "CY mark, word 0xCC33AA55 (SPCA2650 download image)"},
        {Firmware_Image_Kind::Large_Variant_1, "large-1", 0x31801, "CY mark, word 0xCC330201 (SPCA2650)"},
        {Firmware_Image_Kind::Large_9527, "large-9527", 0x34001, "0x95 0x27 mark, word 0xCC33AA55 (SPCA2650)"},
        {Firmware_Image_Kind::Large_Other_Word, "large-other-word", 0x34001, "CY mark, another word (refused)"},
    };
    return forms;
}

const Firmware_Image_Form* Find_Firmware_Image_Form(const std::string& name)
{
    for (const Firmware_Image_Form& form : Firmware_Image_Forms())
        if (name == form.name)
            return &form;
    return nullptr;
}

std::vector<std::uint8_t> Make_Firmware_Image(Firmware_Image_Kind kind, std::uint32_t length, std::uint32_t seed)
{
    std::vector<std::uint8_t> image = Pattern(length, seed);
    switch (kind) {
    case Firmware_Image_Kind::Header_2085:
        Put(image, 0, {0x89, 0x17});
        break;
    case Firmware_Image_Kind::Header_2088:
        Put(image, 0, {0x89, 0x16});
        break;
    case Firmware_Image_Kind::Header_2620:
        Put(image, 0, {0x89, 0x26});
        break;
    case Firmware_Image_Kind::Kun:
        Put(image, kKunOffset, {'K', 'U', 'N'});
        Put(image, kKunTailOffset, {0x10, 0xEF});
        break;
    case Firmware_Image_Kind::Kun_Without_Tail:
        Put(image, kKunOffset, {'K', 'U', 'N'});
        Put(image, kKunTailOffset, {0x00, 0x00});
        break;
    case Firmware_Image_Kind::Unmarked:
        break;
    case Firmware_Image_Kind::Large:
        Put(image, kLargeMarkOffset, {'C', 'Y'});
        Put_Word(image, kLargeWordOffset, 0xCC33AA55);
        break;
    case Firmware_Image_Kind::Large_Variant_1:
        Put(image, kLargeMarkOffset, {'C', 'Y'});
        Put_Word(image, kLargeWordOffset, 0xCC330201);
        break;
    case Firmware_Image_Kind::Large_9527:
        Put(image, kLargeMarkOffset, {0x95, 0x27});
        Put_Word(image, kLargeWordOffset, 0xCC33AA55);
        break;
    case Firmware_Image_Kind::Large_Other_Word:
        Put(image, kLargeMarkOffset, {'C', 'Y'});
        Put_Word(image, kLargeWordOffset, 0x12345678);
        break;
    }
    return image;
}

} // namespace korvane::firmware
