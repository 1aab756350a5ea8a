#include "Extension_Unit_Class/Chip_Detection.h"

#include "Extension_Unit_Class/Chip_Registry.h"
#include "Extension_Unit_Class/Extension_Unit_Chip_Protocol.h"

std::uint32_t Chip_Test_Code(const Chip_Detection_Table& detection, const Chip_Id_Registers& read)
{
    Chip_Id_Registers seen = read;
    if (!detection.readsAllThree) {
        seen.a = 0;
        seen.b = 0;
    }
    return Match_Chip_Id(detection.rules, detection.ruleCount, seen);
}

// Each test reads through a temporary protocol of its chip bound to the control object.
Chip_Id_Registers Read_Chip_Test_Registers(Extension_Unit_Base_Class* extUnit, const Chip_Description& chip)
{
    const std::unique_ptr<Extension_Unit_Chip_Protocol> probe = chip.make(extUnit, chip);
    return probe->Read_Chip_Id(*chip.detection);
}

Chip_Detection Detect_Chip(const Chip_Id_Reader& read)
{
    const std::vector<const Chip_Description*> order = Chip_Detection_Order();
    for (std::size_t test = 0; test < order.size(); ++test) {
        const std::uint32_t chipCode = Chip_Test_Code(*order[test]->detection, read(test));
        if (chipCode != 0)
            return {test, chipCode, order[test]->announcedName};
    }
    return {order.size(), 0, nullptr};
}
