#include "Extension_Unit_Class/CameraDevice.h"

#include "Extension_Unit_Class/Extunit.h"
#include "Extension_Unit_Class/usb_video_enum.h"

CameraDevice::CameraDevice() = default;

CameraDevice::~CameraDevice() { UNInit(); }

int CameraDevice::Init()
{
    UNInit();
    USB_Video_Enum enumeration(&exunit_list);
    List_Container<_v4l2_dev_sys_data_t>& found = enumeration.C_Dev_Mes.V4l2_dev_message;
    for (std::size_t i = 0; i < found.Size(); ++i)
        deviceInfo_list.Add(found[i]);
    return static_cast<int>(enumeration.C_Dev_Mes.S_V4L2_Device_List_Index.num_devices);
}

void CameraDevice::UNInit()
{
    for (std::size_t i = 0; i < exunit_list.Size(); ++i)
        Delete_Extension_Unit(exunit_list[i]);
    exunit_list.Clear();
    deviceInfo_list.Clear();
}

int CameraDevice::Size() { return static_cast<int>(deviceInfo_list.Size()); }

Extension_Unit_Base_Protocol* CameraDevice::GetEXUnit(unsigned index)
{
    return index < exunit_list.Size() ? exunit_list[index] : nullptr;
}

_v4l2_dev_sys_data_t CameraDevice::GetDeviceInfo(unsigned index)
{
    return index < deviceInfo_list.Size() ? deviceInfo_list[index] : _v4l2_dev_sys_data_t{};
}

CameraDevice* CreatCameraASS() { return new CameraDevice(); }

int GetCameraASSDeviceInit(CameraDevice* list) { return list ? list->Init() : -1; }

int CameraASSSize(CameraDevice* list) { return list ? list->Size() : -1; }

Extension_Unit_Base_Protocol* GetCameraASSEXUnit(CameraDevice* list, unsigned index)
{
    return list ? list->GetEXUnit(index) : nullptr;
}

_v4l2_dev_sys_data_t GetCameraASSDeviceInfo(CameraDevice* list, unsigned index)
{
    return list ? list->GetDeviceInfo(index) : _v4l2_dev_sys_data_t{};
}

void GetCameraASSDeviceUNInit(CameraDevice* list)
{
    if (list)
        list->UNInit();
}

void DelCameraASS(CameraDevice* list) { delete list; }
