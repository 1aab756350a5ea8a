// Module handles over the flat API, on virtual modules.
#include "ModuleHandle.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "ModuleFlashTest.h"

namespace korvane::maintenance {
namespace {

using korvane::emulator::Camera_Module;
using korvane::emulator::ModuleConfig;
using namespace std::chrono_literals;

class ModuleHandleTest : public ModuleFlashTest
{
protected:
    void addModule(int node, const std::string& serial, std::uint16_t vendor = 0x1bcf, const char* release = "0100")
    {
        ModuleConfig config = Camera_Module("2620", node);
        config.serial = serial;
        config.vendorId = vendor;
        config.bcdDevice = release;
        Testbed().Add_Module(config);
    }
};

TEST_F(ModuleHandleTest, NoModuleIsAttached)
{
    std::string error;
    EXPECT_EQ(ModuleHandle::openByNode(0, error), nullptr);
    EXPECT_EQ(error, "no module is attached");
    EXPECT_TRUE(ModuleHandle::openAll().empty());
}

TEST_F(ModuleHandleTest, FindsTheModuleOnItsNode)
{
    addModule(0, "FIRST");
    addModule(2, "A1", 1234, "256");
    std::string error;
    auto module = ModuleHandle::openByNode(2, error);
    ASSERT_NE(module, nullptr) << error;
    EXPECT_EQ(module->devicePath(), "/dev/video2");
    EXPECT_EQ(module->deviceNode(), 2);
    EXPECT_EQ(module->serialNumber(), "A1");
    EXPECT_EQ(module->identification(), "256-256-1234-A1");
    EXPECT_NE(module->model(), "UNKNOW");
    EXPECT_FALSE(module->model().empty());
}

TEST_F(ModuleHandleTest, ANodeWithoutAModuleIsNamed)
{
    addModule(0, "FIRST");
    addModule(2, "SECOND");
    std::string error;
    EXPECT_EQ(ModuleHandle::openByNode(3, error), nullptr);
    EXPECT_EQ(error, "no module on /dev/video3");
}

TEST_F(ModuleHandleTest, ListsEveryModule)
{
    addModule(0, "FIRST");
    addModule(2, "SECOND");
    auto modules = ModuleHandle::openAll();
    ASSERT_EQ(modules.size(), 2u);
    std::vector<std::string> serials{modules[0]->serialNumber(), modules[1]->serialNumber()};
    std::sort(serials.begin(), serials.end());
    EXPECT_EQ(serials, (std::vector<std::string>{"FIRST", "SECOND"}));
}

TEST_F(ModuleHandleTest, FindsAgainTheModuleWithThatIdentity)
{
    addModule(0, "FIRST");
    addModule(2, "SECOND");
    Module_Identity identity;
    {
        std::string error;
        auto module = ModuleHandle::openByNode(2, error);
        ASSERT_NE(module, nullptr) << error;
        identity = module->identity();
    }
    auto module = ModuleHandle::findAgain(identity, 2, 10ms);
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(module->devicePath(), "/dev/video2");
    EXPECT_EQ(module->serialNumber(), "SECOND");
}

TEST_F(ModuleHandleTest, GivesUpOnAnIdentityThatNeverComes)
{
    addModule(0, "FIRST");
    EXPECT_EQ(ModuleHandle::findAgain(Module_Identity::Of(0x1bcf, 0x2cd1, "OTHER", ""), 3, 10ms), nullptr);
}

} // namespace
} // namespace korvane::maintenance
