#include "FirmwareCommand.h"

#include <chrono>
#include <climits>
#include <vector>

#include "ChipCatalog.h"
#include "DownloadProgressBar.h"
#include "ExitCode.h"
#include "FileBytes.h"
#include "Extension_Unit_Class/Camera_Status.h"
#include "Extension_Unit_Class/Firmware_Form.h"
#include "NumberArgument.h"
#include "StandardErrorPipe.h"
#include "ToolContext.h"
#include "UserDataBackup.h"
#include "UserDataGuard.h"

namespace korvane::maintenance {

namespace {

constexpr char kDefaultWaitSeconds[] = "30";
constexpr std::uint64_t kLongestWaitSeconds = 3600;

using Image = std::vector<std::uint8_t>;

bool readImage(const std::string& path, Image& image, std::string& why)
{
    if (!readFileBytes(path, image, why))
        return false;
    if (image.empty() || image.size() > UINT_MAX) {
        why = image.empty() ? "the file is empty" : "the file is too large";
        return false;
    }
    return true;
}

// Why the chip would not take the image; empty when it would.
std::string imageMisfit(const Image& image, const ChipFacts& facts, const ModuleHandle& module)
{
    const std::int32_t type = FirmwareType(image.data(), static_cast<unsigned>(image.size()));
    const std::string where = "the module on " + module.devicePath() + " has an " + facts.chip;
    if (!chipTakesImageType(facts, type)) {
        const std::string chips = chipsTakingImageType(type);
        return chips.empty() ? "it is of no form the " + std::string(facts.chip) + " takes (" + where + ")"
                             : "it is a firmware image for the " + chips + ", " + where;
    }
    if (image.size() > facts.firmwareArea)
        return "it is " + std::to_string(image.size()) + " bytes, more than the " +
               std::to_string(facts.firmwareArea) + " bytes of the " + facts.chip + "'s firmware area";
    return "";
}

// Camera_Updata with the progress bar drawn from its standard error output.
int downloadWithProgress(ToolContext& context, ModuleHandle& module, Image& image, const Download_Progress_Plan& plan)
{
    DownloadProgressBar bar(context.out(), plan, context.terminal());
    bar.start();
    float progress = 0.0f;
    int status = 0;
    {
        StandardErrorPipe pipe([&bar](const std::string& text) { return bar.feed(text); });
        status = Camera_Updata(module.device(), image.data(), static_cast<unsigned>(image.size()), &progress);
        pipe.stop();
    }
    bar.finish();
    return status;
}

int downloadFailed(ToolContext& context, int status, const UserDataGuard& guard, bool coversUserData)
{
    context.fail(kExitModuleFailed, std::string("the firmware download failed: ") +
                                        Camera_Status_Message(Camera_Operation::Firmware_Update, status));
    context.err() << "The user data taken before the download is kept in " << guard.backupPath() << ".\n";
    if (coversUserData)
        context.err() << "Once the module runs its firmware again, restore it with:\n  "
                      << context.restoreCommand(guard.backupPath()) << "\n";
    context.err().flush();
    return kExitModuleFailed;
}

} // namespace

int runFirmware(ToolContext& context)
{
    const std::string& path = context.argument(0);
    std::uint64_t waitSeconds = 0;
    const std::string waitText = context.line().value("--wait", kDefaultWaitSeconds);
    if (!parseNumber(waitText, kLongestWaitSeconds, waitSeconds))
        return context.fail(kExitUsage, "bad --wait '" + waitText + "' (seconds, at most 3600)");
    Image image;
    std::string why;
    if (!readImage(path, image, why))
        return context.fail(kExitInputRefused, "cannot read " + path + ": " + why);
    if (FW_Support_Device(image.data(), static_cast<unsigned>(image.size()), 0, false) != 1)
        return context.fail(kExitInputRefused, "refusing " + path + ": it is not a firmware image of a form the kit writes");

    auto module = context.openModule();
    if (!module)
        return kExitNoModule;
    const ChipFacts* facts = chipFactsFor(module->model());
    if (!facts)
        return context.fail(kExitInputRefused, "refusing " + path + ": the module on " + module->devicePath() +
                                                   " (model " + module->model() + ") takes no firmware from this tool");
    const std::string misfit = imageMisfit(image, *facts, *module);
    if (!misfit.empty())
        return context.fail(kExitInputRefused, "refusing " + path + ": " + misfit);

    const bool coversUserData = UserDataBackup::downloadCoversUserData(*module);
    UserDataGuard guard;
    if (!guard.takeBackup(*module, context.out()))
        return context.fail(kExitModuleFailed, "nothing was written: the user data could not be backed up");
    context.out() << "Downloading " << path << " (" << image.size() << " bytes) to " << module->devicePath() << " ("
                  << facts->chip << ")" << std::endl;
    const int status = downloadWithProgress(context, *module, image, facts->plan);
    // The download may have rebuilt the camera list: the handle is stale now.
    module.reset();
    if (status != 0)
        return downloadFailed(context, status, guard, coversUserData);
    context.out() << "Firmware downloaded and verified" << std::endl;
    if (coversUserData && !guard.restoreAfterDownload(std::chrono::seconds(waitSeconds), context.out()))
        return context.fail(kExitUserDataLost, "the user data was not restored; the backup is kept");
    return kExitSuccess;
}

} // namespace korvane::maintenance
