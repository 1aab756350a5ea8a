#include "Extension_Unit_Class/Extension_Unit_GPIO.h"

#include "Extension_Unit_Class/Camera_Status.h"

namespace {

constexpr std::uint8_t kNoFunction = 255;
constexpr Reg_Bits_Des kNone = {0, 0, kNoFunction};

constexpr Reg_Bits_Des Bit(std::uint16_t address, unsigned bit)
{
    return {address, static_cast<std::uint8_t>(bit), 1};
}

// Pins 0 to 6 have a pull-down, switched off when the pin becomes an input.
constexpr GPIO_CONTROL Low_Pin(unsigned n)
{
    return {Bit(0x2041, n), Bit(0x2043, n), Bit(0x2045, n), {0x20E8, static_cast<std::uint8_t>(n + 1), 0}};
}

constexpr GPIO_CONTROL Pin_7() { return {Bit(0x2041, 7), Bit(0x2043, 7), Bit(0x2045, 7), kNone}; }

constexpr GPIO_CONTROL High_Pin(unsigned n) { return {Bit(0x2042, n - 8), Bit(0x2044, n - 8), Bit(0x2046, n - 8), kNone}; }

constexpr GPIO_CONTROL Extra_Pin(unsigned n)
{
    return {Bit(0x2056, n - 128), Bit(0x2057, n - 128), Bit(0x2058, n - 128), kNone};
}

constexpr std::uint32_t kLastPin = 255;
constexpr std::uint32_t kFirstExtraPin = 128;

} // namespace

const GPIO_CONTROL sGPIO_ID[12] = {
    Low_Pin(0), Low_Pin(1), Low_Pin(2), Low_Pin(3), Low_Pin(4), Low_Pin(5), Low_Pin(6),
    Pin_7(),    High_Pin(8), High_Pin(9), High_Pin(10), High_Pin(11),
};

const GPIO_CONTROL sCGPIO_ID[2] = {Extra_Pin(128), Extra_Pin(129)};

const GPIO_CONTROL GPIO_ABOVE_255 = {Bit(0x204C, 1), Bit(0x204C, 0), Bit(0x204C, 3), kNone};

int Look_Up_GPIO(std::uint32_t pin, GPIO_CONTROL* control)
{
    if (pin > kLastPin)
        *control = GPIO_ABOVE_255;
    else if (pin < 12)
        *control = sGPIO_ID[pin];
    else if (pin == kFirstExtraPin || pin == kFirstExtraPin + 1)
        *control = sCGPIO_ID[pin - kFirstExtraPin];
    else
        return Camera_Status::Unknown_Pin;
    return 0;
}

std::uint8_t GPIO_Input_Level(const GPIO_CONTROL& control, std::uint8_t inputRegister)
{
    const unsigned outputMask = 1u << control.Output_Value.Bits_index;
    const unsigned inputMask = 1u << control.Input_Value.Bits_index;
    return (inputRegister & ~outputMask & inputMask) != 0 ? 1 : 0;
}
