// Camera_Updata: firmware update through the flat API, with the mode change
// or boot-code switch a model needs and the search for the camera after it
// has come back on the bus.

#include "Extension_Unit_Class/camera_api.h"

#include "Extension_Unit_Class/CameraDevice.h"
#include "Extension_Unit_Class/Chip_Registry.h"
#include "Extension_Unit_Class/Extension_Unit_Functions.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

constexpr std::uint16_t kDownloadStateRegister = 0x2310;
constexpr std::uint16_t kModeRegister = 0x20D8;
constexpr std::uint8_t kModeChange = 0x5A;
constexpr unsigned kSettleSeconds = 1;
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

// The camera's information record with its identity string in deviceID:
// USB vendor and product ids and serial number, which stay the same when the
// camera re-enumerates (its node and bus address may not); the bus place
// stands in for a camera without a serial number.
info_camera_os Identified_Information(_Device_Point_* device)
{
    info_camera_os info;
    std::memset(&info, 0, sizeof info);
    Camera_Get_information_Api(device, &info);
    info_camera_String strings;
    Camera_Get_Info_String_Api(device, &strings);
    char ids[16];
    std::snprintf(ids, sizeof ids, "%04x:%04x:", info.vid, info.pid);
    const std::string identity = std::string(ids) + (strings.iSerialNumber[0] ? strings.iSerialNumber : info.location);
    identity.copy(info.deviceID, sizeof info.deviceID - 1);
    return info;
}

// Builds the camera list anew, up to `rounds` times a second apart, until a
// camera with that identity is on it; that camera's download result, or Camera_Not_Back.
int Find_Again_And_Download(const std::string& identity, int rounds, std::uint8_t* image, unsigned int length,
                            float* progress)
{
    Camera_UnInit();
    for (int round = 0; round < rounds; ++round) {
        if (round > 0)
            sleep(kSettleSeconds);
        const int count = Camera_Init();
        for (int index = 0; index < count; ++index) {
            _Device_Point_* candidate = Camera_Device_Point_Init(index);
            if (!candidate)
                continue;
            const info_camera_os info = Identified_Information(candidate);
            Extension_Unit_Base_Protocol* protocol = candidate->p_device;
            Camera_Device_Point_UnInit(&candidate);
            if (identity == info.deviceID)
                return Download_Firmware(protocol, image, length, progress);
        }
    }
    return Camera_Status::Camera_Not_Back;
}

int Boot_Code_Path(Extension_Unit_Base_Protocol* protocol, const std::string& identity, std::uint8_t* image,
                   unsigned int length, float* progress)
{
    if (const int switched = Set_Rom_Code(protocol, image, length))
        return switched;
    sleep(kSettleSeconds);
    return Find_Again_And_Download(identity, kBootCodePathRounds, image, length, progress);
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
    const std::string identity = Identified_Information(device).deviceID;
    switch (Path_Of(This_is(protocol))) {
    case Update_Path::Mode_Change: {
        std::uint8_t state = 0;
        if (const int read = Read_ISP_Register(protocol, kDownloadStateRegister, &state))
            return read;
        if (state == 4 || state == 5)
            return Camera_Status::Download_Refused;
        // The chip leaves the bus to change its mode, so the write's own result says little.
        Write_ISP_Register(protocol, kModeRegister, kModeChange);
        sleep(kSettleSeconds);
        return Find_Again_And_Download(identity, kRegisterPathRounds, bytes, length, progress);
    }
    case Update_Path::Mode_Change_Boot_Code:
        Write_ISP_Register(protocol, kModeRegister, kModeChange);
        sleep(kSettleSeconds);
        return Boot_Code_Path(protocol, identity, bytes, length, progress);
    case Update_Path::Boot_Code:
        return Boot_Code_Path(protocol, identity, bytes, length, progress);
    case Update_Path::Direct:
        break;
    }
    return Download_Firmware(protocol, bytes, length, progress);
}
