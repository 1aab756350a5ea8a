#include "ChipCatalog.h"

#include <algorithm>
#include <deque>

#include "Extension_Unit_Class/Chip_Registry.h"
#include "Extension_Unit_Class/Flash_Piece_Plan.h"

namespace korvane::maintenance {

namespace {

// The download's progress steps as the chip's table has them: the first
// step, the one after the command set is loaded where the chip takes it,
// and the one after the piece length is known.
DownloadPlan planOf(const Extension_Unit_Chip_Table& table)
{
    const Firmware_Layout& firmware = table.firmware;
    return {table.progressDivisor, firmware.stepAfterFlashType ? 3 : 2,
            static_cast<int>(firmware.areaLength / FLASH_PIECE_SIZE),
            static_cast<int>(firmware.areaLength / table.pieceLength)};
}

ChipFacts factsOf(const Chip_Description& chip)
{
    const Extension_Unit_Chip_Table& table = *chip.table;
    return {chip.model, chip.chip, {table.firmware.imageTypes[0], table.firmware.imageTypes[1]},
            table.firmware.areaLength, planOf(table)};
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
