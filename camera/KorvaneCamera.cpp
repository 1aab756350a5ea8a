#include "KorvaneCamera.h"

#include "ModuleFrameSize.h"

#include "CalibrationBlock.h"

#include <cstdio>
#include <new>

#include <unistd.h>

#include "Extension_Unit_Class/camera_api.h"

namespace {

constexpr int kModuleFrameRate = 30;

using korvane::CalibrationFormat;

// The calibration block as the flash read left it in the file at path; empty
// when the file cannot be read.
std::string readBlock(const std::string& path)
{
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file)
        return {};
    std::string block(CalibrationFormat::kBlockSize, '\0');
    block.resize(std::fread(block.data(), 1, block.size(), file));
    std::fclose(file);
    return block;
}

// The block holds the calibration file followed by zero bytes, and the
// settings parser refuses text with NUL bytes in it: cut the file at its
// first zero byte. A file that could not be read is left for the parser to
// report.
void cutBlockPadding(const std::string& path, const std::string& block)
{
    const std::size_t fileLength = korvane::calibrationFileLength(block.data(), block.size());
    if (fileLength >= block.size())
        return;
    // A cut that fails leaves the padding in, for the parser to report.
    [[maybe_unused]] const int cut = truncate(path.c_str(), static_cast<off_t>(fileLength));
}

} // namespace

KorvaneCamera::KorvaneCamera() : StereoCamera()
{
    prepareDevice(1);
    setRawFrameSize(korvane::kFullModuleFrame);
    setRawFrameRate(kModuleFrameRate);
}

KorvaneCamera::KorvaneCamera(int deviceNode) : StereoCamera(deviceNode)
{
    prepareDevice(1);
    setRawFrameSize(korvane::kFullModuleFrame);
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
    cutBlockPadding(path, block);
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
        problem = loadProblem();
    if (problem.empty())
        return;
    const char* format = "The calibration block in flash is not a valid calibration file: %s.\n";
    if (loaded)
        m_deviceLog->runTimeWarning(format, problem.c_str());
    else
        m_deviceLog->runTimeError(format, problem.c_str());
}

// What keeps text that did not load from being a calibration file: the keys
// whose matrices the load left empty, in the loader's order.
std::string KorvaneCamera::loadProblem()
{
    std::string emptyKeys;
    std::size_t matrices = 0;
    std::size_t empty = 0;
    for (const CalibrationFormat::Entry* entry : CalibrationFormat::readOrder()) {
        const cv::Mat* matrix = calibrationMatrix(entry->item);
        if (!matrix)
            continue;
        ++matrices;
        if (matrix->empty()) {
            ++empty;
            emptyKeys += (emptyKeys.empty() ? "" : ", ") + std::string(entry->key);
        }
    }
    if (empty == matrices)
        return "it holds no calibration parameters";
    if (empty == 0)
        return "it does not load as a complete calibration file";
    return "these keys are missing or malformed: " + emptyKeys;
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
