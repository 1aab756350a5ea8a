#ifndef KORVANE_TOOLS_MAINTENANCE_USERDATAGUARD_H
#define KORVANE_TOOLS_MAINTENANCE_USERDATAGUARD_H

#include <chrono>
#include <ostream>
#include <string>

#include "Extension_Unit_Class/Module_Identity.h"
#include "UserDataBackup.h"

namespace korvane::maintenance {

class ModuleHandle;

// The protection around every write to a module's flash: a backup of its
// user data first, and after a firmware download that rewrote them, the
// pieces written back and verified. Whatever fails is said plainly, the
// backup file is kept, and the one command that restores it is printed.
class UserDataGuard
{
public:
    explicit UserDataGuard(std::string directory = UserDataBackup::defaultDirectory());

    // Reads and saves the module's user data and prints "User data backed up
    // to <path>". False, with the reason printed, when it could not: then
    // nothing may be written to the module.
    bool takeBackup(ModuleHandle& module, std::ostream& out);

    // Waits for the backed-up module to come back (found by its
    // identity, in rounds of 1 s up to wait), writes the pieces back
    // and verifies them. Every ModuleHandle must be gone before the call: the
    // camera list is built anew.
    bool restoreAfterDownload(std::chrono::milliseconds wait, std::ostream& out);

    const std::string& backupPath() const { return m_path; }
    const UserDataBackup& backup() const { return m_backup; }

    // The line said before waiting for a restarting module, so the pause is not silent.
    static std::string waitingLine(const std::string& identification, std::chrono::milliseconds wait);
    // "korvane-maintenance restore --device N <path>", the path quoted for a shell when needed.
    static std::string restoreCommand(int deviceNode, const std::string& path);

private:
    // Says what failed, that the backup is kept, and how to restore it.
    void reportFailure(const std::string& why, int deviceNode, std::ostream& out) const;

    std::string m_directory;
    UserDataBackup m_backup;
    std::string m_path; // empty until a backup was saved
    int m_deviceNode = 0;
    Module_Identity m_identity; // of the backed-up module; matches none until a backup was taken
};

} // namespace korvane::maintenance

#endif
