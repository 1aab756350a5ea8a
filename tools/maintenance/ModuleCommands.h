#ifndef KORVANE_TOOLS_MAINTENANCE_MODULECOMMANDS_H
#define KORVANE_TOOLS_MAINTENANCE_MODULECOMMANDS_H

namespace korvane::maintenance {

class ToolContext;

// list: every module with its node, chip, model, ids, serial and flash part.
int runList(ToolContext& context);
// info: one module's identification, and whether its flash holds a valid calibration file.
int runInfo(ToolContext& context);

} // namespace korvane::maintenance

#endif
