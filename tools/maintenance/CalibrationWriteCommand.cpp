#include "CalibrationWriteCommand.h"

#include <vector>

#include "CalibrationFileCheck.h"
#include "ExitCode.h"
#include "FailureText.h"
#include "FileBytes.h"
#include "ToolContext.h"
#include "UserDataGuard.h"

namespace korvane::maintenance {

namespace {

constexpr int kCalibrationPiece = 0;
constexpr std::size_t kBlockSize = CalibrationFileCheck::kBlockSize;

// The failure of a flash write that had a backup taken before it.
int failedWithBackup(ToolContext& context, const std::string& what, const UserDataGuard& guard)
{
    context.fail(kExitModuleFailed, what);
    context.err() << "The user data taken before the write is kept in " << guard.backupPath()
                  << "; restore it with:\n  " << context.restoreCommand(guard.backupPath()) << std::endl;
    return kExitModuleFailed;
}

} // namespace

int runCalibWrite(ToolContext& context)
{
    const std::string& path = context.argument(0);
    std::string why;
    // Read once: the bytes checked are the bytes written, whatever becomes of the file meanwhile.
    std::vector<std::uint8_t> contents;
    if (!readFileBytes(path, contents, why))
        return context.fail(kExitInputRefused, "cannot read " + path + ": " + why);
    if (!CalibrationFileCheck::checkText(std::string(contents.begin(), contents.end()), why))
        return context.fail(kExitInputRefused, "refusing " + path + ": " + why);
    auto module = context.openModule();
    if (!module)
        return kExitNoModule;
    UserDataGuard guard;
    if (!guard.takeBackup(*module, context.out()))
        return context.fail(kExitModuleFailed, "nothing was written: the user data could not be backed up");

    std::vector<std::uint8_t> block = contents;
    block.resize(kBlockSize, 0);
    const int status = Camera_Flash_W_Api(module->device(), kCalibrationPiece, block.data());
    if (status != 0)
        return failedWithBackup(
            context, failureText("writing the calibration block", Camera_Operation::Flash_Piece, status), guard);
    std::vector<std::uint8_t> readBack(kBlockSize, 0);
    const int readStatus = Camera_Flash_R_Api(module->device(), kCalibrationPiece, readBack.data());
    if (readStatus != 0)
        return failedWithBackup(
            context, failureText("reading the calibration block back", Camera_Operation::Flash_Piece, readStatus),
            guard);
    if (readBack != block)
        return failedWithBackup(context, "the calibration block read back differs from " + path, guard);
    context.out() << "Calibration " << path << " (" << contents.size() << " bytes) written to "
                  << module->devicePath() << " and verified\n";
    return kExitSuccess;
}

} // namespace korvane::maintenance
