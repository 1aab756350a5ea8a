#include "Extension_Unit_Class/Download_Progress.h"

#include <cmath>

#include "Extension_Unit_Class/Flash_Piece_Plan.h"

Download_Progress_Plan Download_Progress_Plan_Of(const Extension_Unit_Chip_Table& table)
{
    // The first step, the one after the command set is loaded where the
    // chip takes it, and the one after the piece length is known.
    const Firmware_Layout& firmware = table.firmware;
    return {table.progressDivisor, firmware.stepAfterFlashType ? 3 : 2,
            static_cast<int>(firmware.areaLength / FLASH_PIECE_SIZE),
            static_cast<int>(firmware.areaLength / table.pieceLength)};
}

const char* Download_Phase_At_Step(const Download_Progress_Plan& plan, int step)
{
    int last = plan.preparingSteps;
    if (step <= last)
        return "preparing";
    if (step <= (last += plan.sectors))
        return "erasing";
    if (step <= (last += 2 * (plan.pieces - 1)))
        return "writing and verifying";
    if (step <= last + 2)
        return "header";
    return "restarting";
}

const char* Download_Phase_At_Percent(const Download_Progress_Plan& plan, float percent)
{
    const int step = static_cast<int>(std::lround(percent * plan.stepsPerPercent));
    return step == 0 ? "preparing" : Download_Phase_At_Step(plan, step);
}
