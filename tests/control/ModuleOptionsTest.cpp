#include "emulator/ModuleOptions.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace korvane::emulator;

namespace {

TEST(ModuleOptions, ReadsEveryKey)
{
    const ModuleConfig config = Parse_Module_Options(
        "chip=2650,video=3,meta=4,vid=abcd,pid=12EF,bcd=0210,serial=SN7,manufacturer=M,product=P Q,bus=2,dev=9,"
        "flash=FM25Q04,piece=2048");
    EXPECT_EQ(config.chip, "2650");
    ASSERT_EQ(config.nodes.size(), 2u);
    EXPECT_EQ(config.nodes[0].number, 3);
    EXPECT_FALSE(config.nodes[0].metadata);
    EXPECT_EQ(config.nodes[1].number, 4);
    EXPECT_TRUE(config.nodes[1].metadata);
    EXPECT_EQ(config.vendorId, 0xabcd);
    EXPECT_EQ(config.productId, 0x12ef);
    EXPECT_EQ(config.bcdDevice, "0210");
    EXPECT_EQ(config.serial, "SN7");
    EXPECT_EQ(config.manufacturer, "M");
    EXPECT_EQ(config.product, "P Q");
    EXPECT_EQ(config.busnum, 2);
    EXPECT_EQ(config.devnum, 9);
    EXPECT_EQ(config.flashPart, "FM25Q04");
    EXPECT_EQ(config.pieceLength, 2048u);
}

TEST(ModuleOptions, DeviceNumberFollowsTheFirstNode)
{
    EXPECT_EQ(Parse_Module_Options("video=5").devnum, 7);
    EXPECT_EQ(Parse_Module_Options("dev=3,video=5").devnum, 3);
}

TEST(ModuleOptions, EmptyChipIsAWebcam) { EXPECT_EQ(Parse_Module_Options("chip=,video=1").chip, ""); }

TEST(ModuleOptions, RefusesMalformedText)
{
    EXPECT_THROW(Parse_Module_Options("colour=red"), std::invalid_argument);
    EXPECT_THROW(Parse_Module_Options("video"), std::invalid_argument);
    EXPECT_THROW(Parse_Module_Options("video=x"), std::invalid_argument);
    EXPECT_THROW(Parse_Module_Options("vid=12g4"), std::invalid_argument);
}

} // namespace
