#include "CalibrationCommands.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <vector>

#include "CalibrationFileCheck.h"
#include "ExitCode.h"
#include "FailureText.h"
#include "ToolContext.h"

namespace korvane::maintenance {

namespace {

constexpr int kCalibrationPiece = 0;
constexpr std::size_t kBlockSize = CalibrationFileCheck::kBlockSize;

} // namespace

int runCalibSave(ToolContext& context)
{
    const std::string& path = context.argument(0);
    auto module = context.openModule();
    if (!module)
        return kExitNoModule;
    std::vector<std::uint8_t> block(kBlockSize, 0);
    const int status = Camera_Flash_R_Api(module->device(), kCalibrationPiece, block.data());
    if (status != 0)
        return context.fail(kExitModuleFailed,
                            failureText("reading the calibration block", Camera_Operation::Flash_Piece, status));
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!file)
        return context.fail(kExitInputRefused, "cannot create " + path + ": " + std::strerror(errno));
    file.write(reinterpret_cast<const char*>(block.data()), static_cast<std::streamsize>(block.size()));
    file.close();
    if (!file)
        return context.fail(kExitInputRefused, "cannot write " + path);
    context.out() << "Calibration block of " << module->devicePath() << " (" << kBlockSize << " bytes) saved to "
                  << path << "\n";
    return kExitSuccess;
}

} // namespace korvane::maintenance
