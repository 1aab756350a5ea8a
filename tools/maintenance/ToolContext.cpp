#include "ToolContext.h"

#include <cstdio>

#include "ExitCode.h"
#include "FailureText.h"
#include "NumberArgument.h"
#include "UserDataGuard.h"

namespace korvane::maintenance {

ToolContext::ToolContext(const CommandLine& line, std::ostream& out, std::ostream& err, bool terminal)
    : m_line(line), m_out(out), m_err(err), m_terminal(terminal)
{
}

int ToolContext::fail(int code, const std::string& message)
{
    m_out.flush();
    m_err << "korvane-maintenance: " << message << std::endl;
    return code;
}

bool ToolContext::numberArgument(std::size_t index, const char* name, std::uint64_t max, std::uint64_t& value)
{
    if (parseNumber(argument(index), max, value))
        return true;
    char largest[24];
    std::snprintf(largest, sizeof largest, "0x%llX", static_cast<unsigned long long>(max));
    fail(kExitUsage, std::string("bad ") + name + " '" + argument(index) + "' (decimal or 0x hex, at most " +
                         (max < 10 ? std::to_string(max) : std::string(largest)) + ")");
    return false;
}

std::unique_ptr<ModuleHandle> ToolContext::openModule()
{
    std::string why;
    auto module = ModuleHandle::openByNode(m_line.device(), why);
    if (!module)
        fail(kExitNoModule, why);
    return module;
}

int ToolContext::transferOnModule(Camera_Operation operation,
                                  const std::vector<std::pair<std::string, Transfer>>& transfers)
{
    auto module = openModule();
    if (!module)
        return kExitNoModule;
    for (const auto& [what, transfer] : transfers) {
        const int status = transfer(module->device());
        if (status != 0)
            return fail(kExitModuleFailed, failureText(what, operation, status));
    }
    return kExitSuccess;
}

std::string ToolContext::restoreCommand(const std::string& backupPath) const
{
    return UserDataGuard::restoreCommand(m_line.device(), backupPath);
}

} // namespace korvane::maintenance
