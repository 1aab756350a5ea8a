#include "UserDataGuard.h"

#include <thread>

#include "ModuleHandle.h"
#include "PrintableText.h"

namespace korvane::maintenance {

namespace {

constexpr std::chrono::milliseconds kRound(1000);

// Characters a shell passes through unquoted.
bool shellSafe(const std::string& text)
{
    for (char c : text) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                           c == '/' || c == '.' || c == '_' || c == '-' || c == '+' || c == ':' || c == ',';
        if (!plain)
            return false;
    }
    return !text.empty();
}

std::string shellQuoted(const std::string& text)
{
    if (shellSafe(text))
        return text;
    std::string quoted = "'";
    for (char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

int roundsWithin(std::chrono::milliseconds wait)
{
    const auto rounds = wait / kRound;
    return rounds < 1 ? 1 : static_cast<int>(rounds);
}

} // namespace

UserDataGuard::UserDataGuard(std::string directory) : m_directory(std::move(directory)) {}

bool UserDataGuard::takeBackup(ModuleHandle& module, std::ostream& out)
{
    std::string why;
    UserDataBackup backup;
    std::string path;
    if (!UserDataBackup::readFrom(module, backup, why) || !backup.save(m_directory, path, why)) {
        out << "Cannot back up the user data: " << why << "\n";
        return false;
    }
    m_backup = std::move(backup);
    m_path = path;
    m_deviceNode = module.deviceNode();
    m_identity = module.identity();
    out << "User data backed up to " << m_path << "\n";
    return true;
}

bool UserDataGuard::restoreAfterDownload(std::chrono::milliseconds wait, std::ostream& out)
{
    if (m_path.empty()) {
        out << "The user data cannot be restored: no backup was taken\n";
        return false;
    }
    out << waitingLine(m_backup.identification, wait) << std::flush;
    // A restarted module leaves the bus a moment after the download ends.
    std::this_thread::sleep_for(kRound);
    auto module = ModuleHandle::findAgain(m_identity, roundsWithin(wait), kRound);
    if (!module) {
        reportFailure("the module " + printableText(m_backup.identification) + " did not come back within " +
                          std::to_string(std::chrono::duration_cast<std::chrono::seconds>(wait).count()) + " s",
                      m_deviceNode, out);
        return false;
    }
    std::string why;
    if (!m_backup.writeTo(*module, why)) {
        reportFailure(why, module->deviceNode(), out);
        return false;
    }
    out << "User data restored and verified from " << m_path << "\n";
    return true;
}

std::string UserDataGuard::waitingLine(const std::string& identification, std::chrono::milliseconds wait)
{
    return "Waiting up to " + std::to_string(std::chrono::duration_cast<std::chrono::seconds>(wait).count()) +
           " s for the module " + printableText(identification) + " to come back\n";
}

std::string UserDataGuard::restoreCommand(int deviceNode, const std::string& path)
{
    return "korvane-maintenance restore --device " + std::to_string(deviceNode) + " " + shellQuoted(path);
}

void UserDataGuard::reportFailure(const std::string& why, int deviceNode, std::ostream& out) const
{
    out << "The user data could not be restored: " << why << "\n"
        << "The backup is kept in " << m_path << "\n"
        << "To restore it, run:\n"
        << "  " << restoreCommand(deviceNode, m_path) << "\n";
}

} // namespace korvane::maintenance
