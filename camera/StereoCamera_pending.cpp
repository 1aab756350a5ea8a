// Disparity, depth and point-cloud operations whose worker is not built yet.
// Until it is, starting reports failure and every getter returns false at
// once, leaving its outputs untouched.
#include "StereoCamera.h"

bool StereoCamera::startStereoCompute() { return false; }

bool StereoCamera::getDepthFrame(cv::Mat&, bool, std::chrono::microseconds&) { return false; }
bool StereoCamera::getDepthFrame(cv::Mat&, cv::Mat&) { return false; }
bool StereoCamera::getPointCloud(std::vector<cv::Vec3f>&, std::chrono::microseconds&) { return false; }
bool StereoCamera::getPointCloud(std::vector<PCL>&, std::chrono::microseconds&) { return false; }

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
