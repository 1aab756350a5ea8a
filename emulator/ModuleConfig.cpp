#include "emulator/ModuleConfig.h"

namespace korvane::emulator {

ModuleConfig Camera_Module(const std::string& chip, int videoNumber)
{
    ModuleConfig config;
    config.chip = chip;
    config.devnum = videoNumber + 2;
    config.serial = "KV" + std::to_string(1000000000 + videoNumber);
    config.nodes = {{videoNumber, false}};
    return config;
}

ModuleConfig Plain_Webcam(int videoNumber)
{
    ModuleConfig config = Camera_Module("", videoNumber);
    config.vendorId = 0x046d;
    config.productId = 0x0825;
    config.manufacturer = "Generic";
    config.product = "USB Webcam";
    config.serial = "WC" + std::to_string(videoNumber);
    return config;
}

} // namespace korvane::emulator
