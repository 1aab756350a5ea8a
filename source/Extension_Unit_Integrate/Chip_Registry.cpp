#include "Extension_Unit_Class/Chip_Registry.h"

#include "Extension_Unit_Class/Extension_Unit_SPCA2085_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2092_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2281_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2282_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2620_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2650_Protocol.h"

#include <algorithm>

namespace {

std::vector<const Chip_Description*>& Registry()
{
    static std::vector<const Chip_Description*> chips = {
        &Extension_Unit_SPCA2620_Protocol::Description(), &Extension_Unit_SPCA2281_Protocol::Description(),
        &Extension_Unit_SPCA2085_Protocol::Description(), &Extension_Unit_SPCA2092_Protocol::Description(),
        &Extension_Unit_SPCA2650_Protocol::Description(), &Extension_Unit_SPCA2282_Protocol::Description(),
    };
    return chips;
}

} // namespace

const std::vector<const Chip_Description*>& Chip_Descriptions() { return Registry(); }

void Register_Chip_Description(const Chip_Description& description) { Registry().push_back(&description); }

const Chip_Description* Chip_Description_For_Code(std::uint32_t chipCode)
{
    for (const Chip_Description* chip : Registry())
        if (chip->chipCode == chipCode)
            return chip;
    return nullptr;
}

const Chip_Description* Chip_Description_For_Model(const std::string& model)
{
    for (const Chip_Description* chip : Registry())
        if (model == chip->model)
            return chip;
    return nullptr;
}

std::vector<const Chip_Description*> Chip_Detection_Order()
{
    std::vector<const Chip_Description*> order;
    for (const Chip_Description* chip : Registry())
        if (chip->detection)
            order.push_back(chip);
    std::stable_sort(order.begin(), order.end(), [](const Chip_Description* a, const Chip_Description* b) {
        return a->detectionPlace < b->detectionPlace;
    });
    return order;
}
