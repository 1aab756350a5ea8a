#ifndef KORVANE_EXTENSION_UNIT_EXTUNIT_H
#define KORVANE_EXTENSION_UNIT_EXTUNIT_H

// Building and destroying the chip protocol of an open video device.

#include "Extension_Unit_Class/Extension_Unit_Base_Protocol.h"

// Detects the chip behind the descriptor and returns its protocol, or null
// when no chip test recognises it. Free the result with Delete_Extension_Unit.
Extension_Unit_Base_Protocol* Get_Extension_Unit(int fd);

void Delete_Extension_Unit(Extension_Unit_Base_Protocol* protocol);

// Hands the descriptor the protocol was made on over to it, to be closed
// when it is deleted; false (and the descriptor stays the caller's) for a
// protocol that drives no chip.
bool Keep_Descriptor(Extension_Unit_Base_Protocol* protocol);

#endif
