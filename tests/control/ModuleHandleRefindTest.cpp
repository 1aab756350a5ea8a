// Finding a module again by its identity after it re-enumerates, on virtual modules.
#include "Extension_Unit_Class/Camera_Status.h"
#include "Extension_Unit_Class/Extension_Unit_Functions.h"
#include "Extension_Unit_Class/Module_Handle.h"
#include "Extension_Unit_Class/camera_api.h"
#include "emulator/VirtualModuleTest.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

using namespace korvane::emulator;
using namespace std::chrono_literals;

namespace {

class ModuleHandleRefindTest : public VirtualModuleTest
{
protected:
    void SetUp() override
    {
        VirtualModuleTest::SetUp();
        Testbed().Set_Restart_Delay(300ms);
    }

    void TearDown() override
    {
        Camera_UnInit();
        VirtualModuleTest::TearDown();
    }

    VirtualModule& Add(int node, const std::string& serial)
    {
        ModuleConfig config = Camera_Module("2620", node);
        config.serial = serial;
        return Testbed().Add_Module(config);
    }

    // The handle on the module at that node of a fresh list.
    std::unique_ptr<Module_Handle> On_Node(const std::string& path)
    {
        for (auto& module : Module_Handle::Open_All())
            if (module->Device_Path() == path)
                return std::move(module);
        ADD_FAILURE() << "no module on " << path;
        return nullptr;
    }

    // Tells the module's chip to restart: it leaves the bus and comes back after the restart delay.
    void Restart(const Module_Handle& module) { ASSERT_EQ(reset(module.Device()->p_device), 0); }
};

TEST_F(ModuleHandleRefindTest, AModuleBackOnAnotherNodeIsFoundByItsIdentity)
{
    Add(0, "FIRST");
    VirtualModule& second = Add(1, "SECOND");
    Testbed().Move_On_Reappearance(second, 7);
    auto before = On_Node("/dev/video1");
    ASSERT_NE(before, nullptr);
    const Module_Identity identity = before->Identity();
    Restart(*before);
    before.reset();

    std::unique_ptr<Module_Handle> found;
    ASSERT_EQ(Module_Handle::Find_Again(identity, 30, 100ms, found), Camera_Status::Success);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->Device_Path(), "/dev/video7");
    EXPECT_STREQ(found->Strings().iSerialNumber, "SECOND");
    EXPECT_TRUE(found->Identity().Is_Same_Module(identity));
    EXPECT_EQ(Testbed().Is_Plugged(second), true);
}

TEST_F(ModuleHandleRefindTest, ARecordMadeBeforeTheListWasRebuiltIsRefreshedThroughTheHandle)
{
    VirtualModule& module = Add(0, "ONLY");
    Add(3, "OTHER");
    Testbed().Move_On_Reappearance(module, 5);
    auto before = On_Node("/dev/video0");
    ASSERT_NE(before, nullptr);
    const Module_Identity identity = before->Identity();
    _Device_Point_* record = Camera_Device_Point_Init(static_cast<int>(before->Device()->u_index));
    ASSERT_NE(record, nullptr);
    Restart(*before);

    std::unique_ptr<Module_Handle> found;
    ASSERT_EQ(Module_Handle::Find_Again(identity, 30, 100ms, found), Camera_Status::Success);
    found->Refresh(*record);
    info_camera_os information{};
    EXPECT_EQ(Camera_Get_information_Api(record, &information), 0);
    EXPECT_STREQ(information.device, "/dev/video5");
    EXPECT_EQ(record->p_device, found->Device()->p_device);
    EXPECT_NE(This_is(record->p_device), nullptr);
    Camera_Device_Point_UnInit(&record);
}

TEST_F(ModuleHandleRefindTest, TwoModulesWithDifferentIdentitiesAreNotConfused)
{
    Add(0, "FIRST");
    Add(2, "SECOND");
    auto first = On_Node("/dev/video0");
    auto second = On_Node("/dev/video2");
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    const Module_Identity firstIdentity = first->Identity();
    const Module_Identity secondIdentity = second->Identity();
    EXPECT_FALSE(firstIdentity.Is_Same_Module(secondIdentity));
    first.reset();
    second.reset();

    std::unique_ptr<Module_Handle> found;
    ASSERT_EQ(Module_Handle::Find_Again(secondIdentity, 1, 10ms, found), Camera_Status::Success);
    EXPECT_EQ(found->Device_Path(), "/dev/video2");
    ASSERT_EQ(Module_Handle::Find_Again(firstIdentity, 1, 10ms, found), Camera_Status::Success);
    EXPECT_EQ(found->Device_Path(), "/dev/video0");
}

TEST_F(ModuleHandleRefindTest, AModuleWithoutSerialNumberIsFoundAgainByItsBusPlace)
{
    VirtualModule& module = Add(0, "");
    Add(1, "");
    Testbed().Move_On_Reappearance(module, 6);
    auto before = On_Node("/dev/video0");
    ASSERT_NE(before, nullptr);
    const Module_Identity identity = before->Identity();
    EXPECT_NE(identity.Text(), "");
    Restart(*before);
    before.reset();

    std::unique_ptr<Module_Handle> found;
    ASSERT_EQ(Module_Handle::Find_Again(identity, 30, 100ms, found), Camera_Status::Success);
    EXPECT_EQ(found->Device_Path(), "/dev/video6");
}

TEST_F(ModuleHandleRefindTest, AModuleThatDoesNotComeBackIsReportedAfterTheRounds)
{
    Testbed().Set_Restart_Delay(std::nullopt);
    VirtualModule& module = Add(0, "GONE");
    Add(1, "STAYS");
    auto before = On_Node("/dev/video0");
    ASSERT_NE(before, nullptr);
    const Module_Identity identity = before->Identity();
    Restart(*before);
    before.reset();
    ASSERT_TRUE(Testbed().Wait_Until_Plugged(module, false, 5s));

    std::unique_ptr<Module_Handle> found = Module_Handle::Open(0);
    const auto start = std::chrono::steady_clock::now();
    const int status = Module_Handle::Find_Again(identity, 3, 100ms, found);
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(status, Camera_Status::Camera_Not_Back);
    EXPECT_EQ(found, nullptr);
    EXPECT_GE(waited, 200ms) << "two pauses between three rounds";
    EXPECT_LT(waited, 30s) << "the wait is bounded by the rounds";
    EXPECT_STREQ(Camera_Status_Message(Camera_Operation::Firmware_Update, status),
                 Camera_Status_Message(Camera_Operation::Firmware_Update, Camera_Status::Camera_Not_Back));
    EXPECT_STRNE(Camera_Status_Message(Camera_Operation::Firmware_Update, status), "an unknown status");
}

TEST_F(ModuleHandleRefindTest, AnIdentityThatMatchesNoModuleFindsNothing)
{
    Add(0, "FIRST");
    std::unique_ptr<Module_Handle> found;
    EXPECT_EQ(Module_Handle::Find_Again(Module_Identity(), 2, 10ms, found), Camera_Status::Camera_Not_Back);
    EXPECT_EQ(found, nullptr);
}

TEST_F(ModuleHandleRefindTest, TheHandleKeepsWhatItReadAcrossARebuiltList)
{
    Add(0, "KEPT");
    auto module = On_Node("/dev/video0");
    ASSERT_NE(module, nullptr);
    const std::string identification = module->Identification();
    Camera_UnInit();
    EXPECT_EQ(module->Identification(), identification);
    EXPECT_EQ(module->Device_Path(), "/dev/video0");
    EXPECT_STREQ(module->Strings().iSerialNumber, "KEPT");
    EXPECT_EQ(identification, "100-100-7119-KEPT");
}

} // namespace
