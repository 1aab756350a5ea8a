#include "emulator/VirtualModuleTest.h"
#include "support/TestWatchdog.h"

int main(int argc, char** argv)
{
    korvane::test::installTestWatchdog();
    return korvane::emulator::Run_Virtual_Module_Tests(argc, argv);
}
