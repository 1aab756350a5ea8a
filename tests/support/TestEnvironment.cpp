#include "support/TestEnvironment.h"

#include <cstdlib>
#include <sys/stat.h>

namespace korvane::test {

void prepareEnvironment()
{
    mkdir(KORVANE_TEST_TMPDIR, 0755);
    setenv("TMPDIR", KORVANE_TEST_TMPDIR, 1);
    setenv("OPENCV_LOG_LEVEL", "ERROR", 0);
    setenv("OPENCV_VIDEOIO_PRIORITY_GPHOTO2", "0", 1);
}

} // namespace korvane::test
