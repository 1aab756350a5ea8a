// Camera_Updata: firmware update through the flat API, with the mode change
// or boot-code switch a model needs and the search for the camera after it
// has come back on the bus.

#include "Extension_Unit_Class/camera_api.h"

#include "Extension_Unit_Class/CameraDevice.h"
#include "Extension_Unit_Class/Chip_Registry.h"
#include "Extension_Unit_Class/Extension_Unit_Functions.h"
#include "Extension_Unit_Class/Module_Handle.h"
#include "Extension_Unit_Class/Module_Identity.h"

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr std::uint16_t kDownloadStateRegister = 0x2310;
constexpr std::uint16_t kModeRegister = 0x20D8;
constexpr std::uint8_t kModeChange = 0x5A;
constexpr std::chrono::milliseconds kSettleTime(1000);
constexpr int kRegisterPathRounds = 30;
constexpr int kBootCodePathRounds = 20;

using Update_Path = Chip_Update_Path;

// The update path of the chip whose protocol reports that model name (or
// one of its family's); the direct download for any other model.
Update_Path Path_Of(const char* model)
{
    for (const Chip_Description* chip : Chip_Descriptions())
        if (Names_Model(*chip, model))
            return chip->updatePath;
    return Update_Path::Direct;
}

// The identity of the camera behind the record, read from the camera list.
Module_Identity Identity_Of(_Device_Point_* device)
{
    info_camera_os information{};
    info_camera_String strings{};
    Camera_Get_information_Api(device, &information);
    Camera_Get_Info_String_Api(device, &strings);
    return Module_Identity::Of(information, strings);
}

// Builds the camera list anew, up to `rounds` times a second apart, until the
// camera with that identity is on it; then points the caller's record at it,
// since the rebuilt list leaves the old one stale, and returns its download
// result. Camera_Not_Back when it did not come.
int Find_Again_And_Download(_Device_Point_* device, const Module_Identity& identity, int rounds, std::uint8_t* image,
                            unsigned int length, float* progress)
{
    std::unique_ptr<Module_Handle> module;
    if (const int found = Module_Handle::Find_Again(identity, rounds, kSettleTime, module))
        return found;
    module->Refresh(*device);
    return Download_Firmware(device->p_device, image, length, progress);
}

int Boot_Code_Path(_Device_Point_* device, const Module_Identity& identity, std::uint8_t* image, unsigned int length,
                   float* progress)
{
    if (const int switched = Set_Rom_Code(device->p_device, image, length))
        return switched;
    std::this_thread::sleep_for(kSettleTime);
    return Find_Again_And_Download(device, identity, kBootCodePathRounds, image, length, progress);
}

} // namespace

int Camera_Updata(_Device_Point_* device, const unsigned char* image, unsigned int length, float* progress)
{
    if (!device || !device->p_device)
        return Camera_Status::Bad_Argument;
    if (device->FlashType == 0)
        return Camera_Status::No_Flash;
    // The chip operations take writable buffers; the caller's image is never changed.
    std::vector<std::uint8_t> copy;
    if (image)
        copy.assign(image, image + length);
    std::uint8_t* bytes = image ? copy.data() : nullptr;
    if (FW_Support_Device(bytes, length, 0, false) != 1)
        return Camera_Status::Unsupported_Image;

    Extension_Unit_Base_Protocol* protocol = device->p_device;
    const Module_Identity identity = Identity_Of(device);
    switch (Path_Of(This_is(protocol))) {
    case Update_Path::Mode_Change: {
        std::uint8_t state = 0;
        if (const int read = Read_ISP_Register(protocol, kDownloadStateRegister, &state))
            return read;
        if (state == 4 || state == 5)
            return Camera_Status::Download_Refused;
        // The chip leaves the bus to change its mode, so the write's own result says little.
        Write_ISP_Register(protocol, kModeRegister, kModeChange);
        std::this_thread::sleep_for(kSettleTime);
        return Find_Again_And_Download(device, identity, kRegisterPathRounds, bytes, length, progress);
    }
    case Update_Path::Mode_Change_Boot_Code:
        Write_ISP_Register(protocol, kModeRegister, kModeChange);
        std::this_thread::sleep_for(kSettleTime);
        return Boot_Code_Path(device, identity, bytes, length, progress);
    case Update_Path::Boot_Code:
        return Boot_Code_Path(device, identity, bytes, length, progress);
    case Update_Path::Direct:
        break;
    }
    return Download_Firmware(protocol, bytes, length, progress);
}
