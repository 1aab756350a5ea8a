#include "emulator/ModuleSysfs.h"

#include <cstdio>

namespace korvane::emulator {

namespace {

std::string Hex4(unsigned value)
{
    char text[8];
    std::snprintf(text, sizeof text, "%04x", value & 0xFFFFu);
    return text;
}

} // namespace

ModuleSysfs::ModuleSysfs(const ModuleConfig& config) : m_config(config) {}

std::string ModuleSysfs::Usb_Path() const
{
    const std::string bus = std::to_string(m_config.busnum);
    return "/devices/pci0000:00/0000:00:14.0/usb" + bus + "/" + bus + "-" + std::to_string(m_config.devnum);
}

std::string ModuleSysfs::Interface_Path() const
{
    const std::string bus = std::to_string(m_config.busnum);
    return Usb_Path() + "/" + bus + "-" + std::to_string(m_config.devnum) + ":1.0";
}

std::string ModuleSysfs::Node_Path(const VideoNodeConfig& node) const
{
    return Interface_Path() + "/video4linux/video" + std::to_string(node.number);
}

std::string ModuleSysfs::Description() const
{
    std::string text;
    text += "P: " + Usb_Path() + "\n";
    text += "E: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\nE: DRIVER=usb\n";
    text += "A: idVendor=" + Hex4(m_config.vendorId) + "\n";
    text += "A: idProduct=" + Hex4(m_config.productId) + "\n";
    text += "A: bcdDevice=" + m_config.bcdDevice + "\n";
    text += "A: busnum=" + std::to_string(m_config.busnum) + "\n";
    text += "A: devnum=" + std::to_string(m_config.devnum) + "\n";
    text += "A: serial=" + m_config.serial + "\n";
    text += "A: manufacturer=" + m_config.manufacturer + "\n";
    text += "A: product=" + m_config.product + "\n";
    text += "A: speed=480\n\n";

    text += "P: " + Interface_Path() + "\n";
    text += "E: SUBSYSTEM=usb\nE: DEVTYPE=usb_interface\nE: DRIVER=uvcvideo\n";
    text += "L: driver=../../../../../../bus/usb/drivers/uvcvideo\n";
    text += "A: bInterfaceClass=0e\nA: bInterfaceSubClass=01\n\n";

    for (const VideoNodeConfig& node : m_config.nodes) {
        const std::string number = std::to_string(node.number);
        text += "P: " + Node_Path(node) + "\n";
        text += "N: video" + number + "=00\n";
        text += "E: SUBSYSTEM=video4linux\nE: DEVNAME=/dev/video" + number + "\n";
        text += "E: MAJOR=81\nE: MINOR=" + number + "\n";
        text += "A: dev=81:" + number + "\n";
        text += "A: name=" + m_config.product + "\n";
        text += "A: index=" + std::string(node.metadata ? "1" : "0") + "\n\n";
    }
    return text;
}

std::vector<std::string> ModuleSysfs::Device_Paths() const
{
    std::vector<std::string> paths = {"/sys" + Usb_Path(), "/sys" + Interface_Path()};
    for (const VideoNodeConfig& node : m_config.nodes)
        paths.push_back("/sys" + Node_Path(node));
    return paths;
}

} // namespace korvane::emulator
