#include "emulator/IoctlNode.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <memory>

#include <linux/usb/video.h>
#include <linux/uvcvideo.h>
#include <linux/videodev2.h>
#include <umockdev.h>

namespace korvane::emulator {

namespace {

// Requests compare on their low 32 bits: callers may pass them sign-extended.
bool Is_Request(unsigned long request, unsigned long wanted)
{
    return (request & 0xFFFFFFFFul) == (wanted & 0xFFFFFFFFul);
}

template <std::size_t N>
void Copy_Text(unsigned char (&field)[N], const std::string& text)
{
    std::strncpy(reinterpret_cast<char*>(field), text.c_str(), N - 1);
}

void Fill_Capability(v4l2_capability& capability, const ModuleConfig& module, bool metadata)
{
    Copy_Text(capability.driver, "uvcvideo");
    Copy_Text(capability.card, module.product);
    Copy_Text(capability.bus_info, "usb-0000:00:14.0-" + std::to_string(module.devnum));
    capability.version = (6u << 16) | (1u << 8); // kernel 6.1
    capability.capabilities =
        V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_META_CAPTURE | V4L2_CAP_STREAMING | V4L2_CAP_DEVICE_CAPS;
    capability.device_caps = (metadata ? V4L2_CAP_META_CAPTURE : V4L2_CAP_VIDEO_CAPTURE) | V4L2_CAP_STREAMING;
}

struct Data_Unref
{
    void operator()(UMockdevIoctlData* data) const
    {
        if (data)
            umockdev_ioctl_data_unref(data);
    }
};

using Data_Ptr = std::unique_ptr<UMockdevIoctlData, Data_Unref>;

Data_Ptr Resolve(UMockdevIoctlData* parent, std::size_t offset, std::size_t length)
{
    GError* error = nullptr;
    UMockdevIoctlData* data = umockdev_ioctl_data_resolve(parent, offset, length, &error);
    if (error)
        g_error_free(error);
    return Data_Ptr(data);
}

} // namespace

IoctlNode::IoctlNode(VirtualModule& module, const VideoNodeConfig& node)
    : m_module(module), m_node(node), m_path("/dev/video" + std::to_string(node.number)),
      m_handler(umockdev_ioctl_base_new())
{
    g_signal_connect(m_handler, "handle-ioctl", G_CALLBACK(&IoctlNode::On_Ioctl), this);
}

IoctlNode::~IoctlNode()
{
    g_signal_handlers_disconnect_by_data(m_handler, this);
    g_object_unref(m_handler);
}

int IoctlNode::On_Ioctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, void* self)
{
    return static_cast<IoctlNode*>(self)->Handle(client) ? TRUE : FALSE;
}

bool IoctlNode::Handle(UMockdevIoctlClient* client)
{
    const unsigned long request = umockdev_ioctl_client_get_request(client);
    if (m_retired) {
        umockdev_ioctl_client_complete(client, -1, ENODEV);
        return true;
    }
    if (Is_Request(request, VIDIOC_QUERYCAP)) {
        Answer_Capability(client);
        return true;
    }
    if (Is_Request(request, UVCIOC_CTRL_QUERY)) {
        Answer_Extension_Unit(client);
        return true;
    }
    return false; // ENOTTY, as for any ioctl the node does not know
}

void IoctlNode::Answer_Capability(UMockdevIoctlClient* client)
{
    Data_Ptr data = Resolve(umockdev_ioctl_client_get_arg(client), 0, sizeof(v4l2_capability));
    if (!data) {
        umockdev_ioctl_client_complete(client, -1, EFAULT);
        return;
    }
    v4l2_capability capability{};
    Fill_Capability(capability, m_module.Config(), m_node.metadata);
    std::memcpy(data->data, &capability, sizeof capability);
    umockdev_ioctl_client_complete(client, 0, 0);
}

void IoctlNode::Answer_Extension_Unit(UMockdevIoctlClient* client)
{
    if (m_node.metadata) {
        // The driver's metadata nodes have no controls.
        umockdev_ioctl_client_complete(client, -1, ENOTTY);
        return;
    }
    Data_Ptr queryData = Resolve(umockdev_ioctl_client_get_arg(client), 0, sizeof(uvc_xu_control_query));
    if (!queryData) {
        umockdev_ioctl_client_complete(client, -1, EFAULT);
        return;
    }
    uvc_xu_control_query query;
    std::memcpy(&query, queryData->data, sizeof query);
    Data_Ptr buffer;
    if (query.size > 0) {
        if (!query.data) {
            umockdev_ioctl_client_complete(client, -1, EFAULT);
            return;
        }
        buffer = Resolve(queryData.get(), offsetof(uvc_xu_control_query, data), query.size);
        if (!buffer) {
            umockdev_ioctl_client_complete(client, -1, EFAULT);
            return;
        }
    }
    const XuQuery request{query.unit, query.selector, query.query, query.size};
    const int error = m_module.Answer(m_path, request, buffer ? buffer->data : nullptr);
    umockdev_ioctl_client_complete(client, error ? -1 : 0, error);
}

} // namespace korvane::emulator
