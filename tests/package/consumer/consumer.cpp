#include <cstdio>

#include <Extension_Unit_Class/camera_api.h>
#include <camera/KorvaneVersion.h>
#include <camera/StereoCamera.h>
#include <camera/SystemLog.h>

int main()
{
    SetLog(nullptr);
    SystemLog log("Consumer");
    log.setLogLevel(1);
    log.runTimeInfo("consumer built against the installed kit\n");
    StereoCamera camera(97);
    const bool ok = !camera.isOpened() && camera.setRawFrameSize(cv::Size(928, 400)) &&
                    camera.getRawFrameSize() == cv::Size(928, 400);
    std::printf("%s (kit %s)\n", ok ? "consumer ok" : "consumer failed", KORVANE_VERSION);
    return ok ? 0 : 1;
}
