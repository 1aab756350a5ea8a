// The module identity and identification string, from records alone.
#include "Extension_Unit_Class/Module_Identity.h"
#include "Extension_Unit_Class/camera_api.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

info_camera_os Information(std::uint16_t vid, std::uint16_t pid, std::uint16_t release, const char* location)
{
    info_camera_os information{};
    information.vid = vid;
    information.pid = pid;
    information.bcdDevice = release;
    std::strncpy(information.location, location, sizeof information.location - 1);
    std::strncpy(information.device, "/dev/video0", sizeof information.device - 1);
    return information;
}

info_camera_String Strings(const char* serial)
{
    info_camera_String strings{};
    std::strncpy(strings.iSerialNumber, serial, sizeof strings.iSerialNumber - 1);
    return strings;
}

TEST(ModuleIdentityTest, IsTheIdsAndTheSerialNumber)
{
    const auto identity = Module_Identity::Of(Information(0x1bcf, 0x2cd1, 0x100, "usb-0000:00:14.0-2"), Strings("KV1"));
    EXPECT_EQ(identity.Text(), "1bcf:2cd1:KV1");
}

TEST(ModuleIdentityTest, TheBusPlaceStandsInForAMissingSerialNumber)
{
    const auto identity = Module_Identity::Of(Information(0x1bcf, 0x2cd1, 0x100, "usb-0000:00:14.0-2"), Strings(""));
    EXPECT_EQ(identity.Text(), "1bcf:2cd1:usb-0000:00:14.0-2");
}

TEST(ModuleIdentityTest, SurvivesANewNodeBusPlaceAndRelease)
{
    info_camera_os before = Information(0x1bcf, 0x2cd1, 0x100, "usb-0000:00:14.0-2");
    info_camera_os after = Information(0x1bcf, 0x2cd1, 0x200, "usb-0000:00:14.0-9");
    std::strncpy(after.device, "/dev/video7", sizeof after.device - 1);
    EXPECT_TRUE(Module_Identity::Of(before, Strings("KV1")).Is_Same_Module(Module_Identity::Of(after, Strings("KV1"))));
}

TEST(ModuleIdentityTest, TellsModulesApartBySerialNumberVendorAndProduct)
{
    const auto first = Module_Identity::Of(0x1bcf, 0x2cd1, "KV1", "usb-1");
    EXPECT_FALSE(first.Is_Same_Module(Module_Identity::Of(0x1bcf, 0x2cd1, "KV2", "usb-1")));
    EXPECT_FALSE(first.Is_Same_Module(Module_Identity::Of(0x1bcf, 0x2cd2, "KV1", "usb-1")));
    EXPECT_FALSE(first.Is_Same_Module(Module_Identity::Of(0x1bce, 0x2cd1, "KV1", "usb-1")));
    EXPECT_TRUE(first.Is_Same_Module(Module_Identity::Of(0x1bcf, 0x2cd1, "KV1", "usb-2")));
}

TEST(ModuleIdentityTest, WithoutSerialNumbersTheBusPlaceTellsModulesApart)
{
    const auto first = Module_Identity::Of(0x1bcf, 0x2cd1, "", "usb-0000:00:14.0-2");
    EXPECT_TRUE(first.Is_Same_Module(Module_Identity::Of(0x1bcf, 0x2cd1, "", "usb-0000:00:14.0-2")));
    EXPECT_FALSE(first.Is_Same_Module(Module_Identity::Of(0x1bcf, 0x2cd1, "", "usb-0000:00:14.0-3")));
}

TEST(ModuleIdentityTest, AnIdentityWithNothingToGoByMatchesNoModule)
{
    const auto nothing = Module_Identity::Of(0x1bcf, 0x2cd1, "", "");
    EXPECT_EQ(nothing.Text(), "");
    EXPECT_FALSE(nothing.Is_Same_Module(nothing));
    EXPECT_FALSE(Module_Identity().Is_Same_Module(Module_Identity()));
    EXPECT_FALSE(nothing.Is_Same_Module(Module_Identity::Of(0x1bcf, 0x2cd1, "KV1", "")));
}

TEST(ModuleIdentityTest, ATextFieldWithoutItsEndIsReadToTheFieldsEnd)
{
    info_camera_String strings{};
    std::memset(strings.iSerialNumber, 'S', sizeof strings.iSerialNumber);
    const auto identity = Module_Identity::Of(Information(1, 2, 3, ""), strings);
    EXPECT_EQ(identity.Text(), "0001:0002:" + std::string(sizeof strings.iSerialNumber, 'S'));
}

TEST(ModuleIdentityTest, IdentificationTextHasTheReleaseTwiceThenVendorAndSerialInDecimal)
{
    EXPECT_EQ(Module_Identity::Identification_Text(Information(1234, 0x2cd1, 256, "usb-1"), Strings("A1")),
              "256-256-1234-A1");
    EXPECT_EQ(Module_Identity::Identification_Text(Information(0x1bcf, 0, 0x100, ""), Strings("")), "256-256-7119-");
}

} // namespace
