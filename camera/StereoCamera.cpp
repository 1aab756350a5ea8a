#include "StereoCamera.h"

#include "ModuleFrameSize.h"

#include <cstdio>
#include <iostream>
#include <new>

StereoCamera::StereoCamera() : StereoCamera(0)
{
}

StereoCamera::StereoCamera(int deviceNode)
{
    DeviceNode = deviceNode;
    LogLevel = 1;
    if (!createLog())
        return;
    openCapture(false);
}

StereoCamera::StereoCamera(std::string fileName)
{
    if (!loadConfig(fileName)) {
        // No log exists yet: the message goes to standard error.
        std::fprintf(stderr, "Load %s error!\n", fileName.c_str());
        m_log.reset();
        return;
    }
    if (!createLog())
        return;
    openCapture(true);
}

StereoCamera::~StereoCamera()
{
    m_opened = false;
    m_log.reset();
    m_capture.reset();
    m_captureThread.reset();
    m_computeThread.reset();
}

bool StereoCamera::createLog()
{
    m_log.reset(new (std::nothrow) SystemLog(m_logName));
    if (!m_log) {
        std::cerr << "Init Camera Log Error!" << std::endl;
        return false;
    }
    m_log->setLogLevel(LogLevel);
    return true;
}

// Creates the capture object on DeviceNode. The file constructor hands the
// configured size and rate to the device as they are, unchecked.
bool StereoCamera::openCapture(bool fromFile)
{
    try {
        m_capture.reset(new (std::nothrow) cv::VideoCapture(DeviceNode, cv::CAP_ANY));
    } catch (const std::exception&) {
        m_capture.reset(); // a backend that throws counts as no capture object
    }
    if (!m_capture) {
        if (fromFile)
            m_log->runTimeError("Init camera object error!\n");
        else
            m_log->runTimeError("Init Camera %d Error!\n", DeviceNode);
        m_log.reset();
        return false;
    }
    if (fromFile) {
        const cv::Size size = rawFrameSize();
        m_capture->set(cv::CAP_PROP_FRAME_WIDTH, size.width);
        m_capture->set(cv::CAP_PROP_FRAME_HEIGHT, size.height);
        m_capture->set(cv::CAP_PROP_FPS, m_frameRate);
    }
    if (m_capture->isOpened())
        m_opened = true;
    return true;
}

bool StereoCamera::isOpened() { return m_opened; }

bool StereoCamera::setLogLevel(int level)
{
    LogLevel = level;
    return level >= 0;
}

bool StereoCamera::setPosNumber(int posNumber)
{
    m_posNumber = posNumber;
    return true;
}

bool StereoCamera::setSerialNumber(int serialNumber)
{
    m_serialNumber = serialNumber;
    return true;
}

bool StereoCamera::setRawFrameRate(int fps)
{
    m_frameRate = static_cast<float>(fps);
    if (!m_capture)
        return false;
    m_capture->set(cv::CAP_PROP_FPS, fps);
    return true;
}

bool StereoCamera::setRawFrameSize(cv::Size size)
{
    const bool accepted = korvane::isModuleFrameSize(size);
    if (!accepted) {
        if (m_log)
            m_log->runTimeError("Image size must be 1856×800 or 928×400!\n");
        return false;
    }
    {
        korvane::GuardedMutex::Lock lock(m_settingsMutex);
        FrameSize = size;
    }
    if (!m_capture)
        return false;
    m_capture->set(cv::CAP_PROP_FRAME_WIDTH, size.width);
    m_capture->set(cv::CAP_PROP_FRAME_HEIGHT, size.height);
    m_fisheyeRadius = size.width >> 2;
    return true;
}

bool StereoCamera::setRectFrameSize(cv::Size size)
{
    RectifyFrameSize = size;
    return size.width != 0;
}

int StereoCamera::getLogLevel() { return LogLevel; }
int StereoCamera::getDeviceNode() { return DeviceNode; }
int StereoCamera::getPosNumber() { return m_posNumber; }
int StereoCamera::getSerialNumber() { return m_serialNumber; }
float StereoCamera::getRawFrameRate() { return m_frameRate; }
cv::Size StereoCamera::getRawFrameSize() { return rawFrameSize(); }

cv::Size StereoCamera::rawFrameSize() const
{
    korvane::GuardedMutex::Lock lock(m_settingsMutex);
    return FrameSize;
}

bool StereoCamera::setMatchingAlgorithm(int algorithm)
{
    if (m_captureThread || (algorithm != kSemiGlobalMatching && algorithm != kBlockMatching))
        return false;
    Algorithm = algorithm;
    return true;
}

int StereoCamera::getMatchingAlgorithm() const { return Algorithm; }

bool StereoCamera::setDepthMode(int mode)
{
    if (m_captureThread || (mode != kLonLatView && mode != kPerspectiveView))
        return false;
    Depthmode = mode;
    return true;
}

int StereoCamera::getDepthMode() const { return Depthmode; }

bool StereoCamera::setFieldOfView(double degrees)
{
    if (m_captureThread || !(degrees >= kMinFieldOfView && degrees <= kMaxFieldOfView))
        return false;
    hFov = degrees;
    return true;
}

double StereoCamera::getFieldOfView() const { return hFov; }

cv::Size StereoCamera::getRectFrameSize() const { return RectifyFrameSize; }
