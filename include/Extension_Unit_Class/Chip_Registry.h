#ifndef KORVANE_EXTENSION_UNIT_CHIP_REGISTRY_H
#define KORVANE_EXTENSION_UNIT_CHIP_REGISTRY_H

// The list of chip descriptions that detection, the protocol factory, the
// updater and the tools go through: the built-in chips, then any added.
// A new chip is its description, defined in its own source file, and one
// line in the built-in list (or a call to Register_Chip_Description).

#include "Extension_Unit_Class/Chip_Description.h"

#include <cstdint>
#include <string>
#include <vector>

// Every known chip, the built-in ones first.
const std::vector<const Chip_Description*>& Chip_Descriptions();

// Adds a chip; the description must live as long as the library is used.
// Not thread-safe: add chips before cameras are listed.
void Register_Chip_Description(const Chip_Description& description);

// The chip of that detection code, or null.
const Chip_Description* Chip_Description_For_Code(std::uint32_t chipCode);
// The chip whose protocol reports that model name, or null.
const Chip_Description* Chip_Description_For_Model(const std::string& model);
// The chips with a test of their own, in the order detection tries them.
std::vector<const Chip_Description*> Chip_Detection_Order();

#endif
