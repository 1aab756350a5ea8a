#ifndef KORVANE_EXTENSION_UNIT_DEV_MESSAGE_H
#define KORVANE_EXTENSION_UNIT_DEV_MESSAGE_H

// The device descriptions found by a camera walk, in the order found.

#include "Extension_Unit_Class/List_Container.h"
#include "Extension_Unit_Class/v4l2_dev_sys_data.h"

class Dev_Message
{
public:
    Dev_Message();
    virtual ~Dev_Message();

    v4l2_device_list_t S_V4L2_Device_List_Index; // only num_devices is kept after the walk
    List_Container<_v4l2_dev_sys_data_t> V4l2_dev_message;
};

#endif
