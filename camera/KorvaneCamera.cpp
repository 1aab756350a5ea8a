#include "KorvaneCamera.h"

#include "CalibrationBlock.h"

#include <cstdio>
#include <cstring>
#include <iterator>
#include <new>
#include <vector>

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
    const std::size_t fileLength = korvane::calibrationFileLength(block, length);
    if (fileLength < length)
        truncate(path.c_str(), static_cast<off_t>(fileLength));
}

std::string readBlock(const std::string& path)
{
    std::string block;
    if (std::FILE* file = std::fopen(path.c_str(), "rb")) {
        char bytes[4096];
        block.assign(bytes, std::fread(bytes, 1, sizeof bytes, file));
        std::fclose(file);
    }
    return block;
}

// The calibration keys whose matrices a failed load left empty.
std::vector<std::string> emptyCalibrationKeys(StereoCamera& camera)
{
    static const char* const kNames[] = {"LeftIntrinsicMatrix",  "LeftDistortionCoefficients",  "LeftXi",
                                         "LeftRotation",         "Translation",
                                         "RightIntrinsicMatrix", "RightDistortionCoefficients", "RightXi",
                                         "RightRotation"};
    std::vector<cv::Mat> matrices;
    camera.getCalibParams(matrices, false);
    matrices.pop_back(); // the rectified camera matrix
    camera.getCalibParams(matrices, true);
    std::vector<std::string> names;
    for (std::size_t i = 0; i < std::size(kNames); ++i)
        if (matrices[i].empty())
            names.push_back(kNames[i]);
    return names;
}

// What keeps text that did not load from being a calibration file.
std::string loadProblem(StereoCamera& camera)
{
    const std::vector<std::string> names = emptyCalibrationKeys(camera);
    if (names.size() == 9)
        return "it holds no calibration parameters";
    if (names.empty())
        return "it does not load as a complete calibration file";
    std::string list;
    for (const std::string& name : names)
        list += (list.empty() ? "" : ", ") + name;
    return "these keys are missing or malformed: " + list;
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
    const std::string block = readBlock(path);
    cutBlockPadding(path);
    const bool loaded = loadCalibParams(path);
    if (!loaded && m_deviceLog)
        m_deviceLog->runTimeError("load tmp file failed, temp file permission error!\n");
    unlink(name);
    reportBlock(block, loaded);
    return loaded;
}

// Says early, in the device log, that the module's flash lost its calibration
// or holds a damaged one, and what is wrong with it.
void KorvaneCamera::reportBlock(const std::string& block, bool loaded)
{
    if (!m_deviceLog)
        return;
    std::string problem = korvane::calibrationBlockProblem(block);
    if (problem.empty() && !loaded)
        problem = loadProblem(*this);
    if (problem.empty())
        return;
    const char* format = "The calibration block in flash is not a valid calibration file: %s.\n";
    if (loaded)
        m_deviceLog->runTimeWarning(format, problem.c_str());
    else
        m_deviceLog->runTimeError(format, problem.c_str());
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
