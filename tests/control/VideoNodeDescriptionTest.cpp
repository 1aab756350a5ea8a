#include "Extension_Unit_Class/Video_Node_Description.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

template <std::size_t N>
void Fill(std::uint8_t (&field)[N], const std::string& text)
{
    std::memset(field, 0, N);
    std::memcpy(field, text.data(), text.size() < N ? text.size() : N);
}

v4l2_capability Capability(const std::string& driver, const std::string& card, const std::string& bus)
{
    v4l2_capability capability{};
    Fill(capability.driver, driver);
    Fill(capability.card, card);
    Fill(capability.bus_info, bus);
    return capability;
}

Usb_Device_Attributes Module_Attributes()
{
    return {"1bcf", "2c8d", "3", "12", "Maker", "Stereo Module", "SN0042", "0100"};
}

_v4l2_dev_sys_data_t Describe(const v4l2_capability& capability, const Usb_Device_Attributes* usb,
                              bool bcdFromAttribute, const char* node = "/dev/video0")
{
    _v4l2_dev_sys_data_t description{};
    Describe_Video_Node(description, node, capability, usb, bcdFromAttribute);
    return description;
}

// The field holds the text and zero bytes only after it.
template <std::size_t N>
void Expect_Field(const char (&field)[N], const std::string& text)
{
    ASSERT_LT(text.size(), N);
    EXPECT_EQ(std::string(field, text.size()), text);
    for (std::size_t i = text.size(); i < N; ++i)
        ASSERT_EQ(field[i], '\0') << "byte " << i;
}

TEST(VideoNodeDescription, KeepsTheCapabilityTexts)
{
    const Usb_Device_Attributes usb = Module_Attributes();
    const _v4l2_dev_sys_data_t description =
        Describe(Capability("uvcvideo", "Stereo Module: Stereo", "usb-0000:00:14.0-2"), &usb, true);
    Expect_Field(description.device, "/dev/video0");
    Expect_Field(description.Device_Path, "/dev/video0");
    Expect_Field(description.name, "Stereo Module: Stereo");
    Expect_Field(description.driver, "uvcvideo");
    Expect_Field(description.location, "usb-0000:00:14.0-2");
    Expect_Field(description.iManufacturer, "Maker");
    Expect_Field(description.iProduct, "Stereo Module");
    Expect_Field(description.iSerialNumber, "SN0042");
    EXPECT_EQ(description.valid, 1);
    EXPECT_EQ(description.current, 0);
}

TEST(VideoNodeDescription, UnterminatedCapabilityFieldsEndAtTheirOwnSize)
{
    const std::string driver(16, 'D');
    const std::string card(32, 'C');
    const std::string bus(32, 'B');
    v4l2_capability capability = Capability(driver, card, bus);
    capability.version = 0xFFFFFFFFu;
    capability.capabilities = 0xFFFFFFFFu;
    capability.device_caps = 0xFFFFFFFFu;
    const _v4l2_dev_sys_data_t description = Describe(capability, nullptr, false);
    Expect_Field(description.driver, driver);
    Expect_Field(description.name, card);
    Expect_Field(description.location, bus);
}

TEST(VideoNodeDescription, LongTextsAreCutToTheirField)
{
    const std::string longText(300, 'x');
    Usb_Device_Attributes usb = Module_Attributes();
    usb.product = longText.c_str();
    const _v4l2_dev_sys_data_t description = Describe(Capability("d", "c", "b"), &usb, true, longText.c_str());
    Expect_Field(description.iProduct, std::string(255, 'x'));
    Expect_Field(description.device, std::string(255, 'x'));
    Expect_Field(description.Device_Path, std::string(255, 'x'));
}

TEST(VideoNodeDescription, MissingAttributesLeaveEmptyFieldsAndZeroNumbers)
{
    const Usb_Device_Attributes none = {};
    const _v4l2_dev_sys_data_t description = Describe(Capability("d", "c", "b"), &none, true);
    Expect_Field(description.iManufacturer, "");
    Expect_Field(description.iProduct, "");
    Expect_Field(description.iSerialNumber, "");
    Expect_Field(description.Device_Path, "/dev/video0");
    EXPECT_EQ(description.vendor, 0u);
    EXPECT_EQ(description.product, 0u);
    EXPECT_EQ(description.busnum, 0u);
    EXPECT_EQ(description.devnum, 0u);
    EXPECT_EQ(description.Bcd, 0u);
}

TEST(VideoNodeDescription, WithoutAUsbParentOnlyTheNodeAndCapabilityAreKept)
{
    const _v4l2_dev_sys_data_t description = Describe(Capability("uvcvideo", "Camera", "platform"), nullptr, true);
    Expect_Field(description.device, "/dev/video0");
    Expect_Field(description.name, "Camera");
    Expect_Field(description.Device_Path, "");
    EXPECT_EQ(description.vendor, 0u);
    EXPECT_EQ(description.Vid, 0u);
    EXPECT_EQ(description.valid, 1);
}

TEST(VideoNodeDescription, IdsAreHexadecimalAndBcdDeviceDecimal)
{
    const Usb_Device_Attributes usb = Module_Attributes();
    const _v4l2_dev_sys_data_t description = Describe(Capability("d", "c", "b"), &usb, true);
    EXPECT_EQ(description.vendor, 0x1BCFu);
    EXPECT_EQ(description.product, 0x2C8Du);
    EXPECT_EQ(description.Vid, 0x1BCF);
    EXPECT_EQ(description.Pid, 0x2C8D);
    EXPECT_EQ(description.busnum, 3u);
    EXPECT_EQ(description.devnum, 12u);
    EXPECT_EQ(description.Bcd, 100);
}

TEST(VideoNodeDescription, BcdIsTheDeviceNumberWithoutTheAttribute)
{
    Usb_Device_Attributes usb = Module_Attributes();
    usb.devnum = "70000";
    const _v4l2_dev_sys_data_t description = Describe(Capability("d", "c", "b"), &usb, false);
    EXPECT_EQ(description.devnum, 70000u);
    EXPECT_EQ(description.Bcd, 70000 & 0xFFFF);
}

TEST(VideoNodeDescription, AttributeNumbers)
{
    struct Case
    {
        const char* text;
        int base;
        unsigned long long value;
    };
    const Case cases[] = {
        {"046d", 16, 0x46D},       {"046d\n", 16, 0x46D},  {"0x1bcf", 16, 0x1BCF}, {"FFFF", 16, 0xFFFF},
        {"12345", 16, 0x12345},    {"zz", 16, 0},          {"", 16, 0},            {"12ab", 10, 12},
        {"0100", 10, 100},         {" 7", 10, 7},          {"x7", 10, 0},          {nullptr, 16, 0},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Attribute_Number(c.text, c.base), c.value) << (c.text ? c.text : "(null)");
}

TEST(VideoNodeDescription, LongIdKeepsItsLowSixteenBitsAsVid)
{
    Usb_Device_Attributes usb = Module_Attributes();
    usb.idVendor = "12345";
    const _v4l2_dev_sys_data_t description = Describe(Capability("d", "c", "b"), &usb, true);
    EXPECT_EQ(description.vendor, 0x12345u);
    EXPECT_EQ(description.Vid, 0x2345);
}

TEST(VideoNodeDescription, CopyReadsNoFurtherThanTheTextSize)
{
    const char text[4] = {'a', 'b', 'c', 'd'};
    char field[8];
    std::memset(field, 'z', sizeof field);
    Copy_Description_Text(field, sizeof field, text, sizeof text);
    EXPECT_EQ(std::string(field), "abcd");
    Copy_Description_Text(field, sizeof field, nullptr, 4);
    EXPECT_EQ(std::string(field), "abcd");
    char small[3];
    Copy_Description_Text(small, sizeof small, text, sizeof text);
    EXPECT_EQ(std::string(small), "ab");
}

} // namespace
