#ifndef KORVANE_EXTENSION_UNIT_V4L2_DEV_SYS_DATA_H
#define KORVANE_EXTENSION_UNIT_V4L2_DEV_SYS_DATA_H

// Records of the video device walks.

#include <cstdint>

struct udev;
struct udev_monitor;

// Description of one video device; text fields are NUL-terminated.
typedef struct _v4l2_dev_sys_data_t
{
    char device[256];   // device node path
    char name[256];     // capability card
    char driver[256];   // capability driver
    char location[256]; // capability bus_info
    std::uint32_t vendor;
    std::uint32_t product;
    std::int32_t valid;
    std::int32_t current;
    std::uint64_t busnum;
    std::uint64_t devnum;
    std::uint16_t Vid;
    std::uint16_t Pid;
    std::uint16_t Bcd;
    char iManufacturer[256];
    char iProduct[256];
    char iSerialNumber[256];
    char Device_Path[256];
} v4l2_dev_sys_data_t;

// Result of the free-standing walk. The caller frees list_devices and the
// block, and unrefs udev.
typedef struct _v4l2_device_list_t
{
    struct udev* udev;
    struct udev_monitor* udev_mon; // unused, null
    std::uint32_t udev_fd;         // unused
    _v4l2_dev_sys_data_t* list_devices;
    std::uint32_t num_devices;
} v4l2_device_list_t;

#endif
