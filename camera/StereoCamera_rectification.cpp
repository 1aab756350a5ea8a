// Rectification: intrinsic scaling and map building at capture start, and the
// rectified frames. Not built yet: the getters report failure at once.
#include "StereoCamera.h"

void StereoCamera::prepareRectification(float) {}

bool StereoCamera::getRectStereoFrame(cv::Mat&, cv::Mat&, cv::Mat&) { return false; }
bool StereoCamera::getRectStereoFrame(cv::Mat&, cv::Mat&) { return false; }
bool StereoCamera::getRectStereoFrame(cv::Mat&, cv::Mat&, cv::Mat&, std::chrono::microseconds&)
{
    return false;
}
