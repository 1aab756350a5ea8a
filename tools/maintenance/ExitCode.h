#ifndef KORVANE_TOOLS_MAINTENANCE_EXITCODE_H
#define KORVANE_TOOLS_MAINTENANCE_EXITCODE_H

namespace korvane::maintenance {

// Exit statuses of korvane-maintenance.
enum ExitCode : int
{
    kExitSuccess = 0,
    kExitModuleFailed = 1,    // a transfer, verify or download failed on the module
    kExitUsage = 2,           // unknown command or option, bad number
    kExitNoModule = 3,        // no such module
    kExitInputRefused = 4,    // input refused before the module was touched
    kExitUserDataLost = 5,    // user data not restored after a download; the backup is kept
};

} // namespace korvane::maintenance

#endif
