// Lists the cameras and video devices it finds, one line each; the launcher
// test runs it against virtual modules. With --log the library's log goes
// to standard error.

#include "Extension_Unit_Class/CameraDevice.h"
#include "Extension_Unit_Class/camera_api.h"
#include "Extension_Unit_Class/usb_video_enum.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <libudev.h>

int main(int argc, char** argv)
{
    if (argc > 1 && std::strcmp(argv[1], "--log") == 0)
        SetLog(stderr);
    CameraDevice cameras;
    const int count = cameras.Init();
    std::printf("cameras %d\n", count);
    for (int i = 0; i < count; ++i) {
        const _v4l2_dev_sys_data_t camera = cameras.GetDeviceInfo(static_cast<unsigned>(i));
        std::printf("camera %s %s %04x:%04x %s\n", camera.device, cameras.GetEXUnit(static_cast<unsigned>(i))->This_is(),
                    camera.Vid, camera.Pid, camera.iSerialNumber);
    }
    v4l2_device_list_t* devices = Usb_Video_Dev_Enum();
    if (!devices)
        return 1;
    std::printf("video devices %u\n", devices->num_devices);
    udev_unref(devices->udev);
    std::free(devices->list_devices);
    std::free(devices);
    return count > 0 ? 0 : 3;
}
