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

// Runs one register transfer; on success prints the line report gives.
template <typename Report>
int registerTransfer(ToolContext& context, const std::string& what, const ToolContext::Transfer& transfer,
                     Report report)
{
    const int status = context.transferOnModule(Camera_Operation::Register, {{what, transfer}});
    if (status == kExitSuccess)
        context.out() << report() << "\n";
    return status;
}

} // namespace

int runIspRead(ToolContext& context)
{
    std::uint64_t address = 0;
    if (!context.numberArgument(0, "ISP address", kWordMax, address))
        return kExitUsage;
    std::uint8_t value = 0;
    return registerTransfer(
        context, "reading ISP register " + hex(address, 4),
        [&](_Device_Point_* device) { return Camera_Get_ISP_Reg_Api(device, static_cast<unsigned>(address), &value); },
        [&] { return "ISP " + hex(address, 4) + " = " + hex(value, 2) + " (" + std::to_string(value) + ")"; });
}

int runIspWrite(ToolContext& context)
{
    std::uint64_t address = 0;
    std::uint64_t value = 0;
    if (!context.numberArgument(0, "ISP address", kWordMax, address) ||
        !context.numberArgument(1, "ISP value", kByteMax, value))
        return kExitUsage;
    return registerTransfer(
        context, "writing ISP register " + hex(address, 4),
        [&](_Device_Point_* device) {
            return Camera_Set_ISP_Reg_Api(device, static_cast<unsigned>(address), static_cast<unsigned>(value));
        },
        [&] { return "ISP " + hex(address, 4) + " <- " + hex(value, 2); });
}

int runSensorRead(ToolContext& context)
{
    std::uint64_t slave = 0;
    std::uint64_t address = 0;
    if (!context.numberArgument(0, "sensor slave id", kByteMax, slave) ||
        !context.numberArgument(1, "sensor address", kWordMax, address))
        return kExitUsage;
    std::uint16_t value = 0;
    return registerTransfer(
        context, "reading sensor register " + hex(address, 4),
        [&](_Device_Point_* device) {
            return Camera_Get_Sensor_Reg_Api(device, static_cast<std::uint8_t>(slave), static_cast<unsigned>(address),
                                             &value);
        },
        [&] { return "sensor " + hex(address, 4) + " = " + hex(value, 4) + " (" + std::to_string(value) + ")"; });
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
    return registerTransfer(
        context, "writing sensor register " + hex(address, 4),
        [&](_Device_Point_* device) {
            return Camera_Set_Sensor_Reg_Api(device, static_cast<std::uint8_t>(slave), static_cast<unsigned>(address),
                                             static_cast<unsigned>(value));
        },
        [&] { return "sensor " + hex(address, 4) + " <- " + hex(value, 4); });
}

} // namespace korvane::maintenance
