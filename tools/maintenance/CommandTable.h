#ifndef KORVANE_TOOLS_MAINTENANCE_COMMANDTABLE_H
#define KORVANE_TOOLS_MAINTENANCE_COMMANDTABLE_H

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include "CommandLine.h"

namespace korvane::maintenance {

class ToolContext;

// One command of the tool: its name, help and the function that runs it.
struct Command
{
    const char* name;
    const char* usage;   // arguments and options after the name
    const char* summary; // one line
    const char* details; // the rest of its --help, lines ending in "\n"
    CommandLine::Options options;
    std::size_t arguments; // how many it takes
    int (*run)(ToolContext& context);
};

const std::vector<Command>& commandTable();
// The command of that name, or null.
const Command* findCommand(const std::string& name);

void printToolHelp(std::ostream& out);
void printCommandHelp(const Command& command, std::ostream& out);

} // namespace korvane::maintenance

#endif
