#include "RestoreCommand.h"

#include "ExitCode.h"
#include "PrintableText.h"
#include "ToolContext.h"
#include "UserDataBackup.h"
#include "UserDataGuard.h"

namespace korvane::maintenance {

int runRestore(ToolContext& context)
{
    const std::string& path = context.argument(0);
    UserDataBackup backup;
    std::string why;
    if (!UserDataBackup::load(path, backup, why))
        return context.fail(kExitInputRefused, "refusing " + path + ": " + why);
    auto module = context.openModule();
    if (!module)
        return kExitNoModule;
    if (backup.model != module->model())
        return context.fail(kExitInputRefused, "refusing " + path + ": it holds the user data of a " +
                                                   printableText(backup.model) + " module, the module on " +
                                                   module->devicePath() + " is a " + module->model());
    if (backup.identification != module->identification() && !context.line().flag("--force"))
        return context.fail(kExitInputRefused, "refusing " + path + ": it was taken from module " +
                                                   printableText(backup.identification) + ", the module on " +
                                                   module->devicePath() + " is " +
                                                   printableText(module->identification()) +
                                                   "; add --force to write it anyway");
    UserDataGuard guard;
    if (!guard.takeBackup(*module, context.out()))
        return context.fail(kExitModuleFailed, "nothing was written: the present user data could not be backed up");
    if (!backup.writeTo(*module, why)) {
        context.fail(kExitModuleFailed, "restoring " + path + " failed: " + why);
        context.err() << "The backup is unchanged; run the command again once the module answers:\n  "
                      << context.restoreCommand(path) << std::endl;
        return kExitModuleFailed;
    }
    context.out() << "User data from " << path << " (taken " << printableText(backup.takenAt) << ") written to "
                  << module->devicePath() << " and verified\n";
    return kExitSuccess;
}

} // namespace korvane::maintenance
