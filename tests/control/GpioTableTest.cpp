#include "Extension_Unit_Class/Extension_Unit_GPIO.h"

#include <gtest/gtest.h>

namespace {

void Expect_Bit(const Reg_Bits_Des& bit, std::uint16_t address, int index, int vail)
{
    EXPECT_EQ(bit.Reg_Addr, address);
    EXPECT_EQ(bit.Bits_index, index);
    EXPECT_EQ(bit.Vail, vail);
}

GPIO_CONTROL Pin(std::uint32_t pin)
{
    GPIO_CONTROL control{};
    EXPECT_EQ(Look_Up_GPIO(pin, &control), 0) << "pin " << pin;
    return control;
}

TEST(GpioTable, LowPinsHaveAPullDown)
{
    for (unsigned n = 0; n <= 6; ++n) {
        SCOPED_TRACE(n);
        const GPIO_CONTROL control = Pin(n);
        Expect_Bit(control.Output_Enable, 0x2041, n, 1);
        Expect_Bit(control.Output_Value, 0x2043, n, 1);
        Expect_Bit(control.Input_Value, 0x2045, n, 1);
        Expect_Bit(control.Pull_down, 0x20E8, n + 1, 0);
    }
}

TEST(GpioTable, PinSevenHasNoPullDown)
{
    const GPIO_CONTROL control = Pin(7);
    Expect_Bit(control.Output_Enable, 0x2041, 7, 1);
    Expect_Bit(control.Output_Value, 0x2043, 7, 1);
    Expect_Bit(control.Input_Value, 0x2045, 7, 1);
    Expect_Bit(control.Pull_down, 0, 0, 255);
}

TEST(GpioTable, PinsEightToElevenUseTheSecondRegisters)
{
    for (unsigned n = 8; n <= 11; ++n) {
        SCOPED_TRACE(n);
        const GPIO_CONTROL control = Pin(n);
        Expect_Bit(control.Output_Enable, 0x2042, n - 8, 1);
        Expect_Bit(control.Output_Value, 0x2044, n - 8, 1);
        Expect_Bit(control.Input_Value, 0x2046, n - 8, 1);
        Expect_Bit(control.Pull_down, 0, 0, 255);
    }
}

TEST(GpioTable, Pins128And129)
{
    for (unsigned n = 128; n <= 129; ++n) {
        SCOPED_TRACE(n);
        const GPIO_CONTROL control = Pin(n);
        Expect_Bit(control.Output_Enable, 0x2056, n - 128, 1);
        Expect_Bit(control.Output_Value, 0x2057, n - 128, 1);
        Expect_Bit(control.Input_Value, 0x2058, n - 128, 1);
        Expect_Bit(control.Pull_down, 0, 0, 255);
    }
}

TEST(GpioTable, EveryPinAbove255IsServedBy204C)
{
    for (std::uint32_t pin : {256u, 300u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(pin);
        const GPIO_CONTROL control = Pin(pin);
        Expect_Bit(control.Output_Enable, 0x204C, 1, 1);
        Expect_Bit(control.Output_Value, 0x204C, 0, 1);
        Expect_Bit(control.Input_Value, 0x204C, 3, 1);
        Expect_Bit(control.Pull_down, 0, 0, 255);
    }
}

TEST(GpioTable, MissingPinsAreRefused)
{
    for (std::uint32_t pin : {12u, 50u, 127u, 130u, 200u, 255u}) {
        GPIO_CONTROL control = sGPIO_ID[0];
        EXPECT_EQ(Look_Up_GPIO(pin, &control), -1) << "pin " << pin;
        Expect_Bit(control.Output_Enable, 0x2041, 0, 1); // untouched
    }
}

TEST(GpioTable, InputLevelMasksTheOutputBitToo)
{
    // With the table's equal bit numbers a pin always reads 0; kept so.
    for (std::uint32_t pin : {0u, 7u, 9u, 129u})
        EXPECT_EQ(GPIO_Input_Level(Pin(pin), 0xFF), 0) << "pin " << pin;
    // Above 255 the input (bit 3) and output (bit 0) bits differ.
    EXPECT_EQ(GPIO_Input_Level(Pin(300), 0x08), 1);
    EXPECT_EQ(GPIO_Input_Level(Pin(300), 0xF7), 0);
    GPIO_CONTROL different = Pin(3);
    different.Output_Value.Bits_index = 5;
    EXPECT_EQ(GPIO_Input_Level(different, 0x08), 1);
    EXPECT_EQ(GPIO_Input_Level(different, 0x28 & ~0x08), 0);
}

} // namespace
