#include "RegisterCommands.h"

#include <cstdio>

#include "ExitCode.h"
#include "ToolContext.h"

namespace korvane::maintenance {

namespace {

constexpr std::uint64_t kByteMax = 0xFF;
constexpr std::uint64_t kWordMax = 0xFFFF;

std::string hex(std::uint64_t value, int digits)
{
    char text[24];
    std::snprintf(text, sizeof text, "0x%0*llX", digits, static_cast<unsigned long long>(value));
    return text;
}

int transferFailed(ToolContext& context, const std::string& what, int status)
{
    return context.fail(kExitModuleFailed, what + " failed (status " + std::to_string(status) + ")");
}

} // namespace

int runIspRead(ToolContext& context)
{
    std::uint64_t address = 0;
    if (!context.numberArgument(0, "ISP address", kWordMax, address))
        return kExitUsage;
    auto module = context.openModule();
    if (!module)
        return kExitNoModule;
    std::uint8_t value = 0;
    const int status = Camera_Get_ISP_Reg_Api(module->device(), static_cast<unsigned>(address), &value);
    if (status != 0)
        return transferFailed(context, "reading ISP register " + hex(address, 4), status);
    context.out() << "ISP " << hex(address, 4) << " = " << hex(value, 2) << " (" << unsigned(value) << ")\n";
    return kExitSuccess;
}

int runIspWrite(ToolContext& context)
{
    std::uint64_t address = 0;
    std::uint64_t value = 0;
    if (!context.numberArgument(0, "ISP address", kWordMax, address) ||
        !context.numberArgument(1, "ISP value", kByteMax, value))
        return kExitUsage;
    auto module = context.openModule();
    if (!module)
        return kExitNoModule;
    const int status =
        Camera_Set_ISP_Reg_Api(module->device(), static_cast<unsigned>(address), static_cast<unsigned>(value));
    if (status != 0)
        return transferFailed(context, "writing ISP register " + hex(address, 4), status);
    context.out() << "ISP " << hex(address, 4) << " <- " << hex(value, 2) << "\n";
    return kExitSuccess;
}

int runSensorRead(ToolContext& context)
{
    std::uint64_t slave = 0;
    std::uint64_t address = 0;
    if (!context.numberArgument(0, "sensor slave id", kByteMax, slave) ||
        !context.numberArgument(1, "sensor address", kWordMax, address))
        return kExitUsage;
    auto module = context.openModule();
    if (!module)
        return kExitNoModule;
    std::uint16_t value = 0;
    const int status = Camera_Get_Sensor_Reg_Api(module->device(), static_cast<std::uint8_t>(slave),
                                                 static_cast<unsigned>(address), &value);
    if (status != 0)
        return transferFailed(context, "reading sensor register " + hex(address, 4), status);
    context.out() << "sensor " << hex(address, 4) << " = " << hex(value, 4) << " (" << value << ")\n";
    return kExitSuccess;
}

int runSensorWrite(ToolContext& context)
{
    std::uint64_t slave = 0;
    std::uint64_t address = 0;
    std::uint64_t value = 0;
    if (!context.numberArgument(0, "sensor slave id", kByteMax, slave) ||
        !context.numberArgument(1, "sensor address", kWordMax, address) ||
        !context.numberArgument(2, "sensor value", kWordMax, value))
        return kExitUsage;
    auto module = context.openModule();
    if (!module)
        return kExitNoModule;
    const int status = Camera_Set_Sensor_Reg_Api(module->device(), static_cast<std::uint8_t>(slave),
                                                 static_cast<unsigned>(address), static_cast<unsigned>(value));
    if (status != 0)
        return transferFailed(context, "writing sensor register " + hex(address, 4), status);
    context.out() << "sensor " << hex(address, 4) << " <- " << hex(value, 4) << "\n";
    return kExitSuccess;
}

} // namespace korvane::maintenance
