// korvane-maintenance: services camera modules (registers, GPIO, calibration
// in flash, firmware) and keeps their user data safe while doing so.
#include <iostream>
#include <unistd.h>

#include "MaintenanceTool.h"

int main(int argc, char** argv)
{
    const std::vector<std::string> words(argv + 1, argv + argc);
    return korvane::maintenance::runMaintenanceTool(words, std::cout, std::cerr, isatty(STDOUT_FILENO) == 1);
}
