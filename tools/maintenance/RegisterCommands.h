#ifndef KORVANE_TOOLS_MAINTENANCE_REGISTERCOMMANDS_H
#define KORVANE_TOOLS_MAINTENANCE_REGISTERCOMMANDS_H

namespace korvane::maintenance {

class ToolContext;

// isp-read ADDR, isp-write ADDR VALUE: the chip's 8-bit ISP registers.
int runIspRead(ToolContext& context);
int runIspWrite(ToolContext& context);
// sensor-read SLAVE ADDR, sensor-write SLAVE ADDR VALUE: the image sensor's 16-bit registers.
int runSensorRead(ToolContext& context);
int runSensorWrite(ToolContext& context);

} // namespace korvane::maintenance

#endif
