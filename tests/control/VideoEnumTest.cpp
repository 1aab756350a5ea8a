#include "Extension_Unit_Class/CameraDevice.h"
#include "Extension_Unit_Class/Extunit.h"
#include "Extension_Unit_Class/usb_video_enum.h"
#include "emulator/VirtualModuleTest.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <string>

#include <libudev.h>

using namespace korvane::emulator;

namespace {

// The free-standing walk's result, released as its caller must.
struct Device_List_Free
{
    void operator()(v4l2_device_list_t* list) const
    {
        udev_unref(list->udev);
        std::free(list->list_devices);
        std::free(list);
    }
};
using Device_List = std::unique_ptr<v4l2_device_list_t, Device_List_Free>;

// The camera walk's result; destroys the protocols it made.
struct Camera_Walk
{
    Camera_Walk() : enumeration(std::make_unique<USB_Video_Enum>(&protocols)) {}
    ~Camera_Walk()
    {
        for (std::size_t i = 0; i < protocols.Size(); ++i)
            Delete_Extension_Unit(protocols[i]);
    }
    std::size_t Count() const { return enumeration->C_Dev_Mes.S_V4L2_Device_List_Index.num_devices; }
    const _v4l2_dev_sys_data_t& Description(std::size_t i) { return enumeration->C_Dev_Mes.V4l2_dev_message[i]; }

    List_Container<Extension_Unit_Base_Protocol*> protocols;
    std::unique_ptr<USB_Video_Enum> enumeration;
};

std::map<std::string, const _v4l2_dev_sys_data_t*> By_Node(const v4l2_device_list_t& list)
{
    std::map<std::string, const _v4l2_dev_sys_data_t*> nodes;
    for (std::uint32_t i = 0; i < list.num_devices; ++i)
        nodes[list.list_devices[i].device] = &list.list_devices[i];
    return nodes;
}

using VideoEnumTest = VirtualModuleTest;

TEST_F(VideoEnumTest, NoVideoDevicesGiveEmptyLists)
{
    Camera_Walk walk;
    EXPECT_EQ(walk.Count(), 0u);
    EXPECT_EQ(walk.protocols.Size(), 0u);
    EXPECT_EQ(walk.enumeration->C_Dev_Mes.V4l2_dev_message.Size(), 0u);
    Device_List list(Usb_Video_Dev_Enum());
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->num_devices, 0u);
    EXPECT_NE(list->udev, nullptr);
    EXPECT_EQ(list->udev_mon, nullptr);
}

TEST_F(VideoEnumTest, CameraWalkDescribesTheCamera)
{
    ModuleConfig config = Camera_Module("2620", 0);
    config.vendorId = 0x1bcf;
    config.productId = 0x2c99;
    config.bcdDevice = "0100";
    config.busnum = 3;
    config.devnum = 7;
    config.serial = "SN-0042";
    config.manufacturer = "Maker";
    config.product = "Stereo Module";
    Testbed().Add_Module(config);

    Camera_Walk walk;
    ASSERT_EQ(walk.Count(), 1u);
    ASSERT_EQ(walk.protocols.Size(), 1u);
    EXPECT_STREQ(walk.protocols[0]->This_is(), "QLV_8M_1");
    const _v4l2_dev_sys_data_t& d = walk.Description(0);
    EXPECT_STREQ(d.device, "/dev/video0");
    EXPECT_STREQ(d.name, "Stereo Module");
    EXPECT_STREQ(d.driver, "uvcvideo");
    EXPECT_STREQ(d.location, "usb-0000:00:14.0-7");
    EXPECT_EQ(d.vendor, 0x1bcfu);
    EXPECT_EQ(d.product, 0x2c99u);
    EXPECT_EQ(d.valid, 1);
    EXPECT_EQ(d.current, 0);
    EXPECT_EQ(d.busnum, 3u);
    EXPECT_EQ(d.devnum, 7u);
    EXPECT_EQ(d.Vid, 0x1bcf);
    EXPECT_EQ(d.Pid, 0x2c99);
    EXPECT_EQ(d.Bcd, 100); // "0100" read in base 10
    EXPECT_STREQ(d.iManufacturer, "Maker");
    EXPECT_STREQ(d.iProduct, "Stereo Module");
    EXPECT_STREQ(d.iSerialNumber, "SN-0042");
    EXPECT_STREQ(d.Device_Path, "/dev/video0");
}

TEST_F(VideoEnumTest, BcdDeviceIsReadInBaseTen)
{
    ModuleConfig config = Camera_Module("2650", 0);
    config.bcdDevice = "0219";
    Testbed().Add_Module(config);
    Camera_Walk walk;
    ASSERT_EQ(walk.Count(), 1u);
    EXPECT_EQ(walk.Description(0).Bcd, 219);
}

TEST_F(VideoEnumTest, FreeWalkTakesBcdFromTheDeviceNumber)
{
    ModuleConfig config = Camera_Module("2620", 0);
    config.bcdDevice = "0100";
    config.devnum = 17;
    Testbed().Add_Module(config);
    Device_List list(Usb_Video_Dev_Enum());
    ASSERT_NE(list, nullptr);
    ASSERT_EQ(list->num_devices, 1u);
    EXPECT_EQ(list->list_devices[0].Bcd, 17);
    EXPECT_EQ(list->list_devices[0].devnum, 17u);
    EXPECT_STREQ(list->list_devices[0].iSerialNumber, config.serial.c_str());
    EXPECT_EQ(list->list_devices[0].valid, 1);
}

TEST_F(VideoEnumTest, PlainWebcamIsListedOnlyByTheFreeWalk)
{
    Add_Camera("2620", 0);
    Testbed().Add_Module(Plain_Webcam(1));

    Camera_Walk walk;
    ASSERT_EQ(walk.Count(), 1u);
    EXPECT_STREQ(walk.Description(0).device, "/dev/video0");

    Device_List list(Usb_Video_Dev_Enum());
    ASSERT_NE(list, nullptr);
    ASSERT_EQ(list->num_devices, 2u);
    const auto nodes = By_Node(*list);
    ASSERT_EQ(nodes.count("/dev/video1"), 1u);
    EXPECT_EQ(nodes.at("/dev/video1")->Vid, 0x046d);
    EXPECT_STREQ(nodes.at("/dev/video1")->iProduct, "USB Webcam");
}

TEST_F(VideoEnumTest, MetadataNodeIsProbedOnItsOwn)
{
    ModuleConfig config = Camera_Module("2620", 0);
    config.nodes = {{0, false}, {1, true}};
    VirtualModule& module = Testbed().Add_Module(config);

    Camera_Walk walk;
    ASSERT_EQ(walk.Count(), 1u);
    EXPECT_STREQ(walk.Description(0).device, "/dev/video0");
    bool metadataProbed = false;
    for (const QueryRecord& record : module.Queries())
        metadataProbed = metadataProbed || record.node == "/dev/video1";
    EXPECT_FALSE(metadataProbed); // its queries fail before reaching the module

    Device_List list(Usb_Video_Dev_Enum());
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->num_devices, 2u);
    EXPECT_EQ(By_Node(*list).count("/dev/video1"), 1u);
}

TEST_F(VideoEnumTest, EveryNodeWithTheChipGetsItsOwnProtocol)
{
    ModuleConfig config = Camera_Module("2650", 0);
    config.nodes = {{0, false}, {1, false}};
    Testbed().Add_Module(config);
    Camera_Walk walk;
    ASSERT_EQ(walk.Count(), 2u);
    EXPECT_NE(walk.protocols[0], walk.protocols[1]);
    EXPECT_STRNE(walk.Description(0).device, walk.Description(1).device);
}

TEST_F(VideoEnumTest, ListsStayIndexAligned)
{
    Add_Camera("2620", 0);
    Add_Camera("2650", 1);
    Add_Camera("2281", 2);
    const std::map<std::string, std::string> nameOfNode = {
        {"/dev/video0", "QLV_8M_1"}, {"/dev/video1", "QLVR_56_2"}, {"/dev/video2", "QLV_3M_1"}};
    Camera_Walk walk;
    ASSERT_EQ(walk.Count(), 3u);
    ASSERT_EQ(walk.protocols.Size(), 3u);
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(walk.protocols[i]->This_is(), nameOfNode.at(walk.Description(i).device)) << i;
}

TEST_F(VideoEnumTest, TwoModulesKeepIndependentState)
{
    VirtualModule& first = Add_Camera("2620", 0);
    VirtualModule& second = Add_Camera("2620", 1);
    second.Set_Isp(0x20FF, 0x04);
    Camera_Walk walk;
    ASSERT_EQ(walk.Count(), 2u);
    for (std::size_t i = 0; i < 2; ++i) {
        const std::string node = walk.Description(i).device;
        EXPECT_STREQ(walk.protocols[i]->This_is(), node == "/dev/video0" ? "QLV_8M_1" : "QLVR_56_2");
    }
    EXPECT_EQ(first.Isp(0x20FF), 0xD2);
    for (const QueryRecord& record : first.Queries())
        EXPECT_EQ(record.node, "/dev/video0");
    for (const QueryRecord& record : second.Queries())
        EXPECT_EQ(record.node, "/dev/video1");
    EXPECT_EQ(first.Queries().size(), 12u);
    EXPECT_EQ(second.Queries().size(), 12u);
}

TEST_F(VideoEnumTest, DeviceWhoseReadsAllFailIsSkipped)
{
    VirtualModule& module = Add_Camera("2620", 0);
    module.Fail_Queries({kAny, kAny, kAny, EIO, kAlways});
    Camera_Walk walk;
    EXPECT_EQ(walk.Count(), 0u);
    Device_List list(Usb_Video_Dev_Enum());
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->num_devices, 1u);
}

TEST_F(VideoEnumTest, CameraListCountsAndDescribes)
{
    Add_Camera("2620", 0);
    Testbed().Add_Module(Plain_Webcam(1));
    Add_Camera("2085", 2);
    CameraDevice* list = CreatCameraASS();
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(CameraASSSize(list), 0);
    EXPECT_EQ(GetCameraASSDeviceInit(list), 2);
    EXPECT_EQ(CameraASSSize(list), 2);
    EXPECT_NE(GetCameraASSEXUnit(list, 0), nullptr);
    EXPECT_NE(GetCameraASSEXUnit(list, 1), nullptr);
    EXPECT_EQ(GetCameraASSEXUnit(list, 2), nullptr);
    EXPECT_STRNE(GetCameraASSDeviceInfo(list, 1).device, "");
    const _v4l2_dev_sys_data_t outside = GetCameraASSDeviceInfo(list, 2);
    EXPECT_STREQ(outside.device, "");
    EXPECT_EQ(outside.valid, 0);

    // Enumerating again replaces both lists (and frees the old protocols).
    EXPECT_EQ(GetCameraASSDeviceInit(list), 2);
    EXPECT_EQ(CameraASSSize(list), 2);
    GetCameraASSDeviceUNInit(list);
    EXPECT_EQ(CameraASSSize(list), 0);
    EXPECT_EQ(GetCameraASSEXUnit(list, 0), nullptr);
    EXPECT_EQ(GetCameraASSDeviceInit(list), 2);
    DelCameraASS(list);
}

TEST_F(VideoEnumTest, NullCameraListIsRefused)
{
    EXPECT_EQ(GetCameraASSDeviceInit(nullptr), -1);
    EXPECT_EQ(CameraASSSize(nullptr), -1);
    EXPECT_EQ(GetCameraASSEXUnit(nullptr, 0), nullptr);
    EXPECT_EQ(GetCameraASSDeviceInfo(nullptr, 0).Vid, 0);
    GetCameraASSDeviceUNInit(nullptr);
    DelCameraASS(nullptr);
}

TEST_F(VideoEnumTest, EmptyCameraListGivesNoProtocol)
{
    CameraDevice list;
    EXPECT_EQ(list.Init(), 0);
    EXPECT_EQ(list.Size(), 0);
    EXPECT_EQ(list.GetEXUnit(0), nullptr);
    EXPECT_EQ(list.GetDeviceInfo(0).busnum, 0u);
}

TEST_F(VideoEnumTest, UnpluggedModuleIsNotListed)
{
    VirtualModule& module = Add_Camera("2620", 0);
    Add_Camera("2650", 1);
    Testbed().Unplug(module);
    Camera_Walk walk;
    ASSERT_EQ(walk.Count(), 1u);
    EXPECT_STREQ(walk.Description(0).device, "/dev/video1");
    Testbed().Replug(module);
    Camera_Walk again;
    EXPECT_EQ(again.Count(), 2u);
}

} // namespace
