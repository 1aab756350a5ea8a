#ifndef KORVANE_EXTENSION_UNIT_CHIP_DETECTION_H
#define KORVANE_EXTENSION_UNIT_CHIP_DETECTION_H

// Chip detection as decisions on the identification bytes: what one chip
// test gives for the registers it read, and which test of the detection
// order recognises the chip. The register reads stay with the caller.

#include "Extension_Unit_Class/Extension_Unit_Chip_Table.h"

#include <cstddef>
#include <cstdint>
#include <functional>

class Extension_Unit_Base_Class;

// The chip code a test gives for the registers it read, 0 for none; a and b
// count only for a test that reads them (the others see 0 there).
std::uint32_t Chip_Test_Code(const Chip_Detection_Table& detection, const Chip_Id_Registers& read);

// One chip test of the detection order.
struct Chip_Test
{
    const Chip_Detection_Table& (*detection)();                 // its reads and rules
    Chip_Id_Registers (*read)(Extension_Unit_Base_Class* extUnit); // its reads, on its chip's unit
    const char* announcedName; // the model name announced when it recognises the chip (the test's, not the chip's)
};

constexpr std::size_t CHIP_TEST_COUNT = 5;

// The tests in the order detection tries them; the first that recognises the chip wins.
extern const Chip_Test CHIP_DETECTION_ORDER[CHIP_TEST_COUNT];

// What detection decided.
struct Chip_Detection
{
    std::size_t test;          // place in the order of the test that recognised the chip; CHIP_TEST_COUNT for none
    std::uint32_t chipCode;    // the code it gave; 0 for none
    const char* announcedName; // that test's announced name; null for none
};

// The registers read for the test at that place in the order.
using Chip_Id_Reader = std::function<Chip_Id_Registers(std::size_t test)>;

// Runs the tests in order on what read gives for each, and stops at the
// first that gives a chip code: the registers of later tests are not read.
Chip_Detection Detect_Chip(const Chip_Id_Reader& read);

#endif
