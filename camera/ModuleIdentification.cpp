#include "ModuleIdentification.h"

#include "Extension_Unit_Class/camera_api.h"

std::string moduleIdentification(_Device_Point_* device, const info_camera_os& info)
{
    info_camera_String strings{};
    Camera_Get_Info_String_Api(device, &strings);
    strings.iSerialNumber[sizeof strings.iSerialNumber - 1] = '\0';
    return std::to_string(info.bcdDevice) + "-" + std::to_string(info.bcdDevice) + "-" + std::to_string(info.vid) +
           "-" + strings.iSerialNumber;
}
