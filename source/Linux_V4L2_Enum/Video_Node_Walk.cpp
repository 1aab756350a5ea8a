#include "Video_Node_Walk.h"

#include "Extension_Unit_Class/Video_Node_Access.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

struct Udev_Enumerate_Unref
{
    void operator()(udev_enumerate* enumerate) const { udev_enumerate_unref(enumerate); }
};

struct Udev_Device_Unref
{
    void operator()(udev_device* device) const { udev_device_unref(device); }
};

// Copies text into a fixed field, cut to fit.
template <std::size_t N>
void Copy_Text(char (&field)[N], const char* text)
{
    if (!text)
        return;
    std::strncpy(field, text, N - 1);
    field[N - 1] = '\0';
}

unsigned long long Attribute_Number(udev_device* device, const char* name, int base)
{
    const char* text = udev_device_get_sysattr_value(device, name);
    return text ? std::strtoull(text, nullptr, base) : 0;
}

} // namespace

Video_Node_Walk::Video_Node_Walk(udev* context) : m_context(context) {}

void Video_Node_Walk::Visit(const Visitor& visitor)
{
    std::unique_ptr<udev_enumerate, Udev_Enumerate_Unref> enumerate(udev_enumerate_new(m_context));
    if (!enumerate)
        return;
    Video_Node_Access::Forget_Denied();
    udev_enumerate_add_match_subsystem(enumerate.get(), "video4linux");
    udev_enumerate_scan_devices(enumerate.get());
    udev_list_entry* entry;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumerate.get()))
        Visit_Entry(udev_list_entry_get_name(entry), visitor);
}

void Video_Node_Walk::Visit_Entry(const char* syspath, const Visitor& visitor)
{
    // The parent devices belong to this child and go with it.
    std::unique_ptr<udev_device, Udev_Device_Unref> device(udev_device_new_from_syspath(m_context, syspath));
    if (!device)
        return;
    const char* node = udev_device_get_devnode(device.get());
    if (!node)
        return;
    const int fd = Video_Node_Access::Open_Node(node);
    if (fd < 0) {
        Video_Node_Access::Note_Open_Failure(node, errno);
        return;
    }
    v4l2_capability capability{};
    if (ioctl(fd, VIDIOC_QUERYCAP, &capability) < 0) {
        close(fd);
        return;
    }
    if (!visitor(device.get(), node, fd, capability))
        close(fd);
}

void Video_Node_Walk::Describe(_v4l2_dev_sys_data_t& description, udev_device* device, const char* node,
                               const v4l2_capability& capability, bool bcdFromAttribute)
{
    Copy_Text(description.device, node);
    Copy_Text(description.name, reinterpret_cast<const char*>(capability.card));
    Copy_Text(description.driver, reinterpret_cast<const char*>(capability.driver));
    Copy_Text(description.location, reinterpret_cast<const char*>(capability.bus_info));
    description.valid = 1;
    description.current = 0;

    udev_device* usb = udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_device");
    if (!usb)
        return;
    description.vendor = static_cast<std::uint32_t>(Attribute_Number(usb, "idVendor", 16));
    description.product = static_cast<std::uint32_t>(Attribute_Number(usb, "idProduct", 16));
    description.busnum = Attribute_Number(usb, "busnum", 10);
    description.devnum = Attribute_Number(usb, "devnum", 10);
    std::memset(description.iManufacturer, 0, sizeof description.iManufacturer);
    std::memset(description.iProduct, 0, sizeof description.iProduct);
    std::memset(description.iSerialNumber, 0, sizeof description.iSerialNumber);
    std::memset(description.Device_Path, 0, sizeof description.Device_Path);
    Copy_Text(description.Device_Path, node);
    Copy_Text(description.iManufacturer, udev_device_get_sysattr_value(usb, "manufacturer"));
    Copy_Text(description.iProduct, udev_device_get_sysattr_value(usb, "product"));
    Copy_Text(description.iSerialNumber, udev_device_get_sysattr_value(usb, "serial"));
    description.Vid = static_cast<std::uint16_t>(description.vendor);
    description.Pid = static_cast<std::uint16_t>(description.product);
    // "bcdDevice" is hexadecimal text read in base 10 on purpose: "0100" gives 100.
    description.Bcd = bcdFromAttribute ? static_cast<std::uint16_t>(Attribute_Number(usb, "bcdDevice", 10))
                                       : static_cast<std::uint16_t>(description.devnum & 0xFFFF);
}
