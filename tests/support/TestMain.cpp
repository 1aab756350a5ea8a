#include <gtest/gtest.h>

#include "support/TestEnvironment.h"
#include "support/TestWatchdog.h"

int main(int argc, char** argv)
{
    korvane::test::prepareEnvironment();
    ::testing::InitGoogleTest(&argc, argv);
    korvane::test::installTestWatchdog();
    return RUN_ALL_TESTS();
}

// One-time allocations that GLib and GStreamer keep for the life of the
// process (type system, registry, thread pools) are not this project's leaks.
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:libglib-2.0.so\nleak:libgobject-2.0.so\nleak:libgstreamer-1.0.so\n";
}
