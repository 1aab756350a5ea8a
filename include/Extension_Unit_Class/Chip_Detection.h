#ifndef KORVANE_EXTENSION_UNIT_CHIP_DETECTION_H
#define KORVANE_EXTENSION_UNIT_CHIP_DETECTION_H

// Chip detection as decisions on the identification bytes: what one chip
// test gives for the registers it read, and which test of the detection
// order recognises the chip. The register reads stay with the caller.

#include "Extension_Unit_Class/Chip_Description.h"
#include "Extension_Unit_Class/Extension_Unit_Chip_Table.h"

#include <cstddef>
#include <cstdint>
#include <functional>

class Extension_Unit_Base_Class;

// The chip code a test gives for the registers it read, 0 for none; a and b
// count only for a test that reads them (the others see 0 there).
std::uint32_t Chip_Test_Code(const Chip_Detection_Table& detection, const Chip_Id_Registers& read);

// The registers a chip's test reads, on that chip's unit of the control object.
Chip_Id_Registers Read_Chip_Test_Registers(Extension_Unit_Base_Class* extUnit, const Chip_Description& chip);

// What detection decided.
struct Chip_Detection
{
    std::size_t test;          // place in the order of the test that recognised the chip; the test count for none
    std::uint32_t chipCode;    // the code it gave; 0 for none
    const char* announcedName; // that test's announced name; null for none
};

// The registers read for the test at that place in the order.
using Chip_Id_Reader = std::function<Chip_Id_Registers(std::size_t test)>;

// Runs the tests of the chip registry's detection order (Chip_Detection_Order)
// on what read gives for each, and stops at the first that gives a chip
// code: the registers of later tests are not read.
Chip_Detection Detect_Chip(const Chip_Id_Reader& read);

#endif
