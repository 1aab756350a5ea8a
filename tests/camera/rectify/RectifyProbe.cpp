#include "RectifyProbe.h"

namespace korvane::test {

namespace {

// A video device number no machine here has: the camera stays closed.
constexpr int kAbsentDevice = 97;

} // namespace

RectifyProbe::RectifyProbe() : StereoCamera(kAbsentDevice)
{
}

void RectifyProbe::feed(const cv::Mat& left, const cv::Mat& right, std::chrono::microseconds stamp)
{
    m_left = left.clone();
    m_right = right.clone();
    m_stamp = stamp;
    m_fed = true;
}

bool RectifyProbe::getStereoFrame(cv::Mat& left, cv::Mat& right, std::chrono::microseconds& stamp)
{
    ++m_fetches;
    if (!m_fed)
        return false;
    left = m_left.clone();
    right = m_right.clone();
    stamp = m_stamp;
    return true;
}

void RectifyProbe::calibrate(const std::vector<cv::Mat>& left, const std::vector<cv::Mat>& right)
{
    setCalibParams(left, false);
    setCalibParams(right, true);
}

} // namespace korvane::test
