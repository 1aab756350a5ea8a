#include "Extension_Unit_Class/Firmware_Form.h"
#include "Firmware_Image_Generator.h"
#include "support/ChildProcess.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;
using korvane::firmware::Firmware_Image_Kind;

Bytes Zeros(std::uint32_t length) { return Bytes(length, 0); }

std::int32_t Type_Of(const Bytes& image)
{
    return FirmwareType(image.data(), static_cast<unsigned>(image.size()));
}

int Support_Of(Bytes image, unsigned reserved = 0)
{
    return FW_Support_Device(image.data(), static_cast<unsigned>(image.size()), reserved, false);
}

Bytes Header(std::uint8_t second, std::uint32_t length = 0x100)
{
    Bytes image = Zeros(length);
    image[0] = 0x89;
    image[1] = second;
    return image;
}

Bytes Kun(bool tail)
{
    Bytes image = Zeros(0x10000);
    image[0x2000] = 'K';
    image[0x2001] = 'U';
    image[0x2002] = 'N';
    if (tail) {
        image[0xFFFE] = 0x10;
        image[0xFFFF] = 0xEF;
    }
    return image;
}

Bytes Large(std::uint32_t length, std::uint32_t word, std::uint8_t mark0 = 'C', std::uint8_t mark1 = 'Y')
{
    Bytes image = Zeros(length);
    image[0x100] = mark0;
    image[0x101] = mark1;
    for (int i = 0; i < 4; ++i)
        image[0x30000 + i] = static_cast<std::uint8_t>(word >> (8 * i));
    return image;
}

TEST(FirmwareType, HeaderForms)
{
    EXPECT_EQ(Type_Of(Header(0x17)), 0x6B);
    EXPECT_EQ(Type_Of(Header(0x16)), 0x69);
    EXPECT_EQ(Type_Of(Header(0x26)), 0x6D);
    EXPECT_EQ(Type_Of(Header(0x17)), SPCA_2085);
    EXPECT_EQ(Type_Of(Header(0x16)), SPCA_2088);
    EXPECT_EQ(Type_Of(Header(0x26)), SPCA_2610);
}

TEST(FirmwareType, HeaderTestsComeBeforeTheMarks)
{
    Bytes image = Kun(true);
    image[0] = 0x89;
    image[1] = 0x26;
    EXPECT_EQ(Type_Of(image), 0x6D);
    Bytes large = Large(0x34001, 0xCC33AA55);
    large[0] = 0x89;
    large[1] = 0x17;
    EXPECT_EQ(Type_Of(large), 0x6B);
}

TEST(FirmwareType, OtherHeaderSecondByteIsNoHeaderForm)
{
    EXPECT_EQ(Type_Of(Header(0x27)), -1);
    EXPECT_EQ(Type_Of(Header(0x00)), -1);
}

TEST(FirmwareType, KunMarkWithItsTail) { EXPECT_EQ(Type_Of(Kun(true)), 0x6C); }

TEST(FirmwareType, KunMarkWithoutItsTail)
{
    EXPECT_EQ(Type_Of(Kun(false)), 0x16C);
    Bytes halfTail = Kun(false);
    halfTail[0xFFFE] = 0x10;
    EXPECT_EQ(Type_Of(halfTail), 0x16C);
    // An image that ends before the tail has no tail.
    Bytes shortKun(0x2003, 0);
    shortKun[0x2000] = 'K';
    shortKun[0x2001] = 'U';
    shortKun[0x2002] = 'N';
    EXPECT_EQ(Type_Of(shortKun), 0x16C);
}

TEST(FirmwareType, KunMarkComesBeforeTheLargeMark)
{
    Bytes image = Large(0x34001, 0xCC33AA55);
    image[0x2000] = 'K';
    image[0x2001] = 'U';
    image[0x2002] = 'N';
    EXPECT_EQ(Type_Of(image), 0x16C);
}

TEST(FirmwareType, NeitherMarkAt0x100IsNoKnownForm)
{
    EXPECT_EQ(Type_Of(Zeros(0x34001)), -1);
    EXPECT_EQ(Type_Of(Large(0x34001, 0xCC33AA55, 'C', 'Z')), -1);
    EXPECT_EQ(Type_Of(Large(0x34001, 0xCC33AA55, 0x95, 0x28)), -1);
    Bytes partialKun = Zeros(0x3000);
    partialKun[0x2000] = 'K';
    partialKun[0x2001] = 'U';
    EXPECT_EQ(Type_Of(partialKun), -1);
}

TEST(FirmwareType, LargeImageWordAA55)
{
    EXPECT_EQ(Type_Of(Large(0x34001, 0xCC33AA55)), 0x6E);
    EXPECT_EQ(Type_Of(Large(0x40000, 0xCC33AA55, 0x95, 0x27)), 0x6E);
}

TEST(FirmwareType, LargeImageWord0201)
{
    EXPECT_EQ(Type_Of(Large(0x34001, 0xCC330201)), 0x16E);
    EXPECT_EQ(Type_Of(Large(0x50000, 0xCC330201, 0x95, 0x27)), 0x16E);
}

TEST(FirmwareType, LargeImageOtherWord)
{
    EXPECT_EQ(Type_Of(Large(0x34001, 0x12345678)), 0xFF6E);
    EXPECT_EQ(Type_Of(Large(0x34001, 0xCC33AA54)), 0xFF6E);
}

TEST(FirmwareType, MediumImageWord0201)
{
    EXPECT_EQ(Type_Of(Large(0x31801, 0xCC330201)), 0x16E);
    EXPECT_EQ(Type_Of(Large(0x34000, 0xCC330201, 0x95, 0x27)), 0x16E);
}

TEST(FirmwareType, AnyOtherLengthOrWord)
{
    EXPECT_EQ(Type_Of(Large(0x31800, 0xCC330201)), 0xFF6E);
    EXPECT_EQ(Type_Of(Large(0x34000, 0xCC33AA55)), 0xFF6E);
    EXPECT_EQ(Type_Of(Large(0x32000, 0x00000000)), 0xFF6E);
    // The word lies beyond the end of a short image.
    Bytes shortImage = Zeros(0x200);
    shortImage[0x100] = 'C';
    shortImage[0x101] = 'Y';
    EXPECT_EQ(Type_Of(shortImage), 0xFF6E);
}

TEST(FirmwareType, EmptyAndTruncatedImages)
{
    EXPECT_EQ(FirmwareType(nullptr, 0), -1);
    EXPECT_EQ(FirmwareType(nullptr, 0x34001), -1);
    const std::uint8_t one[] = {0x89};
    EXPECT_EQ(FirmwareType(one, 1), -1);
    const std::uint8_t two[] = {0x89, 0x26};
    EXPECT_EQ(FirmwareType(two, 2), 0x6D);
    EXPECT_EQ(FirmwareType(two, 0), -1);
}

TEST(FwSupportDevice, AcceptAllTakesEverything)
{
    EXPECT_EQ(FW_Support_Device(nullptr, 0, 0, true), 1);
    Bytes kun = Kun(true);
    EXPECT_EQ(FW_Support_Device(kun.data(), static_cast<unsigned>(kun.size()), 0, true), 1);
    Bytes unmarked = Zeros(16);
    EXPECT_EQ(FW_Support_Device(unmarked.data(), 16, 0, true), 1);
}

TEST(FwSupportDevice, AcceptsTheHeaderForms)
{
    EXPECT_EQ(Support_Of(Header(0x17)), 1);
    EXPECT_EQ(Support_Of(Header(0x16)), 1);
    EXPECT_EQ(Support_Of(Header(0x26)), 1);
    EXPECT_EQ(Support_Of(Header(0x27)), -5);
}

TEST(FwSupportDevice, AcceptsLargeImagesWhoseLengthAndWordFit)
{
    EXPECT_EQ(Support_Of(Large(0x34001, 0xCC33AA55)), 1);
    EXPECT_EQ(Support_Of(Large(0x34001, 0xCC330201)), 1);
    EXPECT_EQ(Support_Of(Large(0x34001, 0xCC33AA55, 0x95, 0x27)), 1);
    EXPECT_EQ(Support_Of(Large(0x31801, 0xCC330201)), 1);
    EXPECT_EQ(Support_Of(Large(0x34000, 0xCC330201, 0x95, 0x27)), 1);
}

TEST(FwSupportDevice, RefusesLargeImagesThatDoNotFit)
{
    EXPECT_EQ(Support_Of(Large(0x31800, 0xCC330201)), -5);
    EXPECT_EQ(Support_Of(Large(0x34000, 0xCC33AA55)), -5);
    EXPECT_EQ(Support_Of(Large(0x34001, 0x12345678)), -5);
}

TEST(FwSupportDevice, RefusesTheKunImagesDeliberately)
{
    EXPECT_EQ(Type_Of(Kun(true)), 0x6C);
    EXPECT_EQ(Support_Of(Kun(true)), -5);
    EXPECT_EQ(Support_Of(Kun(false)), -5);
}

TEST(FwSupportDevice, RefusesUnmarkedAndEmptyImages)
{
    EXPECT_EQ(Support_Of(Zeros(0x1000)), -5);
    EXPECT_EQ(FW_Support_Device(nullptr, 0, 0, false), -5);
}

TEST(FwSupportDevice, ThirdArgumentIsNotConsulted)
{
    for (unsigned reserved : {0u, 1u, 0x6Du, 0xFFFFFFFFu}) {
        EXPECT_EQ(Support_Of(Header(0x26), reserved), 1);
        EXPECT_EQ(Support_Of(Kun(true), reserved), -5);
    }
}

// Each generated form has the type its name promises, and the updater's acceptance.
TEST(FirmwareImageGenerator, EveryFormHasItsType)
{
    struct Expected
    {
        Firmware_Image_Kind kind;
        std::int32_t type;
        int support;
    };
    const Expected expected[] = {
        {Firmware_Image_Kind::Header_2085, 0x6B, 1},       {Firmware_Image_Kind::Header_2088, 0x69, 1},
        {Firmware_Image_Kind::Header_2620, 0x6D, 1},       {Firmware_Image_Kind::Kun, 0x6C, -5},
        {Firmware_Image_Kind::Kun_Without_Tail, 0x16C, -5}, {Firmware_Image_Kind::Unmarked, -1, -5},
        {Firmware_Image_Kind::Large, 0x6E, 1},             {Firmware_Image_Kind::Large_Variant_1, 0x16E, 1},
        {Firmware_Image_Kind::Large_9527, 0x6E, 1},        {Firmware_Image_Kind::Large_Other_Word, 0xFF6E, -5},
    };
    ASSERT_EQ(korvane::firmware::Firmware_Image_Forms().size(), std::size(expected));
    for (const auto& form : korvane::firmware::Firmware_Image_Forms()) {
        SCOPED_TRACE(form.name);
        const Expected* wanted = nullptr;
        for (const Expected& e : expected)
            if (e.kind == form.kind)
                wanted = &e;
        ASSERT_NE(wanted, nullptr);
        for (std::uint32_t seed : {1u, 2u, 77u}) {
            const Bytes image = korvane::firmware::Make_Firmware_Image(form.kind, form.defaultLength, seed);
            ASSERT_EQ(image.size(), form.defaultLength);
            EXPECT_EQ(Type_Of(image), wanted->type);
            EXPECT_EQ(Support_Of(image), wanted->support);
        }
    }
}

TEST(FirmwareImageGenerator, SeedsChangeTheBytesButNotTheMarks)
{
    const Bytes a = korvane::firmware::Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x8000, 1);
    const Bytes b = korvane::firmware::Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x8000, 2);
    EXPECT_NE(a, b);
    EXPECT_EQ(a[0], b[0]);
    EXPECT_EQ(a[1], b[1]);
}

// The image tool's exit status; what it prints is not shown.
int runTool(std::vector<std::string> args)
{
    args.insert(args.begin(), KORVANE_FIRMWARE_TOOL);
    int status = -1;
    korvane::test::runProgram(args, {}, status, std::chrono::seconds(30), korvane::test::StandardError::Collected);
    return status;
}

// The tool writes each form's image to a file; a bad form or length is refused.
TEST(FirmwareImageTool, WritesEveryForm)
{
    const std::string file = testing::TempDir() + "korvane-firmware-image-test.bin";
    for (const auto& form : korvane::firmware::Firmware_Image_Forms()) {
        SCOPED_TRACE(form.name);
        ASSERT_EQ(runTool({form.name, "--seed", "5", "-o", file}), 0);
        std::ifstream in(file, std::ios::binary);
        const Bytes written((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        EXPECT_EQ(written, korvane::firmware::Make_Firmware_Image(form.kind, form.defaultLength, 5));
    }
    ASSERT_EQ(runTool({"2620", "--length", "0x100", "-o", file}), 0);
    std::ifstream in(file, std::ios::binary);
    const Bytes written((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(written.size(), 0x100u);
    EXPECT_EQ(Type_Of(written), 0x6D);
    std::remove(file.c_str());
    EXPECT_GT(runTool({"nosuchform", "-o", file}), 0);
    EXPECT_GT(runTool({"2620", "--length", "0", "-o", file}), 0);
    EXPECT_GT(runTool({"2620"}), 0);
}

} // namespace
