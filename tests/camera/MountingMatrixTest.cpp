#include <cmath>

#include <gtest/gtest.h>

#include "CameraTestSupport.h"
#include "camera/KorvaneCamera.h"

using korvane::test::sameMatrix;

TEST(MountingMatrix, RotationAboutEachAxis)
{
    const float a = 0.3f;
    const float c = std::cos(a);
    const float s = std::sin(a);
    EXPECT_TRUE(sameMatrix(getRotationMatrix('x', a), (cv::Mat_<float>(3, 3) << 1, 0, 0, 0, c, -s, 0, s, c)));
    EXPECT_TRUE(sameMatrix(getRotationMatrix('y', a), (cv::Mat_<float>(3, 3) << c, 0, s, 0, 1, 0, -s, 0, c)));
    EXPECT_TRUE(sameMatrix(getRotationMatrix(122, a), (cv::Mat_<float>(3, 3) << c, -s, 0, s, c, 0, 0, 0, 1)));
}

TEST(MountingMatrix, OtherAxisCodesGiveEmptyMatrices)
{
    EXPECT_TRUE(getRotationMatrix('q', 1.0f).empty());
    EXPECT_TRUE(getRotationMatrix('X', 1.0f).empty());
    EXPECT_TRUE(getTranslationMatrix('q', 1.0f, cv::Mat()).empty());
}

TEST(MountingMatrix, TransformHoldsRotationTranslationAndLastRow)
{
    const cv::Mat t = (cv::Mat_<double>(1, 3) << 10.5, -2, 3);
    const cv::Mat m = getTranslationMatrix('z', 0.5f, t);
    ASSERT_EQ(m.size(), cv::Size(4, 4));
    ASSERT_EQ(m.type(), CV_32F);
    EXPECT_TRUE(sameMatrix(m(cv::Rect(0, 0, 3, 3)).clone(), getRotationMatrix('z', 0.5f)));
    EXPECT_TRUE(sameMatrix(m.col(3).clone(), (cv::Mat_<float>(4, 1) << 10.5f, -2, 3, 1)));
    EXPECT_TRUE(sameMatrix(m.row(3).clone(), (cv::Mat_<float>(1, 4) << 0, 0, 0, 1)));
}

TEST(MountingMatrix, EmptyTranslationGivesZeros)
{
    const cv::Mat m = getTranslationMatrix('x', 0.0f, cv::Mat());
    EXPECT_TRUE(sameMatrix(m, cv::Mat::eye(4, 4, CV_32F)));
}

TEST(MountingMatrix, TooShortTranslationGivesAnEmptyMatrix)
{
    EXPECT_TRUE(getTranslationMatrix('x', 0.0f, (cv::Mat_<double>(1, 2) << 1, 2)).empty());
}
