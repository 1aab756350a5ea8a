#include "GpioCommands.h"

#include "ExitCode.h"
#include "ToolContext.h"

namespace korvane::maintenance {

namespace {

constexpr std::uint64_t kPinMax = 0xFFFFFFFF;
constexpr std::uint64_t kLevelMax = 1;

bool pinArgument(ToolContext& context, std::uint64_t& pin)
{
    if (!context.numberArgument(0, "GPIO pin", kPinMax, pin))
        return false;
    if (gpioPinExists(pin))
        return true;
    context.fail(kExitUsage, "there is no GPIO pin " + std::to_string(pin) +
                                 " (pins are 0 to 11, 128, 129, and above 255)");
    return false;
}

} // namespace

bool gpioPinExists(std::uint64_t pin) { return pin <= 11 || pin == 128 || pin == 129 || pin > 255; }

int runGpioGet(ToolContext& context)
{
    std::uint64_t pin = 0;
    if (!pinArgument(context, pin))
        return kExitUsage;
    const unsigned number = static_cast<unsigned>(pin);
    const std::string name = "GPIO pin " + std::to_string(pin);
    std::uint8_t level = 0;
    const int status = context.transferOnModule(
        Camera_Operation::Gpio,
        {{"making an input of " + name,
          [&](_Device_Point_* device) { return Camera_Input_GPIO_Init_Api(device, number); }},
         {"reading " + name, [&](_Device_Point_* device) { return Camera_Get_Input_GPIO_Api(device, number, &level); }}});
    if (status == kExitSuccess)
        context.out() << "GPIO " << pin << " = " << unsigned(level) << "\n";
    return status;
}

int runGpioSet(ToolContext& context)
{
    std::uint64_t pin = 0;
    std::uint64_t level = 0;
    if (!pinArgument(context, pin) || !context.numberArgument(1, "GPIO level", kLevelMax, level))
        return kExitUsage;
    const unsigned number = static_cast<unsigned>(pin);
    const std::string name = "GPIO pin " + std::to_string(pin);
    const int status = context.transferOnModule(
        Camera_Operation::Gpio,
        {{"making an output of " + name,
          [&](_Device_Point_* device) { return Camera_Output_GPIO_Init_Api(device, number); }},
         {"driving " + name, [&](_Device_Point_* device) {
              return Camera_Set_Output_GPIO_Api(device, number, static_cast<unsigned>(level));
          }}});
    if (status == kExitSuccess)
        context.out() << "GPIO " << pin << " <- " << level << "\n";
    return status;
}

} // namespace korvane::maintenance
