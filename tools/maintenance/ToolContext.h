#ifndef KORVANE_TOOLS_MAINTENANCE_TOOLCONTEXT_H
#define KORVANE_TOOLS_MAINTENANCE_TOOLCONTEXT_H

#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "CommandLine.h"
#include "Extension_Unit_Class/Camera_Status.h"
#include "ModuleHandle.h"

namespace korvane::maintenance {

// What a command runs with: its command line and the tool's two streams.
class ToolContext
{
public:
    // One exchange with a module's chip: 0 or a negative status.
    using Transfer = std::function<int(_Device_Point_* device)>;

    ToolContext(const CommandLine& line, std::ostream& out, std::ostream& err, bool terminal);

    const CommandLine& line() const { return m_line; }
    const std::string& argument(std::size_t index) const { return m_line.arguments().at(index); }
    std::ostream& out() { return m_out; }
    std::ostream& err() { return m_err; }
    // True when out is a terminal (progress is then redrawn in place).
    bool terminal() const { return m_terminal; }

    // Prints "korvane-maintenance: message" on err and returns code.
    int fail(int code, const std::string& message);
    // Reads argument index as a number no greater than max; false, after
    // saying so, when it is not one.
    bool numberArgument(std::size_t index, const char* name, std::uint64_t max, std::uint64_t& value);
    // The module on --device; null, after saying why, when there is none.
    std::unique_ptr<ModuleHandle> openModule();
    // Runs transfers (all of that kind of operation) on the module on
    // --device, in order, until one fails; then says which failed, with
    // what status and what it means. The exit status.
    int transferOnModule(Camera_Operation operation, const std::vector<std::pair<std::string, Transfer>>& transfers);
    // The command that writes a backup file back to the module on --device.
    std::string restoreCommand(const std::string& backupPath) const;

private:
    const CommandLine& m_line;
    std::ostream& m_out;
    std::ostream& m_err;
    bool m_terminal;
};

} // namespace korvane::maintenance

#endif
