#include "ChipCatalog.h"

#include <algorithm>

#include "Extension_Unit_Class/Firmware_Form.h"
#include "Extension_Unit_Class/ISP_TYPE.h"

namespace korvane::maintenance {

namespace {

constexpr std::int32_t kLargeVariant = FIRMWARE_VARIANT_1 | SPCA_2650;

const DownloadPlan k64KiBOf1024 = {1.47f, 2, 16, 64};
const DownloadPlan k64KiBOf1024Loaded = {1.48f, 3, 16, 64};
const DownloadPlan k64KiBOf4096 = {0.52f, 3, 16, 16};
const DownloadPlan k768KiBOf4096 = {5.8f, 3, 192, 192};

const ChipFacts kChips[] = {
    {"QLV_8M_1", "SPCA2620", {SPCA_2610, 0}, 0x10000, k64KiBOf1024},
    {"QLV_1080P_1", "SPCA2085", {SPCA_2085, 0}, 0x10000, k64KiBOf1024Loaded},
    {"QLV_1080P_2", "SPCA2092", {SPCA_2085, 0}, 0x10000, k64KiBOf1024Loaded},
    {"QLV_3M_1", "SPCA2281", {SPCA_2088, 0}, 0x10000, k64KiBOf4096},
    {"QLVR_56_2", "SPCA2650", {SPCA_2650, kLargeVariant}, 0xC0000, k768KiBOf4096},
    {"QLVR_1080p_3D", "SPCA2282", {SPCA_2650, kLargeVariant}, 0xC0000, k768KiBOf4096},
};

} // namespace

const ChipFacts* chipFactsFor(const std::string& model)
{
    for (const ChipFacts& facts : kChips)
        if (model == facts.model)
            return &facts;
    return nullptr;
}

std::uint32_t largestFirmwareArea()
{
    std::uint32_t largest = 0;
    for (const ChipFacts& facts : kChips)
        largest = std::max(largest, facts.firmwareArea);
    return largest;
}

bool chipTakesImageType(const ChipFacts& facts, std::int32_t imageType)
{
    for (std::int32_t taken : facts.imageTypes)
        if (taken != 0 && taken == imageType)
            return true;
    return false;
}

std::string chipsTakingImageType(std::int32_t imageType)
{
    std::string chips;
    for (const ChipFacts& facts : kChips)
        if (chipTakesImageType(facts, imageType))
            chips += (chips.empty() ? "" : " or ") + std::string(facts.chip);
    return chips;
}

} // namespace korvane::maintenance
