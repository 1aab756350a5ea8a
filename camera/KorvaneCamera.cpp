#include "KorvaneCamera.h"

#include <cstdio>
#include <cstring>
#include <new>

#include <unistd.h>

#include "Extension_Unit_Class/camera_api.h"

namespace {

const cv::Size kModuleFrameSize(1856, 800);
constexpr int kModuleFrameRate = 30;

// The block holds the calibration file followed by zero bytes up to 4096,
// and the settings parser refuses text with NUL bytes in it: cut the file at
// its first zero byte. A file that cannot be read is left for the parser to
// report.
void cutBlockPadding(const std::string& path)
{
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file)
        return;
    char block[4096];
    const std::size_t length = std::fread(block, 1, sizeof block, file);
    std::fclose(file);
    const void* zero = std::memchr(block, '\0', length);
    if (zero)
        truncate(path.c_str(), static_cast<const char*>(zero) - block);
}

} // namespace

KorvaneCamera::KorvaneCamera() : StereoCamera()
{
    prepareDevice(1);
    setRawFrameSize(kModuleFrameSize);
    setRawFrameRate(kModuleFrameRate);
}

KorvaneCamera::KorvaneCamera(int deviceNode) : StereoCamera(deviceNode)
{
    prepareDevice(1);
    setRawFrameSize(kModuleFrameSize);
    setRawFrameRate(kModuleFrameRate);
}

KorvaneCamera::KorvaneCamera(std::string configFile) : StereoCamera(configFile)
{
    prepareDevice(getLogLevel());
    // The configured values are applied again, the rate truncated.
    setRawFrameSize(getRawFrameSize());
    setRawFrameRate(static_cast<int>(getRawFrameRate()));
}

KorvaneCamera::~KorvaneCamera()
{
    Camera_UnInit();
    if (m_deviceLog)
        m_deviceLog->runTimeInfo("Korvane camera resource has released.\n");
    m_deviceLog.reset();
}

void KorvaneCamera::prepareDevice(int logLevel)
{
    m_deviceLog.reset(new (std::nothrow) SystemLog(m_deviceLogName));
    if (!m_deviceLog)
        return;
    m_deviceLog->setLogLevel(logLevel);
    if (loadInternalCalibParams()) {
        m_deviceLog->runTimeInfo("Load camera flash parameters OK!\n");
    } else {
        m_deviceLog->runTimeError("This camera cannot get internal parameters!\n");
        m_deviceLog->runTimeError("You should flash the calibration parameters or load it from disk.\n");
    }
}

bool KorvaneCamera::loadInternalCalibParams()
{
    char name[] = "calib.XXXXXX";
    const int fd = mkstemp(name);
    if (fd < 0) {
        if (m_deviceLog)
            m_deviceLog->runTimeError("mkstemp file error!\n");
        return false;
    }
    close(fd);
    // The file is removed with a library call rather than a shell command,
    // so that no name ever reaches a shell.
    std::string path(name);
    if (!cameraSpecailOprations(getDeviceNode(), path, kFlashToFile)) {
        if (m_deviceLog)
            m_deviceLog->runTimeError("read to tmp file failed, maybe mkstemp file error!\n");
        unlink(name);
        return false;
    }
    cutBlockPadding(path);
    const bool loaded = loadCalibParams(path);
    if (!loaded && m_deviceLog)
        m_deviceLog->runTimeError("load tmp file failed, temp file permission error!\n");
    unlink(name);
    return loaded;
}

bool KorvaneCamera::updateFirmware(std::string path)
{
    return cameraSpecailOprations(getDeviceNode(), path, kFirmwareUpdate) != 0;
}

bool KorvaneCamera::updateCalibParams2Flash(std::string path)
{
    return cameraSpecailOprations(getDeviceNode(), path, kCalibrationToFlash) != 0;
}

bool KorvaneCamera::checkFirmwareVersion(std::string& version)
{
    return cameraSpecailOprations(getDeviceNode(), version, kIdentification) != 0;
}
