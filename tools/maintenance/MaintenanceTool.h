#ifndef KORVANE_TOOLS_MAINTENANCE_MAINTENANCETOOL_H
#define KORVANE_TOOLS_MAINTENANCE_MAINTENANCETOOL_H

#include <ostream>
#include <string>
#include <vector>

namespace korvane::maintenance {

// Runs korvane-maintenance with the words after the program name; returns
// its exit status. terminal: out is a terminal.
int runMaintenanceTool(const std::vector<std::string>& words, std::ostream& out, std::ostream& err,
                       bool terminal = false);

} // namespace korvane::maintenance

#endif
