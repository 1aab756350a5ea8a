#ifndef KORVANE_EXTENSION_UNIT_CAMERA_DEVICE_H
#define KORVANE_EXTENSION_UNIT_CAMERA_DEVICE_H

// The camera list: the protocol of every camera found and its description,
// index-aligned. The list owns the protocols and destroys them when it is
// refilled, emptied or destroyed.

#include "Extension_Unit_Class/Extension_Unit_Base_Protocol.h"
#include "Extension_Unit_Class/List_Container.h"
#include "Extension_Unit_Class/v4l2_dev_sys_data.h"

class CameraDevice
{
public:
    CameraDevice();
    ~CameraDevice();
    CameraDevice(const CameraDevice&) = delete;
    CameraDevice& operator=(const CameraDevice&) = delete;

    // Enumerates afresh; returns the number of cameras found.
    int Init();
    void UNInit();
    int Size();
    // Null for an index out of range.
    Extension_Unit_Base_Protocol* GetEXUnit(unsigned index);
    // An all-zero description for an index out of range.
    _v4l2_dev_sys_data_t GetDeviceInfo(unsigned index);

    List_Container<Extension_Unit_Base_Protocol*> exunit_list;
    List_Container<_v4l2_dev_sys_data_t> deviceInfo_list;
};

// The same list through free functions; a null list is refused.
CameraDevice* CreatCameraASS();
int GetCameraASSDeviceInit(CameraDevice* list);
int CameraASSSize(CameraDevice* list);
Extension_Unit_Base_Protocol* GetCameraASSEXUnit(CameraDevice* list, unsigned index);
_v4l2_dev_sys_data_t GetCameraASSDeviceInfo(CameraDevice* list, unsigned index);
void GetCameraASSDeviceUNInit(CameraDevice* list);
void DelCameraASS(CameraDevice* list);

#endif
