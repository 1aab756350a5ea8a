#include "MaintenanceTool.h"

#include "CommandTable.h"
#include "ExitCode.h"
#include "ToolContext.h"
#include "Extension_Unit_Class/camera_api.h"

namespace korvane::maintenance {

namespace {

int usageError(std::ostream& err, const std::string& message)
{
    err << "korvane-maintenance: " << message << "\n"
        << "Try 'korvane-maintenance --help'." << std::endl;
    return kExitUsage;
}

int runCommand(const Command& command, const std::vector<std::string>& words, std::ostream& out,
               std::ostream& err, bool terminal)
{
    CommandLine line;
    std::string error;
    if (!line.parse(std::vector<std::string>(words.begin() + 1, words.end()), command.options, error))
        return usageError(err, std::string(command.name) + ": " + error);
    if (line.help()) {
        printCommandHelp(command, out);
        return kExitSuccess;
    }
    if (line.arguments().size() != command.arguments) {
        const std::string usage = std::string(command.name) + (*command.usage ? " " : "") + command.usage;
        return usageError(err, std::string(command.name) + " takes " + std::to_string(command.arguments) +
                                   " argument" + (command.arguments == 1 ? "" : "s") + ": " + usage);
    }
    ToolContext context(line, out, err, terminal);
    const int status = command.run(context);
    // The camera list is this run's: the next run enumerates afresh.
    Camera_UnInit();
    out.flush();
    return status;
}

} // namespace

int runMaintenanceTool(const std::vector<std::string>& words, std::ostream& out, std::ostream& err, bool terminal)
{
    if (words.empty())
        return usageError(err, "no command given");
    if (words[0] == "--help" || words[0] == "-h" || words[0] == "help") {
        printToolHelp(out);
        return kExitSuccess;
    }
    const Command* command = findCommand(words[0]);
    if (!command)
        return usageError(err, "unknown command '" + words[0] + "'");
    return runCommand(*command, words, out, err, terminal);
}

} // namespace korvane::maintenance
