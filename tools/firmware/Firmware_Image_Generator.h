#ifndef KORVANE_TOOLS_FIRMWARE_IMAGE_GENERATOR_H
#define KORVANE_TOOLS_FIRMWARE_IMAGE_GENERATOR_H

// Test firmware images of every form the updater knows, accepted and
// refused ones alike, so that the updater can be exercised without vendor
// files. The images carry the marks of their form over a recognisable
// byte pattern; they run on no chip.

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace korvane::firmware {

enum class Firmware_Image_Kind
{
    Header_2085,      // 0x89 0x17
    Header_2088,      // 0x89 0x16
    Header_2620,      // 0x89 0x26, the SPCA2620's download image
    Kun,              // "KUN" at 0x2000 and 0x10 0xEF at 0xFFFE (recognised, refused)
    Kun_Without_Tail, // "KUN" at 0x2000 only (recognised, refused)
    Unmarked,         // no mark at all
    Large,            // "CY" at 0x100, 0xCC33AA55 at 0x30000
    Large_Variant_1,  // "CY" at 0x100, 0xCC330201 at 0x30000
    Large_9527,       // 0x95 0x27 at 0x100, 0xCC33AA55 at 0x30000
    Large_Other_Word, // "CY" at 0x100, another word at 0x30000
};

struct Firmware_Image_Form
{
    Firmware_Image_Kind kind;
    const char* name;            // the tool's name for it
    std::uint32_t defaultLength; // the smallest length that has the form
    const char* description;
};

const std::vector<Firmware_Image_Form>& Firmware_Image_Forms();

// The form of that name, or null.
const Firmware_Image_Form* Find_Firmware_Image_Form(const std::string& name);

// An image of that kind and length; a mark that would lie beyond the length
// is left out. Different seeds give different bytes outside the marks.
std::vector<std::uint8_t> Make_Firmware_Image(Firmware_Image_Kind kind, std::uint32_t length, std::uint32_t seed = 1);

} // namespace korvane::firmware

#endif
