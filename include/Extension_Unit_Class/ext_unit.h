#ifndef KORVANE_EXTENSION_UNIT_EXT_UNIT_H
#define KORVANE_EXTENSION_UNIT_EXT_UNIT_H

// One extension-unit channel on an open video device: single queries and
// two-step transactions through the UVC driver's extension-unit ioctl.

#include "Extension_Unit_Class/Extension_Unit_Request.h"

class ExtUnit
{
public:
    ExtUnit();
    virtual ~ExtUnit();

    // Single query; forwards to V4L2_UNIT_IO.
    virtual int EXT_UNIT_IO(pWindows_UVC_xu_control request);
    // Two-step transaction; forwards to V4L2_UVC_xu_control_unit_transfer.
    virtual int EXT_UNIT_IO(pWindows_UVC_xu_control_unit transaction);
    // SET_CUR / GET_CUR of a selector on this object's unit.
    virtual int put_Property(unsigned selector, unsigned length, unsigned char* data);
    virtual int get_Property(unsigned selector, unsigned length, unsigned char* data);
    virtual int set_CameraControl(int fd);
    virtual int set_V4L2(int fd, std::uint16_t nodeId);
    // GET_LEN into get_len.u_rev, then the cur query; the results are or-ed.
    virtual int V4L2_UVC_xu_control_unit_transfer(pWindows_UVC_xu_control_unit transaction);
    // One query after a 1 ms pause.
    virtual int V4L2_UNIT_IO(pWindows_UVC_xu_control request);

    std::uint16_t m_dwNodeId; // unit of put_Property/get_Property, set by set_V4L2
    int dev_fd;               // borrowed: never opened or closed here
};

#endif
