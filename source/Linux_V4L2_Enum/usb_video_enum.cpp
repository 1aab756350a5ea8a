#include "Extension_Unit_Class/usb_video_enum.h"

#include "Extension_Unit_Class/Extunit.h"
#include "Video_Node_Walk.h"

#include <cstdlib>
#include <memory>

namespace {

struct Udev_Unref
{
    void operator()(udev* context) const { udev_unref(context); }
};

} // namespace

USB_Video_Enum::USB_Video_Enum(List_Container<Extension_Unit_Base_Protocol*>* protocols)
{
    Walk(*protocols);
}

void USB_Video_Enum::Walk(List_Container<Extension_Unit_Base_Protocol*>& protocols)
{
    std::unique_ptr<udev, Udev_Unref> context(udev_new());
    if (!context)
        return;
    std::uint32_t found = 0;
    Video_Node_Walk(context.get()).Visit([&](udev_device* device, const char* node, int fd,
                                             const v4l2_capability& capability) {
        Extension_Unit_Base_Protocol* protocol = Get_Extension_Unit(fd);
        if (!protocol)
            return false;
        ++found;
        protocols.Add(protocol);
        _v4l2_dev_sys_data_t description{};
        Video_Node_Walk::Describe(description, device, node, capability, true);
        C_Dev_Mes.V4l2_dev_message.Add(description);
        // The camera's node stays open for its protocol, so that later
        // transfers reach this camera whatever the caller has open.
        return Keep_Descriptor(protocol);
    });
    C_Dev_Mes.S_V4L2_Device_List_Index.num_devices = found;
}

v4l2_device_list_t* Usb_Video_Dev_Enum()
{
    auto* list = static_cast<v4l2_device_list_t*>(std::calloc(1, sizeof(v4l2_device_list_t)));
    auto* devices = static_cast<_v4l2_dev_sys_data_t*>(std::calloc(1, sizeof(_v4l2_dev_sys_data_t)));
    udev* context = udev_new();
    if (!list || !devices || !context) {
        std::free(list);
        std::free(devices);
        udev_unref(context);
        return nullptr;
    }
    list->udev = context;
    list->list_devices = devices;
    bool failed = false;
    std::uint32_t count = 0;
    Video_Node_Walk(context).Visit([&](udev_device* device, const char* node, int,
                                       const v4l2_capability& capability) {
        if (failed)
            return false;
        void* grown = std::realloc(list->list_devices, (count + 1) * sizeof(_v4l2_dev_sys_data_t));
        if (!grown) {
            failed = true;
            return false;
        }
        list->list_devices = static_cast<_v4l2_dev_sys_data_t*>(grown);
        _v4l2_dev_sys_data_t& description = list->list_devices[count];
        description = _v4l2_dev_sys_data_t{};
        Video_Node_Walk::Describe(description, device, node, capability, false);
        ++count;
        return false;
    });
    if (failed) {
        std::free(list->list_devices);
        udev_unref(context);
        std::free(list);
        return nullptr;
    }
    list->num_devices = count;
    return list;
}
