// Frame, rectification, disparity, depth and point-cloud operations whose
// workers are not built yet. Until they are, starting reports failure and
// every getter returns false at once, leaving its outputs untouched.
#include "StereoCamera.h"

bool StereoCamera::startCapture(bool, bool) { return false; }
bool StereoCamera::startStereoCompute() { return false; }

bool StereoCamera::getRawFrame(cv::Mat&, std::chrono::microseconds&) { return false; }
bool StereoCamera::getStereoFrame(cv::Mat&, cv::Mat&, std::chrono::microseconds&) { return false; }
bool StereoCamera::getDepthFrame(cv::Mat&, bool, std::chrono::microseconds&) { return false; }
bool StereoCamera::getDepthFrame(cv::Mat&, cv::Mat&) { return false; }
bool StereoCamera::getPointCloud(std::vector<cv::Vec3f>&, std::chrono::microseconds&) { return false; }
bool StereoCamera::getPointCloud(std::vector<PCL>&, std::chrono::microseconds&) { return false; }

// Clears the opened flag, which doubles as the capture worker's run flag, so
// that afterwards isOpened() is false; then joins the worker if there is one.
bool StereoCamera::stopCapture()
{
    m_opened = false;
    if (!m_captureThread)
        return true;
    m_captureThread->join();
    m_captureThread.reset();
    if (m_log)
        m_log->runTimeInfo("Stop get frame done.\n");
    return true;
}

bool StereoCamera::stopStereoCompute()
{
    m_computeRunning = false;
    if (!m_computeThread)
        return true;
    m_computeThread->join();
    m_computeThread.reset();
    if (m_log)
        m_log->runTimeInfo("Stop stereo compute done.\n");
    return true;
}
