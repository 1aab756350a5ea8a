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

int gpioFailed(ToolContext& context, const std::string& what, std::uint64_t pin, int status)
{
    return context.fail(kExitModuleFailed,
                        what + " GPIO pin " + std::to_string(pin) + " failed (status " + std::to_string(status) + ")");
}

} // namespace

bool gpioPinExists(std::uint64_t pin) { return pin <= 11 || pin == 128 || pin == 129 || pin > 255; }

int runGpioGet(ToolContext& context)
{
    std::uint64_t pin = 0;
    if (!pinArgument(context, pin))
        return kExitUsage;
    auto module = context.openModule();
    if (!module)
        return kExitNoModule;
    const unsigned number = static_cast<unsigned>(pin);
    int status = Camera_Input_GPIO_Init_Api(module->device(), number);
    if (status != 0)
        return gpioFailed(context, "making an input of", pin, status);
    std::uint8_t level = 0;
    status = Camera_Get_Input_GPIO_Api(module->device(), number, &level);
    if (status != 0)
        return gpioFailed(context, "reading", pin, status);
    context.out() << "GPIO " << pin << " = " << unsigned(level) << "\n";
    return kExitSuccess;
}

int runGpioSet(ToolContext& context)
{
    std::uint64_t pin = 0;
    std::uint64_t level = 0;
    if (!pinArgument(context, pin) || !context.numberArgument(1, "GPIO level", kLevelMax, level))
        return kExitUsage;
    auto module = context.openModule();
    if (!module)
        return kExitNoModule;
    const unsigned number = static_cast<unsigned>(pin);
    int status = Camera_Output_GPIO_Init_Api(module->device(), number);
    if (status != 0)
        return gpioFailed(context, "making an output of", pin, status);
    status = Camera_Set_Output_GPIO_Api(module->device(), number, static_cast<unsigned>(level));
    if (status != 0)
        return gpioFailed(context, "driving", pin, status);
    context.out() << "GPIO " << pin << " <- " << level << "\n";
    return kExitSuccess;
}

} // namespace korvane::maintenance
