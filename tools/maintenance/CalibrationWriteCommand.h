#ifndef KORVANE_TOOLS_MAINTENANCE_CALIBRATIONWRITECOMMAND_H
#define KORVANE_TOOLS_MAINTENANCE_CALIBRATIONWRITECOMMAND_H

namespace korvane::maintenance {

class ToolContext;

// calib-write FILE: a checked calibration file into the block, after a
// user-data backup, read back and compared.
int runCalibWrite(ToolContext& context);

} // namespace korvane::maintenance

#endif
