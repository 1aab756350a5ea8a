#include "emulator/ModuleOptions.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

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

TEST(ModuleOptions, ReadsPieceLengthAndFaults)
{
    const ModuleConfig config =
        Parse_Module_Options("piece=65536,fail=5,fail=0d:3,power-loss=40,stuck=100,stuck=2a00:01");
    EXPECT_EQ(config.pieceLength, 0x10000u);
    ASSERT_EQ(config.faults.size(), 2u);
    EXPECT_EQ(config.faults[0].selector, kAny);
    EXPECT_EQ(config.faults[0].skip, 5);
    EXPECT_EQ(config.faults[0].count, 1);
    EXPECT_EQ(config.faults[0].error, EIO);
    EXPECT_EQ(config.faults[1].selector, 0x0D);
    EXPECT_EQ(config.faults[1].query, kAny);
    EXPECT_EQ(config.faults[1].skip, 3);
    EXPECT_EQ(config.powerLossAfter, 40);
    ASSERT_EQ(config.stuckBits.size(), 2u);
    EXPECT_EQ(config.stuckBits[0].address, 0x100u);
    EXPECT_EQ(config.stuckBits[0].bits, 0xFF);
    EXPECT_EQ(config.stuckBits[1].address, 0x2A00u);
    EXPECT_EQ(config.stuckBits[1].bits, 0x01);
}

TEST(ModuleOptions, FirmwareFileFillsTheFlashContents)
{
    const std::string path = ::testing::TempDir() + "module_options_firmware.bin";
    const std::vector<char> bytes = {char(0x89), char(0x26), 0, 7, char(0xFF)};
    std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    const ModuleConfig config = Parse_Module_Options("chip=2620,firmware=" + path);
    std::remove(path.c_str());
    EXPECT_EQ(config.firmware, (std::vector<std::uint8_t>{0x89, 0x26, 0x00, 0x07, 0xFF}));
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
    EXPECT_THROW(Parse_Module_Options("piece=65537"), std::invalid_argument);
    EXPECT_THROW(Parse_Module_Options("fail=x"), std::invalid_argument);
    EXPECT_THROW(Parse_Module_Options("fail=100:1"), std::invalid_argument);
    EXPECT_THROW(Parse_Module_Options("fail=0d:"), std::invalid_argument);
    EXPECT_THROW(Parse_Module_Options("power-loss=-1"), std::invalid_argument);
    EXPECT_THROW(Parse_Module_Options("stuck=10:0"), std::invalid_argument);
    EXPECT_THROW(Parse_Module_Options("stuck=10:100"), std::invalid_argument);
    EXPECT_THROW(Parse_Module_Options("firmware=/nonexistent/firmware.bin"), std::invalid_argument);
}

} // namespace
