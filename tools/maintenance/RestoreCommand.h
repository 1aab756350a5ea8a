#ifndef KORVANE_TOOLS_MAINTENANCE_RESTORECOMMAND_H
#define KORVANE_TOOLS_MAINTENANCE_RESTORECOMMAND_H

namespace korvane::maintenance {

class ToolContext;

// restore BACKUP [--force]: writes a user-data backup back to the module it
// was taken from (another one only with --force), reading each piece back.
int runRestore(ToolContext& context);

} // namespace korvane::maintenance

#endif
