#ifndef KORVANE_EXTENSION_UNIT_DOWNLOAD_PROGRESS_H
#define KORVANE_EXTENSION_UNIT_DOWNLOAD_PROGRESS_H

// How a chip's firmware download counts its progress steps, and the phase
// a download is in at a given step or percentage.

#include "Extension_Unit_Class/Extension_Unit_Chip_Table.h"

// The first steps prepare, one step per erased sector, a write and a
// read-back step per piece (the header piece last), and a final step
// before the restart.
struct Download_Progress_Plan
{
    float stepsPerPercent;
    int preparingSteps;
    int sectors;
    int pieces; // with the chip's usual piece length
};

// The plan of a download by the chip of that table.
Download_Progress_Plan Download_Progress_Plan_Of(const Extension_Unit_Chip_Table& table);

// The phase after the step-th progress step: "preparing", "erasing",
// "writing and verifying", "header" or "restarting".
const char* Download_Phase_At_Step(const Download_Progress_Plan& plan, int step);

// The phase at that percentage of the download ("preparing" at 0).
const char* Download_Phase_At_Percent(const Download_Progress_Plan& plan, float percent);

#endif
