#include "emulator/VirtualModuleTest.h"
#include "support/TestEnvironment.h"
#include "support/TestWatchdog.h"

#include <cstdlib>

int main(int argc, char** argv)
{
    korvane::test::prepareEnvironment();
    // The module's video node is opened through V4L2 only: the GStreamer
    // backend, given an emulated node, keeps a buffer it never frees.
    setenv("OPENCV_VIDEOIO_PRIORITY_GSTREAMER", "0", 1);
    korvane::test::installTestWatchdog();
    return korvane::emulator::Run_Virtual_Module_Tests(argc, argv);
}
