#ifndef KORVANE_TOOLS_MAINTENANCE_CALIBRATIONCOMMANDS_H
#define KORVANE_TOOLS_MAINTENANCE_CALIBRATIONCOMMANDS_H

namespace korvane::maintenance {

class ToolContext;

// calib-save FILE: the 4096-byte calibration block, as it is in flash, to a file.
int runCalibSave(ToolContext& context);

} // namespace korvane::maintenance

#endif
