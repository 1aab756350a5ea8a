#ifndef KORVANE_EMULATOR_VIRTUAL_MODULE_TEST_H
#define KORVANE_EMULATOR_VIRTUAL_MODULE_TEST_H

#include "emulator/VirtualTestbed.h"

#include <gtest/gtest.h>

#include <memory>

namespace korvane::emulator {

// A test with its own emulated device tree, empty at the start. The test
// program must be started through Run_Virtual_Module_Tests.
class VirtualModuleTest : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    VirtualTestbed& Testbed() { return *m_testbed; }
    // Adds a module with that chip ("2620", "2650", ...) on /dev/video<number>.
    VirtualModule& Add_Camera(const std::string& chip, int videoNumber);

private:
    std::unique_ptr<VirtualTestbed> m_testbed;
};

// main() of a test program that uses virtual modules: puts the preload
// library in place and runs every test.
int Run_Virtual_Module_Tests(int argc, char** argv);

} // namespace korvane::emulator

#endif
