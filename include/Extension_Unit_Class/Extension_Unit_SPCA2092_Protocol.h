#ifndef KORVANE_EXTENSION_UNIT_SPCA2092_PROTOCOL_H
#define KORVANE_EXTENSION_UNIT_SPCA2092_PROTOCOL_H

// Protocol of the SPCA2092 controller: the SPCA2085 protocol under its own name.

#include "Extension_Unit_Class/Extension_Unit_SPCA2085_Protocol.h"

class Extension_Unit_SPCA2092_Protocol : public Extension_Unit_SPCA2085_Protocol
{
public:
    explicit Extension_Unit_SPCA2092_Protocol(Extension_Unit_Base_Class* extUnit);

    // Everything known of this chip, for the chip registry.
    static const Chip_Description& Description();
};

#endif
