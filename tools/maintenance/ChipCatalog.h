#ifndef KORVANE_TOOLS_MAINTENANCE_CHIPCATALOG_H
#define KORVANE_TOOLS_MAINTENANCE_CHIPCATALOG_H

#include <cstdint>
#include <string>

#include "Extension_Unit_Class/Download_Progress.h"

namespace korvane::maintenance {

// What the tool needs of a controller chip, read from its description in
// the chip registry and found by the model name its protocol reports.
struct ChipFacts
{
    const char* model;             // the protocol's model name
    const char* chip;              // "SPCA2620", ...
    std::int32_t imageTypes[2];    // FirmwareType values its download takes (0: unused)
    std::uint32_t firmwareArea;    // bytes of flash the download rewrites
    Download_Progress_Plan plan;
};

// The facts of the chip behind that model name, or null for a model no
// registered chip reports. The facts stay valid as long as the program runs.
const ChipFacts* chipFactsFor(const std::string& model);

// The firmware area of the chip with the largest one: no file the tool
// writes to a module is larger.
std::uint32_t largestFirmwareArea();

// True when the chip's download takes an image of that FirmwareType value.
bool chipTakesImageType(const ChipFacts& facts, std::int32_t imageType);

// The chips whose download takes an image of that FirmwareType value,
// "SPCA2085 or SPCA2092"; empty when none does.
std::string chipsTakingImageType(std::int32_t imageType);

} // namespace korvane::maintenance

#endif
