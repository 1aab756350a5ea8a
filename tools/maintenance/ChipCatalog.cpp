#include "ChipCatalog.h"

#include <algorithm>
#include <deque>

#include "Extension_Unit_Class/Chip_Registry.h"

namespace korvane::maintenance {

namespace {

ChipFacts factsOf(const Chip_Description& chip)
{
    const Extension_Unit_Chip_Table& table = *chip.table;
    return {chip.model, chip.chip, {table.firmware.imageTypes[0], table.firmware.imageTypes[1]},
            table.firmware.areaLength, Download_Progress_Plan_Of(table)};
}

// The facts handed out, one per description, kept at fixed addresses; the
// tool asks for them from its one command thread.
const ChipFacts& cachedFacts(const Chip_Description& chip)
{
    static std::deque<std::pair<const Chip_Description*, ChipFacts>> cache;
    for (const auto& [description, facts] : cache)
        if (description == &chip)
            return facts;
    return cache.emplace_back(&chip, factsOf(chip)).second;
}

} // namespace

const ChipFacts* chipFactsFor(const std::string& model)
{
    const Chip_Description* chip = Chip_Description_For_Model(model);
    return chip ? &cachedFacts(*chip) : nullptr;
}

std::uint32_t largestFirmwareArea()
{
    std::uint32_t largest = 0;
    for (const Chip_Description* chip : Chip_Descriptions())
        largest = std::max(largest, chip->table->firmware.areaLength);
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
    for (const Chip_Description* chip : Chip_Descriptions())
        if (chipTakesImageType(cachedFacts(*chip), imageType))
            chips += (chips.empty() ? "" : " or ") + std::string(chip->chip);
    return chips;
}

} // namespace korvane::maintenance
