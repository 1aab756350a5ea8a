#include "Extension_Unit_Class/camera_api.h"

#include "Extension_Unit_Class/CameraDevice.h"
#include "Extension_Unit_Class/Extension_Unit_Chip_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_Functions.h"

#include <cstring>
#include <memory>

namespace {

struct Camera_List_Delete
{
    void operator()(CameraDevice* list) const { DelCameraASS(list); }
};

// The process-wide camera list and log stream, unguarded: the API is
// called from one thread at a time.
std::unique_ptr<CameraDevice, Camera_List_Delete> g_cameraList;
FILE* g_logStream = nullptr;

CameraDevice* Camera_List()
{
    if (!g_cameraList)
        g_cameraList.reset(CreatCameraASS());
    return g_cameraList.get();
}

Extension_Unit_Base_Protocol* Protocol_Of(_Device_Point_* device) { return device ? device->p_device : nullptr; }

template <std::size_t To, std::size_t From>
void Copy_Text(char (&to)[To], const char (&from)[From])
{
    static_assert(To > From, "the text always fits");
    std::memcpy(to, from, From);
    to[From] = '\0';
}

void Fill_Strings(info_camera_String& info, const _v4l2_dev_sys_data_t& description)
{
    std::memset(&info, 0, sizeof info);
    Copy_Text(info.iManufacturer, description.iManufacturer);
    Copy_Text(info.iProduct, description.iProduct);
    Copy_Text(info.iSerialNumber, description.iSerialNumber);
}

} // namespace

int Camera_Init() { return GetCameraASSDeviceInit(Camera_List()); }

int Camera_Poll_Camera_Count() { return Camera_Init(); }

int Camera_Count(int* count)
{
    if (!count)
        return Camera_Status::Bad_Argument;
    *count = Camera_Init();
    return 0;
}

int Camera_UnInit()
{
    g_cameraList.reset();
    return 0;
}

int Camera_UNInit() { return Camera_UnInit(); }

int Camera_Reset()
{
    if (!g_cameraList)
        return Camera_Status::Bad_Argument;
    const int count = CameraASSSize(g_cameraList.get());
    for (int i = 0; i < count; ++i)
        reset(GetCameraASSEXUnit(g_cameraList.get(), static_cast<unsigned>(i)));
    Camera_UnInit();
    return count;
}

_Device_Point_* Camera_Device_Point_Init(int index)
{
    if (!g_cameraList || index < 0 || index >= CameraASSSize(g_cameraList.get()))
        return nullptr;
    auto device = std::make_unique<_Device_Point_>();
    std::memset(device.get(), 0, sizeof(_Device_Point_));
    device->u_index = static_cast<std::uint32_t>(index);
    // Asked of the still empty record, so 0xFF; kept so.
    device->FlashType = static_cast<std::uint8_t>(Read_Flash_type(device->p_device));
    device->ISP_ID = 0;
    device->p_device = GetCameraASSEXUnit(g_cameraList.get(), device->u_index);
    device->Falsh_R = Camera_Flash_R_Api;
    device->Falsh_W = Camera_Flash_W_Api;
    device->pInfo = nullptr;
    device->Set_ISP_Reg = Camera_Set_ISP_Reg_Api;
    device->Get_ISP_Reg = Camera_Get_ISP_Reg_Api;
    device->Set_Sensor_Reg = Camera_Set_Sensor_Reg_Api;
    device->Get_Sensor_Reg = Camera_Get_Sensor_Reg_Api;
    device->Input_Gpio_Get = Camera_Get_Input_GPIO_Api;
    device->Output_Gpio_set = Camera_Set_Output_GPIO_Api;
    device->Input_Gpio_init = Camera_Input_GPIO_Init_Api;
    device->Output_Gpio_init = Camera_Output_GPIO_Init_Api;
    device->pInfoStr = Camera_Get_Info_String_Api;
    device->pExid_R = Camera_Get_ExID_Api;
    device->pExid_W = Camera_Set_ExID_Api;
    return device.release();
}

void Camera_Device_Point_UnInit(_Device_Point_** device)
{
    if (!device || !*device)
        return;
    delete *device;
    *device = nullptr;
}

int Camera_Get_Camera_String(unsigned index, info_camera_String* info)
{
    if (!g_cameraList || !info)
        return Camera_Status::Bad_Argument;
    Fill_Strings(*info, GetCameraASSDeviceInfo(g_cameraList.get(), index));
    return 0;
}

int Camera_Get_Info_String_Api(_Device_Point_* device, info_camera_String* info)
{
    if (!device || !info)
        return Camera_Status::Bad_Argument;
    Fill_Strings(*info, GetCameraASSDeviceInfo(g_cameraList.get(), device->u_index));
    return 0;
}

int Camera_Get_information_Api(_Device_Point_* device, info_camera_os* info)
{
    if (!device || !info)
        return Camera_Status::Bad_Argument;
    const _v4l2_dev_sys_data_t description = GetCameraASSDeviceInfo(g_cameraList.get(), device->u_index);
    info->vid = description.Vid;
    info->pid = description.Pid;
    info->bcdDevice = description.Bcd;
    Copy_Text(info->device, description.device);
    info->icType = 0;
    info->busnum = description.busnum;
    info->devnum = description.devnum;
    Copy_Text(info->location, description.location);
    return 0;
}

int Camera_Set_ISP_Reg_Api(_Device_Point_* device, unsigned address, unsigned value)
{
    return Write_ISP_Register(Protocol_Of(device), static_cast<std::uint16_t>(address),
                              static_cast<std::uint8_t>(value));
}

int Camera_Get_ISP_Reg_Api(_Device_Point_* device, unsigned address, std::uint8_t* value)
{
    return Read_ISP_Register(Protocol_Of(device), static_cast<std::uint16_t>(address), value);
}

// The sensor's bus address is the chip's business: slaveID is not used.
int Camera_Set_Sensor_Reg_Api(_Device_Point_* device, std::uint8_t, unsigned address, unsigned value)
{
    return Write_Sensor_Register(Protocol_Of(device), static_cast<std::uint16_t>(address),
                                 static_cast<std::uint16_t>(value));
}

int Camera_Get_Sensor_Reg_Api(_Device_Point_* device, std::uint8_t, unsigned address, std::uint16_t* value)
{
    return Read_Sensor_Register(Protocol_Of(device), static_cast<std::uint16_t>(address), value);
}

int Camera_Output_GPIO_Init_Api(_Device_Point_* device, unsigned pin)
{
    return Output_GPIO_Init_Api(Protocol_Of(device), pin);
}

int Camera_Input_GPIO_Init_Api(_Device_Point_* device, unsigned pin)
{
    return Input_GPIO_Init_Api(Protocol_Of(device), pin);
}

int Camera_Set_Output_GPIO_Api(_Device_Point_* device, unsigned pin, unsigned level)
{
    return Set_Output_GPIO_Api(Protocol_Of(device), pin, static_cast<std::uint8_t>(level));
}

int Camera_Get_Input_GPIO_Api(_Device_Point_* device, unsigned pin, std::uint8_t* level)
{
    return Get_Input_GPIO_Api(Protocol_Of(device), pin, level);
}

int Camera_Flash_R_Api(_Device_Point_* device, int piece, std::uint8_t* buffer)
{
    return Read_Flash_Piece(Protocol_Of(device), static_cast<std::uint16_t>(piece), buffer);
}

int Camera_Flash_W_Api(_Device_Point_* device, int piece, std::uint8_t* buffer)
{
    return Write_Flash_Piece(Protocol_Of(device), static_cast<std::uint16_t>(piece), buffer);
}

int Camera_Flash_W_Over_Firmware_Header_Api(_Device_Point_* device, int piece, std::uint8_t* buffer)
{
    Extension_Unit_Base_Protocol* protocol = Protocol_Of(device);
    if (auto* chip = dynamic_cast<Extension_Unit_Chip_Protocol*>(protocol))
        return chip->Write_Flash_Piece_Over_Firmware_Header(static_cast<std::uint16_t>(piece), buffer);
    return Write_Flash_Piece(protocol, static_cast<std::uint16_t>(piece), buffer);
}

int Camera_Get_ExID_Api(_Device_Point_* device, std::uint8_t* buffer) { return Read_Exid(Protocol_Of(device), buffer); }

int Camera_Set_ExID_Api(_Device_Point_* device, std::uint8_t* buffer) { return Write_Exid(Protocol_Of(device), buffer); }

void SetLog(FILE* stream) { g_logStream = stream; }

FILE* Camera_Log_Stream() { return g_logStream; }
