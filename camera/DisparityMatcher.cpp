#include "DisparityMatcher.h"

#include <opencv2/imgproc.hpp>

namespace korvane {

DisparityMatcher::DisparityMatcher(int algorithm) : m_algorithm(algorithm), m_matcher(create(algorithm)) {}

cv::Ptr<cv::StereoMatcher> DisparityMatcher::create(int algorithm)
{
    if (algorithm == kSemiGlobal) {
        // The zeros are deliberate and differ from the library's defaults.
        return cv::StereoSGBM::create(0, 32, 9, 8 * 3 * 9 * 9, 32 * 3 * 9 * 9, 0, 0, 0, 0, 0,
                                      cv::StereoSGBM::MODE_SGBM);
    }
    if (algorithm == kBlock) {
        cv::Ptr<cv::StereoBM> bm = cv::StereoBM::create(32, 9);
        bm->setPreFilterCap(31);
        bm->setMinDisparity(0);
        bm->setTextureThreshold(10);
        bm->setUniquenessRatio(15);
        bm->setSpeckleWindowSize(100);
        bm->setSpeckleRange(32);
        bm->setDisp12MaxDiff(1);
        return bm;
    }
    return nullptr;
}

cv::Mat DisparityMatcher::match(const cv::Mat& left, const cv::Mat& right)
{
    if (!m_matcher || left.empty() || left.type() != CV_8UC3 || right.type() != CV_8UC3 ||
        left.size() != right.size())
        return cv::Mat();
    cv::Mat raw;
    if (m_algorithm == kBlock) {
        cv::Mat greyLeft, greyRight;
        cv::cvtColor(left, greyLeft, cv::COLOR_BGR2GRAY);
        cv::cvtColor(right, greyRight, cv::COLOR_BGR2GRAY);
        m_matcher->compute(greyLeft, greyRight, raw);
    } else {
        m_matcher->compute(left, right, raw);
    }
    cv::Mat disparity;
    raw.convertTo(disparity, CV_32F, 0.0625, 0); // 16-bit fixed point, four fractional bits
    return disparity;
}

} // namespace korvane
