// A module made from its configuration: firmware area contents, piece
// length and injected faults are in place before the first query.
#include "emulator/VirtualModule.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <stdexcept>
#include <vector>

using namespace korvane::emulator;

namespace {

std::uint8_t Flash_Byte(VirtualModule& module, std::uint32_t address)
{
    std::uint8_t byte = 0;
    module.With_Chip([&](ChipModel& chip) { chip.Flash().Read(address, &byte, 1); });
    return byte;
}

// A register read: address, then value; the error of the value query.
int Read_Register(VirtualModule& module, std::uint8_t* value)
{
    std::uint8_t address[2] = {0xFF, 0x20};
    module.Answer("/dev/video0", {4, 0x02, kSetCur, 2}, address);
    return module.Answer("/dev/video0", {4, 0x03, kGetCur, 1}, value);
}

TEST(VirtualModuleConfig, FirmwareAreaContentsDecideWhatBootsFirst)
{
    ModuleConfig config = Camera_Module("2620", 0);
    config.firmware = {0x89, 0x26, 0x11, 0x22};
    VirtualModule module(config);
    EXPECT_EQ(Flash_Byte(module, 2), 0x11);
    EXPECT_EQ(Flash_Byte(module, 4), 0xFF);
    EXPECT_EQ(Flash_Byte(module, kIdentificationAddress), config.serial[0]) << "the identification block is kept";
    EXPECT_EQ(module.With_Chip([](ChipModel& chip) { return chip.Booted(); }), Boot_Mode::Firmware);

    VirtualModule blank(Camera_Module("2620", 0));
    EXPECT_EQ(blank.With_Chip([](ChipModel& chip) { return chip.Booted(); }), Boot_Mode::Rom_Boot_Code);
}

TEST(VirtualModuleConfig, PieceLengthUpToTheWholeArea)
{
    ModuleConfig config = Camera_Module("2620", 0);
    config.pieceLength = 0x10000;
    VirtualModule module(config);
    EXPECT_EQ(module.With_Chip([](ChipModel& chip) { return chip.Piece_Length(); }), 0x10000u);
    config.pieceLength = 0x10001;
    EXPECT_THROW(VirtualModule{config}, std::invalid_argument);
}

TEST(VirtualModuleConfig, FirmwareLongerThanTheFlashIsRefused)
{
    ModuleConfig config = Camera_Module("2620", 0);
    config.firmware.assign(0x10001, 0);
    EXPECT_THROW(VirtualModule{config}, std::invalid_argument);
}

TEST(VirtualModuleConfig, ConfiguredFaultFailsItsQuery)
{
    ModuleConfig config = Camera_Module("2620", 0);
    FaultRule rule;
    rule.selector = 0x03;
    rule.error = ETIMEDOUT;
    rule.skip = 1;
    config.faults = {rule};
    VirtualModule module(config);
    std::uint8_t value = 0;
    EXPECT_EQ(Read_Register(module, &value), 0);
    EXPECT_EQ(value, 0xD2);
    EXPECT_EQ(Read_Register(module, &value), ETIMEDOUT);
    EXPECT_EQ(Read_Register(module, &value), 0);
}

TEST(VirtualModuleConfig, ConfiguredPowerLossCutsTheModuleOff)
{
    ModuleConfig config = Camera_Module("2620", 0);
    config.powerLossAfter = 3;
    VirtualModule module(config);
    bool left = false;
    module.Set_Restart_Listener([&] { left = true; });
    std::uint8_t value = 0;
    EXPECT_EQ(Read_Register(module, &value), 0);
    EXPECT_FALSE(left);
    EXPECT_EQ(Read_Register(module, &value), ENODEV);
    EXPECT_TRUE(left);
}

TEST(VirtualModuleConfig, ConfiguredStuckBitsSurviveProgramming)
{
    ModuleConfig config = Camera_Module("2620", 0);
    config.stuckBits = {{0x1234, 0x81}};
    VirtualModule module(config);
    module.With_Chip([](ChipModel& chip) {
        const std::uint8_t zero = 0;
        chip.Flash().Program(0x1234, &zero, 1);
    });
    EXPECT_EQ(Flash_Byte(module, 0x1234), 0x81);
}

} // namespace
