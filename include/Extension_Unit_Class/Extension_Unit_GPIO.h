#ifndef KORVANE_EXTENSION_UNIT_GPIO_H
#define KORVANE_EXTENSION_UNIT_GPIO_H

// The controller's general-purpose I/O pins: each pin function is one bit
// of one ISP register. Pin lookup and input decoding are pure decisions.

#include <cstdint>

// One bit of one ISP register.
typedef struct Reg_Bits_Des
{
    std::uint16_t Reg_Addr;  // ISP address; 0 = none
    std::uint8_t Bits_index; // bit number
    std::uint8_t Vail;       // level the bit is driven to when the function is on; 255 = no such function
} Reg_Bits_Des;

// The four registers of one pin.
typedef struct GPIO_CONTROL
{
    Reg_Bits_Des Output_Enable;
    Reg_Bits_Des Output_Value;
    Reg_Bits_Des Input_Value;
    Reg_Bits_Des Pull_down;
} GPIO_CONTROL;

// Pins 0 to 11, and pins 128 and 129 (at index pin - 128).
extern const GPIO_CONTROL sGPIO_ID[12];
extern const GPIO_CONTROL sCGPIO_ID[2];
// Every pin above 255 is served by this one entry.
extern const GPIO_CONTROL GPIO_ABOVE_255;

// The registers of a pin: 0, or -1 for a pin that does not exist.
int Look_Up_GPIO(std::uint32_t pin, GPIO_CONTROL* control);

// The level reported for a pin from its input register. The output bit is
// masked out as well: with the pin table, where both bit numbers agree,
// the level is always 0. Kept as it is.
std::uint8_t GPIO_Input_Level(const GPIO_CONTROL& control, std::uint8_t inputRegister);

#endif
