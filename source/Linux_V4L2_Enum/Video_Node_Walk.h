#ifndef KORVANE_LINUX_V4L2_ENUM_VIDEO_NODE_WALK_H
#define KORVANE_LINUX_V4L2_ENUM_VIDEO_NODE_WALK_H

// Visits every video4linux node known to libudev that opens and answers the
// V4L2 capability query, in libudev's order. Nodes it may not open are noted
// in Video_Node_Access.

#include "Extension_Unit_Class/Video_Node_Description.h"
#include "Extension_Unit_Class/v4l2_dev_sys_data.h"

#include <functional>

#include <libudev.h>
#include <linux/videodev2.h>

class Video_Node_Walk
{
public:
    // The node's udev device, its path, its open descriptor and its
    // capabilities. Returns true when it keeps the descriptor; otherwise
    // the walk closes it after the call.
    using Visitor = std::function<bool(udev_device* device, const char* node, int fd, const v4l2_capability& capability)>;

    explicit Video_Node_Walk(udev* context);

    void Visit(const Visitor& visitor);

    // Fills a zeroed description from the node, its capabilities and its USB
    // parent's attributes (see Describe_Video_Node).
    static void Describe(_v4l2_dev_sys_data_t& description, udev_device* device, const char* node,
                         const v4l2_capability& capability, bool bcdFromAttribute);

private:
    void Visit_Entry(const char* syspath, const Visitor& visitor);

    udev* m_context; // borrowed
};

#endif
