#include "Video_Node_Walk.h"

#include "Extension_Unit_Class/Video_Node_Access.h"

#include <cerrno>
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

const char* Attribute(udev_device* device, const char* name) { return udev_device_get_sysattr_value(device, name); }

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
    udev_device* usb = udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_device");
    if (!usb) {
        Describe_Video_Node(description, node, capability, nullptr, bcdFromAttribute);
        return;
    }
    const Usb_Device_Attributes attributes = {Attribute(usb, "idVendor"),
                                              Attribute(usb, "idProduct"),
                                              Attribute(usb, "busnum"),
                                              Attribute(usb, "devnum"),
                                              Attribute(usb, "manufacturer"),
                                              Attribute(usb, "product"),
                                              Attribute(usb, "serial"),
                                              bcdFromAttribute ? Attribute(usb, "bcdDevice") : nullptr};
    Describe_Video_Node(description, node, capability, &attributes, bcdFromAttribute);
}
