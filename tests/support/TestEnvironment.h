#ifndef KORVANE_TESTS_TESTENVIRONMENT_H
#define KORVANE_TESTS_TESTENVIRONMENT_H

namespace korvane::test {

// Sets the environment every test program runs in, whether started by ctest
// or by hand: scratch files under the build tree, the video library quiet,
// and its camera-autodetect backend off (it leaks inside its USB library,
// and no test needs a photo camera). Call first thing in main().
void prepareEnvironment();

} // namespace korvane::test

#endif
