// The worker's matcher, used on its own: what one match of a pair gives.
#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "camera/DisparityMatcher.h"

using korvane::DisparityMatcher;

namespace {

// A textured left image and the right image the same scene gives when every
// point lies `shift` pixels further left in the right eye.
void shiftedPair(int shift, cv::Mat& left, cv::Mat& right)
{
    cv::Mat texture(240, 320 + shift, CV_8UC3);
    cv::RNG rng(7);
    rng.fill(texture, cv::RNG::UNIFORM, 0, 255);
    cv::GaussianBlur(texture, texture, cv::Size(3, 3), 0);
    left = texture(cv::Rect(0, 0, 320, 240)).clone();
    right = texture(cv::Rect(shift, 0, 320, 240)).clone();
}

// Median of the disparities the matcher was sure of (positive ones).
float medianValid(const cv::Mat& disparity)
{
    std::vector<float> values;
    for (int r = 0; r < disparity.rows; ++r)
        for (int c = 0; c < disparity.cols; ++c)
            if (disparity.at<float>(r, c) > 0)
                values.push_back(disparity.at<float>(r, c));
    if (values.empty())
        return -1;
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

} // namespace

TEST(DisparityMatcher, BothAlgorithmsFindTheShiftInPixels)
{
    cv::Mat left, right;
    shiftedPair(12, left, right);
    for (int algorithm : {DisparityMatcher::kSemiGlobal, DisparityMatcher::kBlock}) {
        SCOPED_TRACE(algorithm);
        DisparityMatcher matcher(algorithm);
        ASSERT_TRUE(matcher.hasMatcher());
        const cv::Mat disparity = matcher.match(left, right);
        ASSERT_EQ(disparity.type(), CV_32FC1);
        ASSERT_EQ(disparity.size(), left.size());
        EXPECT_NEAR(medianValid(disparity), 12.0f, 0.5f);
    }
}

TEST(DisparityMatcher, AnAlgorithmThatNamesNoMatcherGivesAnEmptyDisparity)
{
    cv::Mat left, right;
    shiftedPair(4, left, right);
    for (int algorithm : {-1, 2, 7}) {
        DisparityMatcher matcher(algorithm);
        EXPECT_FALSE(matcher.hasMatcher());
        EXPECT_TRUE(DisparityMatcher::create(algorithm).empty());
        EXPECT_TRUE(matcher.match(left, right).empty());
    }
}

TEST(DisparityMatcher, PairsOfOtherTypesOrTwoSizesAreRefusedWithoutMatching)
{
    cv::Mat left, right;
    shiftedPair(4, left, right);
    DisparityMatcher matcher(DisparityMatcher::kSemiGlobal);
    cv::Mat grey;
    cv::cvtColor(left, grey, cv::COLOR_BGR2GRAY);
    EXPECT_TRUE(matcher.match(grey, right).empty());
    EXPECT_TRUE(matcher.match(left, right(cv::Rect(0, 0, 300, 240))).empty());
    EXPECT_TRUE(matcher.match(cv::Mat(), cv::Mat()).empty());
    EXPECT_FALSE(matcher.match(left, right).empty());
}
