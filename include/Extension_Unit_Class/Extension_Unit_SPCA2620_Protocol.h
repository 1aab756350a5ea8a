#ifndef KORVANE_EXTENSION_UNIT_SPCA2620_PROTOCOL_H
#define KORVANE_EXTENSION_UNIT_SPCA2620_PROTOCOL_H

// Protocol of the SPCA2620 controller.

#include "Extension_Unit_Class/Chip_Description.h"
#include "Extension_Unit_Class/Extension_Unit_Chip_Protocol.h"

class Extension_Unit_SPCA2620_Protocol : public Extension_Unit_Chip_Protocol
{
public:
    explicit Extension_Unit_SPCA2620_Protocol(Extension_Unit_Base_Class* extUnit);

    // 1 and ChipType set when this chip's test recognises the chip, else 0.
    static int This_Is_Me(Extension_Unit_Base_Class* extUnit);
    // The chip code this chip's test gives for the identification registers, 0 for none.
    static std::uint32_t Chip_Code_For(const Chip_Id_Registers& registers);
    // This chip's test: how it reads the identification registers and its rules.
    static const Chip_Detection_Table& Detection();
    // Everything known of this chip, for the chip registry.
    static const Chip_Description& Description();

protected:
    Extension_Unit_SPCA2620_Protocol(Extension_Unit_Base_Class* extUnit, const char* name);
};

#endif
