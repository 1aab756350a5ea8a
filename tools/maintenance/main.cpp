// korvane-maintenance: services camera modules (registers, GPIO, calibration
// in flash, firmware) and keeps their user data safe while doing so.
#include <iostream>
#include <unistd.h>

#include "MaintenanceTool.h"
#include "ProgramVersion.h"

int main(int argc, char** argv)
{
    if (const std::optional<int> status = versionIfAsked(argc, argv, "korvane-maintenance"))
        return *status;
    const std::vector<std::string> words(argv + 1, argv + argc);
    return korvane::maintenance::runMaintenanceTool(words, std::cout, std::cerr, isatty(STDOUT_FILENO) == 1);
}
