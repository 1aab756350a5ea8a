#include "emulator/VirtualModuleTest.h"

#include "emulator/UmockdevPreload.h"

namespace korvane::emulator {

void VirtualModuleTest::SetUp() { m_testbed = std::make_unique<VirtualTestbed>(); }

void VirtualModuleTest::TearDown() { m_testbed.reset(); }

VirtualModule& VirtualModuleTest::Add_Camera(const std::string& chip, int videoNumber)
{
    return m_testbed->Add_Module(Camera_Module(chip, videoNumber));
}

int Run_Virtual_Module_Tests(int argc, char** argv)
{
    Ensure_Umockdev_Preload(argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

} // namespace korvane::emulator
