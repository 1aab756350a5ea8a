// Rotation and transform matrices for mounting calculations.
#include "KorvaneCamera.h"

#include <cmath>

cv::Mat getRotationMatrix(int axis, float angle)
{
    const float c = std::cos(angle);
    const float s = std::sin(angle);
    switch (axis) {
    case 'x':
        return (cv::Mat_<float>(3, 3) << 1, 0, 0, 0, c, -s, 0, s, c);
    case 'y':
        return (cv::Mat_<float>(3, 3) << c, 0, s, 0, 1, 0, -s, 0, c);
    case 'z':
        return (cv::Mat_<float>(3, 3) << c, -s, 0, s, c, 0, 0, 0, 1);
    default:
        return cv::Mat();
    }
}

cv::Mat getTranslationMatrix(int axis, float angle, cv::Mat t)
{
    const cv::Mat rotation = getRotationMatrix(axis, angle);
    if (rotation.empty())
        return cv::Mat();
    cv::Mat translation = cv::Mat::zeros(1, 3, CV_64F);
    if (!t.empty()) {
        if (t.total() * t.channels() < 3 || t.depth() == CV_16F)
            return cv::Mat();
        t.reshape(1, 1).colRange(0, 3).convertTo(translation, CV_64F);
    }
    cv::Mat transform = cv::Mat::eye(4, 4, CV_32F);
    rotation.copyTo(transform(cv::Rect(0, 0, 3, 3)));
    for (int i = 0; i < 3; ++i)
        transform.at<float>(i, 3) = static_cast<float>(translation.at<double>(0, i));
    return transform;
}
