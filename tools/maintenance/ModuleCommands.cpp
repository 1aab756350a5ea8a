#include "ModuleCommands.h"

#include <cstdio>
#include <iomanip>
#include <vector>

#include "CalibrationFileCheck.h"
#include "ChipCatalog.h"
#include "ExitCode.h"
#include "Extension_Unit_Class/Extension_Unit_Functions.h"
#include "Extension_Unit_Class/Serial_Flash_Part_Name.h"
#include "Extension_Unit_Class/Video_Node_Access.h"
#include "FailureText.h"
#include "PrintableText.h"
#include "ToolContext.h"

namespace korvane::maintenance {

namespace {

constexpr int kCalibrationPiece = 0;

std::string chipName(const ModuleHandle& module)
{
    const ChipFacts* facts = chipFactsFor(module.model());
    return facts ? facts->chip : "unknown";
}

std::string flashPart(const ModuleHandle& module) { return Serial_Flash_Part_Name(Read_Flash_type(module.device()->p_device)); }

std::string vidPid(const ModuleHandle& module)
{
    char text[16];
    std::snprintf(text, sizeof text, "%04x:%04x", module.information().vid, module.information().pid);
    return text;
}

// "valid calibration file", or what is wrong with the block.
std::string calibrationState(ModuleHandle& module, bool& readFailed)
{
    std::vector<std::uint8_t> block(CalibrationFileCheck::kBlockSize, 0);
    const int status = Camera_Flash_R_Api(module.device(), kCalibrationPiece, block.data());
    readFailed = status != 0;
    if (readFailed)
        return "unknown: " + failureText("the flash read", Camera_Operation::Flash_Piece, status);
    std::string why;
    if (CalibrationFileCheck::checkBlock(block, why))
        return "valid calibration file";
    return "NOT a valid calibration file: " + why +
           "\n                restore a backup (restore) or write a calibration file (calib-write)";
}

// Names every node the user may not open; false when there is none.
bool reportDeniedNodes(ToolContext& context)
{
    const std::vector<std::string> denied = ModuleHandle::deniedNodes();
    for (const std::string& node : denied)
        context.fail(kExitNoModule, Video_Node_Access::Denied_Message(node));
    return !denied.empty();
}

} // namespace

int runList(ToolContext& context)
{
    const auto modules = ModuleHandle::openAll();
    if (modules.empty())
        return reportDeniedNodes(context) ? kExitNoModule : context.fail(kExitNoModule, "no module is attached");
    std::ostream& out = context.out();
    out << std::left << std::setw(13) << "NODE" << std::setw(10) << "CHIP" << std::setw(15) << "MODEL"
        << std::setw(11) << "VID:PID" << std::setw(17) << "SERIAL"
        << "FLASH\n";
    for (const auto& module : modules)
        out << std::setw(13) << module->devicePath() << std::setw(10) << chipName(*module) << std::setw(15)
            << module->model() << std::setw(11) << vidPid(*module) << std::setw(17)
            << printableText(module->serialNumber()) << flashPart(*module) << "\n";
    reportDeniedNodes(context);
    return kExitSuccess;
}

int runInfo(ToolContext& context)
{
    auto module = context.openModule();
    if (!module)
        return kExitNoModule;
    bool readFailed = false;
    const std::string calibration = calibrationState(*module, readFailed);
    context.out() << "Identification: " << printableText(module->identification()) << "\n"
                  << "Model:          " << module->model() << " (" << chipName(*module) << ")\n"
                  << "Node:           " << module->devicePath() << "\n"
                  << "Serial:         " << printableText(module->serialNumber()) << "\n"
                  << "Flash part:     " << flashPart(*module) << "\n"
                  << "Calibration:    " << calibration << "\n";
    if (readFailed)
        return context.fail(kExitModuleFailed, "reading the calibration block failed");
    return kExitSuccess;
}

} // namespace korvane::maintenance
