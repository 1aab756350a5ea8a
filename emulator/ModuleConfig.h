#ifndef KORVANE_EMULATOR_MODULE_CONFIG_H
#define KORVANE_EMULATOR_MODULE_CONFIG_H

#include "emulator/FaultPlan.h"
#include "emulator/ModuleUsbIds.h"

#include <cstdint>
#include <string>
#include <vector>

namespace korvane::emulator {

// One /dev/videoN node of a module. A capture node reaches the chip; a
// metadata node answers the capability query only.
struct VideoNodeConfig
{
    int number = 0;
    bool metadata = false;
};

// Bits of a flash byte that programming cannot clear (a worn cell): a
// download whose image has any of them at 0 there reads back different.
struct StuckBits
{
    std::uint32_t address = 0;
    std::uint8_t bits = 0xFF;
};

// A virtual USB module: its identity, its video nodes and its chip. An
// empty chip makes an ordinary webcam without the extension unit.
struct ModuleConfig
{
    std::string chip = "2620";
    std::string flashPart;        // empty: the chip profile's part
    // The piece length the chip reports, 1 .. 0x10000 (0x10000 reads as 0
    // in the 16-bit answer); 0: the chip profile's.
    std::uint32_t pieceLength = 0;
    // Flash contents from address 0 (the firmware area), loaded before the
    // identification block; empty: an erased flash.
    std::vector<std::uint8_t> firmware;
    // Failures injected from the first query on (see FaultPlan).
    std::vector<FaultRule> faults;
    // The power fails at the query after this many (see VirtualModule::Lose_Power_After); negative: never.
    int powerLossAfter = -1;
    std::vector<StuckBits> stuckBits;
    // The 16-byte identification block at 0xDE00 (ISP memory piece 13,
    // offset 3584) of the flash, zero-padded; empty: the serial number.
    std::string identification;
    std::uint16_t vendorId = kModuleVendorId;
    std::uint16_t productId = kModuleProductId;
    std::string bcdDevice = "0100";
    std::string serial = "KV0000000001";
    std::string manufacturer = "Korvane";
    std::string product = "Stereo Fisheye Module";
    int busnum = 1;
    int devnum = 2;
    std::vector<VideoNodeConfig> nodes = {{0, false}};
};

// A module with that chip on /dev/video<number>, its USB device number
// derived from the node number so that several modules do not collide.
ModuleConfig Camera_Module(const std::string& chip, int videoNumber);

// An ordinary webcam on /dev/video<number>.
ModuleConfig Plain_Webcam(int videoNumber);

} // namespace korvane::emulator

#endif
