#include "Extension_Unit_Class/Extension_Unit_Templates.h"
#include "Extension_Unit_Class/ext_unit.h"
#include "emulator/VirtualModuleTest.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <libudev.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <unistd.h>

using namespace korvane::emulator;
using namespace std::chrono_literals;

namespace {

// Generous: the test waits for the handler thread, it does not time it.
constexpr auto kPatience = 20s;

class Node
{
public:
    explicit Node(const std::string& path) : m_fd(open(path.c_str(), O_RDWR | O_NONBLOCK)), m_error(errno) {}
    ~Node()
    {
        if (m_fd >= 0)
            close(m_fd);
    }
    int fd() const { return m_fd; }
    int error() const { return m_error; }

private:
    int m_fd;
    int m_error;
};

std::string Usb_Attribute(const char* node, const char* name)
{
    udev* context = udev_new();
    std::string value;
    udev_enumerate* enumerate = udev_enumerate_new(context);
    udev_enumerate_add_match_subsystem(enumerate, "video4linux");
    udev_enumerate_scan_devices(enumerate);
    udev_list_entry* entry;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumerate))
    {
        udev_device* device = udev_device_new_from_syspath(context, udev_list_entry_get_name(entry));
        const char* devnode = device ? udev_device_get_devnode(device) : nullptr;
        udev_device* usb = device ? udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_device") : nullptr;
        if (devnode && usb && std::strcmp(devnode, node) == 0) {
            const char* text = udev_device_get_sysattr_value(usb, name);
            value = text ? text : "";
        }
        udev_device_unref(device);
    }
    udev_enumerate_unref(enumerate);
    udev_unref(context);
    return value;
}

int Write_Isp(int fd, std::uint16_t unit, std::uint16_t address, std::uint8_t value)
{
    ExtUnit channel;
    channel.set_V4L2(fd, unit);
    std::uint8_t bytes[2] = {static_cast<std::uint8_t>(address & 0xFF), static_cast<std::uint8_t>(address >> 8)};
    return channel.put_Property(XU_SEL_ISP_ADDR, 2, bytes) | channel.put_Property(XU_SEL_ISP_VALUE, 1, &value);
}

using VirtualModuleTestbed = VirtualModuleTest;

TEST_F(VirtualModuleTestbed, UsbIdentityIsVisibleThroughLibudev)
{
    ModuleConfig config = Camera_Module("2650", 4);
    config.vendorId = 0x0c45;
    config.productId = 0x6366;
    config.bcdDevice = "0312";
    config.serial = "ABC123";
    config.manufacturer = "Vendor Name";
    config.product = "Camera Name";
    config.busnum = 2;
    config.devnum = 9;
    Testbed().Add_Module(config);
    EXPECT_EQ(Usb_Attribute("/dev/video4", "idVendor"), "0c45");
    EXPECT_EQ(Usb_Attribute("/dev/video4", "idProduct"), "6366");
    EXPECT_EQ(Usb_Attribute("/dev/video4", "bcdDevice"), "0312");
    EXPECT_EQ(Usb_Attribute("/dev/video4", "serial"), "ABC123");
    EXPECT_EQ(Usb_Attribute("/dev/video4", "manufacturer"), "Vendor Name");
    EXPECT_EQ(Usb_Attribute("/dev/video4", "product"), "Camera Name");
    EXPECT_EQ(Usb_Attribute("/dev/video4", "busnum"), "2");
    EXPECT_EQ(Usb_Attribute("/dev/video4", "devnum"), "9");
}

TEST_F(VirtualModuleTestbed, ModulesAppearAtTheirChosenNodesOnly)
{
    Add_Camera("2620", 3);
    Node present("/dev/video3");
    EXPECT_GE(present.fd(), 0);
    Node absent("/dev/video0");
    EXPECT_LT(absent.fd(), 0);
}

TEST_F(VirtualModuleTestbed, CaptureAndMetadataNodesAnswerTheCapabilityQuery)
{
    ModuleConfig config = Camera_Module("2620", 0);
    config.nodes = {{0, false}, {1, true}};
    Testbed().Add_Module(config);
    Node capture("/dev/video0");
    Node metadata("/dev/video1");
    v4l2_capability capability{};
    ASSERT_EQ(ioctl(capture.fd(), VIDIOC_QUERYCAP, &capability), 0);
    EXPECT_STREQ(reinterpret_cast<char*>(capability.driver), "uvcvideo");
    EXPECT_EQ(capability.device_caps & V4L2_CAP_VIDEO_CAPTURE, V4L2_CAP_VIDEO_CAPTURE);
    ASSERT_EQ(ioctl(metadata.fd(), VIDIOC_QUERYCAP, &capability), 0);
    EXPECT_EQ(capability.device_caps & V4L2_CAP_META_CAPTURE, V4L2_CAP_META_CAPTURE);
    EXPECT_EQ(capability.device_caps & V4L2_CAP_VIDEO_CAPTURE, 0u);
    EXPECT_NE(Write_Isp(metadata.fd(), 4, 0x2043, 1), 0);
    EXPECT_EQ(Write_Isp(capture.fd(), 4, 0x2043, 1), 0);
}

TEST_F(VirtualModuleTestbed, WebcamHasNoExtensionUnit)
{
    VirtualModule& webcam = Testbed().Add_Module(Plain_Webcam(2));
    Node node("/dev/video2");
    v4l2_capability capability{};
    EXPECT_EQ(ioctl(node.fd(), VIDIOC_QUERYCAP, &capability), 0);
    EXPECT_EQ(Write_Isp(node.fd(), 4, 0x2043, 1), -1);
    ASSERT_FALSE(webcam.Queries().empty());
    EXPECT_EQ(webcam.Queries().front().error, ENOENT);
}

TEST_F(VirtualModuleTestbed, UnknownChipOrFlashIsRefused)
{
    ModuleConfig config = Camera_Module("9999", 0);
    EXPECT_THROW(Testbed().Add_Module(config), std::invalid_argument);
    config.chip = "2620";
    config.flashPart = "NOSUCHPART";
    EXPECT_THROW(Testbed().Add_Module(config), std::invalid_argument);
}

TEST_F(VirtualModuleTestbed, EveryQueryIsLogged)
{
    VirtualModule& module = Add_Camera("2620", 0);
    Node node("/dev/video0");
    ASSERT_EQ(Write_Isp(node.fd(), 4, 0x2043, 0x81), 0);
    const std::vector<QueryRecord> queries = module.Queries();
    ASSERT_EQ(queries.size(), 2u);
    EXPECT_EQ(queries[0].node, "/dev/video0");
    EXPECT_EQ(queries[0].request.unit, 4);
    EXPECT_EQ(queries[0].request.selector, XU_SEL_ISP_ADDR);
    EXPECT_EQ(queries[0].request.query, UVC_SET_CUR);
    EXPECT_EQ(queries[0].request.size, 2);
    EXPECT_EQ(queries[0].data, (std::vector<std::uint8_t>{0x43, 0x20}));
    EXPECT_EQ(queries[1].data, (std::vector<std::uint8_t>{0x81}));
    EXPECT_EQ(module.Isp(0x2043), 0x81);
    module.Clear_Queries();
    EXPECT_TRUE(module.Queries().empty());
}

TEST_F(VirtualModuleTestbed, FlashIsReachedThroughTheSelectors)
{
    ModuleConfig config = Camera_Module("2620", 0);
    config.flashPart = "W25X40CL";
    VirtualModule& module = Testbed().Add_Module(config);
    Node node("/dev/video0");
    ExtUnit channel;
    channel.set_V4L2(node.fd(), 4);
    std::uint8_t index = 13;
    std::uint8_t opcode = 0x90;
    std::uint8_t id[3] = {};
    ASSERT_EQ(channel.put_Property(XU_SEL_FLASH_CMD_INDEX, 1, &index), 0);
    ASSERT_EQ(channel.put_Property(XU_SEL_FLASH_CMD_VALUE, 1, &opcode), 0);
    ASSERT_EQ(channel.get_Property(XU_SEL_FLASH_ID, 3, id), 0);
    EXPECT_EQ(id[0], 0xEF);
    EXPECT_EQ(id[1], 0x12);
    EXPECT_EQ(id[2], 0xEF);

    const auto commands = Write_Command_Set(module.With_Chip([](ChipModel& chip) { return chip.Flash().Part(); }));
    ASSERT_TRUE(commands.has_value());
    for (std::size_t i = 0; i < commands->size(); ++i) {
        std::uint8_t commandIndex = static_cast<std::uint8_t>(i + 1);
        std::uint8_t commandOpcode = (*commands)[i];
        ASSERT_EQ(channel.put_Property(XU_SEL_FLASH_CMD_INDEX, 1, &commandIndex), 0);
        ASSERT_EQ(channel.put_Property(XU_SEL_FLASH_CMD_VALUE, 1, &commandOpcode), 0);
    }
    std::uint8_t address[4] = {0x00, 0xE0, 0x00, 0x00};
    std::vector<std::uint8_t> piece(1024);
    for (std::size_t i = 0; i < piece.size(); ++i)
        piece[i] = static_cast<std::uint8_t>(i * 7);
    ASSERT_EQ(channel.put_Property(XU_SEL_SECTOR_ERASE, 4, address), 0);
    ASSERT_EQ(channel.put_Property(XU_SEL_PIECE_ADDR, 4, address), 0);
    ASSERT_EQ(channel.put_Property(XU_SEL_PIECE_DATA, 1024, piece.data()), 0);
    std::vector<std::uint8_t> back(1024);
    ASSERT_EQ(channel.get_Property(XU_SEL_PIECE_DATA, 1024, back.data()), 0);
    EXPECT_EQ(back, piece);
    std::vector<std::uint8_t> flash(1024);
    module.With_Chip([&](ChipModel& chip) { chip.Flash().Read(0xE000, flash.data(), flash.size()); });
    EXPECT_EQ(flash, piece);
}

TEST_F(VirtualModuleTestbed, UnpluggedModuleLeavesTheTree)
{
    VirtualModule& module = Add_Camera("2620", 0);
    Node before("/dev/video0");
    ASSERT_GE(before.fd(), 0);
    Testbed().Unplug(module);
    EXPECT_FALSE(Testbed().Is_Plugged(module));
    Node during("/dev/video0");
    EXPECT_LT(during.fd(), 0);
    EXPECT_EQ(Usb_Attribute("/dev/video0", "serial"), "");
    // A descriptor opened before is left dangling.
    v4l2_capability capability{};
    EXPECT_EQ(ioctl(before.fd(), VIDIOC_QUERYCAP, &capability), -1);
    EXPECT_EQ(errno, ENODEV);
}

TEST_F(VirtualModuleTestbed, ReplugRestartsTheChip)
{
    VirtualModule& module = Add_Camera("2620", 0);
    module.Set_Isp(0x2041, 0x55);
    Testbed().Unplug(module);
    Testbed().Replug(module);
    EXPECT_TRUE(Testbed().Is_Plugged(module));
    EXPECT_EQ(module.Isp(0x2041), 0);
    Node after("/dev/video0");
    ASSERT_GE(after.fd(), 0);
    EXPECT_EQ(Write_Isp(after.fd(), 4, 0x2041, 1), 0);
    EXPECT_EQ(Usb_Attribute("/dev/video0", "serial"), module.Config().serial);
}

TEST_F(VirtualModuleTestbed, RestartRequestTakesTheModuleAway)
{
    Testbed().Set_Restart_Delay(std::nullopt);
    VirtualModule& module = Add_Camera("2620", 0);
    Add_Camera("2650", 1);
    {
        Node node("/dev/video0");
        ASSERT_EQ(Write_Isp(node.fd(), 4, 0x2034, 0x01), 0);
    }
    ASSERT_TRUE(Testbed().Wait_Until_Plugged(module, false, kPatience));
    Node gone("/dev/video0");
    EXPECT_LT(gone.fd(), 0);
    Node other("/dev/video1");
    EXPECT_GE(other.fd(), 0);
    Testbed().Replug(module);
    Node back("/dev/video0");
    EXPECT_GE(back.fd(), 0);
}

TEST_F(VirtualModuleTestbed, RestartedModuleComesBackByItself)
{
    Testbed().Set_Restart_Delay(10ms);
    VirtualModule& module = Add_Camera("2620", 0);
    module.Set_Isp(0x2041, 0x55);
    {
        Node node("/dev/video0");
        ASSERT_EQ(Write_Isp(node.fd(), 4, 0x2034, 0x01), 0);
    }
    ASSERT_TRUE(Testbed().Wait_Until_Plugged_Times(module, 2, kPatience));
    EXPECT_EQ(module.Isp(0x2041), 0);
    Node back("/dev/video0");
    EXPECT_GE(back.fd(), 0);
}

TEST(VirtualModuleLauncher, RunsAProgramAgainstChosenModules)
{
    korvane::test::TempDir dir;
    const std::string queries = dir.file("queries.txt");
    int status = -1;
    const std::string text = korvane::test::runProgram(
        {KORVANE_LAUNCHER, "--module", "chip=2650,video=3,vid=1bcf,pid=2cd1,serial=SN-A", "--webcam", "1", "--module",
         "chip=2281,video=5,serial=SN-B", "--query-log", queries, "--", KORVANE_PROBE},
        {}, status);
    EXPECT_EQ(status, 0) << text;
    EXPECT_NE(text.find("cameras 2\n"), std::string::npos) << text;
    EXPECT_NE(text.find("camera /dev/video3 QLVR_56_2 1bcf:2cd1 SN-A\n"), std::string::npos) << text;
    EXPECT_NE(text.find("camera /dev/video5 QLV_3M_1 "), std::string::npos) << text;
    EXPECT_NE(text.find("video devices 3\n"), std::string::npos) << text;
    const std::string log = korvane::test::readFile(queries);
    EXPECT_NE(log.find("/dev/video3 unit 4 selector 0x03 GET_CUR size 1 data 0x04 ok\n"), std::string::npos) << log;
    EXPECT_NE(log.find("/dev/video5 unit 3 selector 0x03 GET_CUR size 1 data 0xa8 ok\n"), std::string::npos) << log;
}

TEST(VirtualModuleLauncher, PassesTheProgramsExitStatusOn)
{
    int status = -1;
    korvane::test::runProgram({KORVANE_LAUNCHER, "--webcam", "0", "--", KORVANE_PROBE}, {}, status);
    EXPECT_EQ(status, 3); // the probe found no camera
}

TEST(VirtualModuleLauncher, RefusesABadModule)
{
    int status = -1;
    korvane::test::runProgram({KORVANE_LAUNCHER, "--module", "chip=1234", "--", "true"}, {}, status,
                              std::chrono::seconds(30), korvane::test::StandardError::Collected);
    EXPECT_EQ(status, 2);
}

// A module with its firmware area contents, piece length and an injected
// fault from the command line: the probe still finds it, and the log shows
// the fault.
TEST(VirtualModuleLauncher, TakesFirmwarePieceLengthAndFaultOptions)
{
    korvane::test::TempDir dir;
    const std::string firmware = dir.write("firmware.bin", std::string("\x89\x26 firmware"));
    const std::string queries = dir.file("queries.txt");
    int status = -1;
    korvane::test::runProgram({KORVANE_LAUNCHER, "--module",
                               "chip=2620,video=2,piece=65536,firmware=" + firmware + ",fail=03:1,stuck=100",
                               "--query-log", queries, "--", KORVANE_PROBE},
                              {}, status);
    ASSERT_NE(status, -1) << "the launcher did not end by itself";
    const std::string log = korvane::test::readFile(queries);
    EXPECT_NE(log.find("/dev/video2 unit 4 selector 0x03 GET_CUR size 1 data 0xd2 ok\n"), std::string::npos) << log;
    EXPECT_NE(log.find("selector 0x03 GET_CUR size 1 failed: Input/output error\n"), std::string::npos) << log;
}

TEST(VirtualModuleLauncher, RefusesAMissingFirmwareFile)
{
    int status = -1;
    korvane::test::runProgram({KORVANE_LAUNCHER, "--module", "chip=2620,firmware=/nonexistent/image.bin", "--", "true"},
                              {}, status, std::chrono::seconds(30), korvane::test::StandardError::Collected);
    EXPECT_EQ(status, 2);
}

TEST(VirtualModuleLauncher, HelpNamesTheFirmwareAndFaultKeys)
{
    korvane::test::TempDir dir;
    int status = -1;
    const std::string text = korvane::test::runProgram({KORVANE_LAUNCHER, "--help"}, {}, status);
    ASSERT_EQ(status, 0) << text;
    for (const char* key : {"piece", "firmware=FILE", "fail=N", "fail=SS:N", "power-loss=N", "stuck=ADDR", "never"})
        EXPECT_NE(text.find(key), std::string::npos) << key;
}

} // namespace
