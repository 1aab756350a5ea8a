#ifndef KORVANE_EMULATOR_MODULE_CONFIG_H
#define KORVANE_EMULATOR_MODULE_CONFIG_H

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

// A virtual USB module: its identity, its video nodes and its chip. An
// empty chip makes an ordinary webcam without the extension unit.
struct ModuleConfig
{
    std::string chip = "2620";
    std::string flashPart;        // empty: the chip profile's part
    std::uint32_t pieceLength = 0; // 0: the chip profile's
    // The 16-byte identification block at 0xDE00 (ISP memory piece 13,
    // offset 3584) of the flash, zero-padded; empty: the serial number.
    std::string identification;
    std::uint16_t vendorId = 0x1bcf;
    std::uint16_t productId = 0x2cd1;
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
