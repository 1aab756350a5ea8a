#include <gtest/gtest.h>

#include <vector>

#include "PerPixelRectify.h"
#include "camera/StereoCamera.h"

using namespace korvane::test;

namespace {

cv::Mat noiseImage(cv::Size size, int type, unsigned seed)
{
    cv::Mat image(size, type);
    cv::RNG rng(seed);
    rng.fill(image, cv::RNG::UNIFORM, 1, 255);
    return image;
}

bool identical(const cv::Mat& a, const cv::Mat& b)
{
    return a.size() == b.size() && a.type() == b.type() &&
           cv::norm(a.reshape(1), b.reshape(1), cv::NORM_INF) == 0.0;
}

struct MaskCase
{
    cv::Size size;
    int type;
};

const std::vector<MaskCase> kMaskCases = {
    {{464, 400}, CV_8UC3}, {{928, 800}, CV_8UC3}, {{201, 151}, CV_8UC3}, {{33, 17}, CV_8UC3},
    {{1, 1}, CV_8UC3},     {{2, 3}, CV_8UC3},     {{64, 48}, CV_8UC1},   {{40, 30}, CV_16UC3},
};

// Radii relative to the image: none, below half the height, at it, above it,
// at half the width, beyond the image, and a negative one (its square counts).
std::vector<int> radiiFor(cv::Size size)
{
    const int halfHeight = size.height / 2;
    return {0, 1, halfHeight / 2, std::max(halfHeight - 3, 0), halfHeight, halfHeight + 1,
            halfHeight + 20, size.width / 2, size.width + size.height, -halfHeight};
}

void expectCircleMatchesRule(cv::Size size, int type, int radius)
{
    cv::Mat left = noiseImage(size, type, 1);
    cv::Mat right = noiseImage(size, type, 2);
    cv::Mat expectedLeft = left.clone();
    cv::Mat expectedRight = right.clone();
    perPixelCircleMask(radius, expectedLeft, expectedRight);
    convertRawFisheyeImage(radius, left, right);
    EXPECT_TRUE(identical(left, expectedLeft)) << size << " radius " << radius;
    EXPECT_TRUE(identical(right, expectedRight)) << size << " radius " << radius;
}

cv::Mat white(cv::Size size)
{
    return cv::Mat(size, CV_8UC3, cv::Scalar::all(255));
}

} // namespace

TEST(CircleMask, EqualsThePerPixelRuleForEverySizeAndRadius)
{
    for (const MaskCase& c : kMaskCases)
        for (int radius : radiiFor(c.size))
            expectCircleMatchesRule(c.size, c.type, radius);
}

TEST(CircleMask, SpansFollowChangesOfSizeAndRadius)
{
    for (int round = 0; round < 3; ++round) {
        expectCircleMatchesRule({464, 400}, CV_8UC3, 232);
        expectCircleMatchesRule({464, 400}, CV_8UC3, 150);
        expectCircleMatchesRule({300, 200}, CV_8UC3, 232);
        expectCircleMatchesRule({928, 800}, CV_8UC3, 464);
    }
    for (int radius = 0; radius < 40; ++radius) // more entries than the span cache keeps
        expectCircleMatchesRule({50, 40}, CV_8UC3, radius);
}

TEST(CircleMask, RadiusAboveHalfTheHeightKeepsPartOfEveryRow)
{
    cv::Mat left = white({464, 400});
    cv::Mat right = white({464, 400});
    convertRawFisheyeImage(232, left, right);
    for (int i = 0; i < left.rows; ++i) {
        cv::Mat row;
        cv::extractChannel(left.row(i), row, 0);
        EXPECT_GT(cv::countNonZero(row), 0) << "row " << i;
        if (i != left.rows / 2) { // only the centre row reaches both edges
            EXPECT_LT(cv::countNonZero(row), left.cols) << "row " << i;
        }
    }
    EXPECT_TRUE(identical(left, right));
}

TEST(CircleMask, RadiusZeroKeepsOnlyTheCentrePixel)
{
    cv::Mat left = white({464, 400});
    cv::Mat right = white({464, 400});
    convertRawFisheyeImage(0, left, right);
    cv::Mat grey;
    cv::extractChannel(left, grey, 0);
    EXPECT_EQ(cv::countNonZero(grey), 1);
    EXPECT_EQ(left.at<cv::Vec3b>(200, 232), cv::Vec3b(255, 255, 255));
    EXPECT_EQ(right.at<cv::Vec3b>(200, 232), cv::Vec3b(255, 255, 255));
    EXPECT_EQ(right.at<cv::Vec3b>(200, 233), cv::Vec3b(0, 0, 0));
}

TEST(CircleMask, RadiusSmallerThanHalfTheHeightBlacksOutTopAndBottomRows)
{
    cv::Mat left = white({464, 400});
    cv::Mat right = white({464, 400});
    convertRawFisheyeImage(150, left, right);
    EXPECT_EQ(cv::countNonZero(left.row(49).reshape(1)), 0);   // 151 rows above the centre row
    EXPECT_GT(cv::countNonZero(left.row(50).reshape(1)), 0);   // 150 rows above: the top of the circle
    EXPECT_EQ(left.at<cv::Vec3b>(50, 232), cv::Vec3b(255, 255, 255));
    EXPECT_EQ(left.at<cv::Vec3b>(50, 231), cv::Vec3b(0, 0, 0));
    EXPECT_EQ(cv::countNonZero(left.row(351).reshape(1)), 0);
}

TEST(CircleMask, LeavesImagesOfDifferentSizesOrEmptyOnesAlone)
{
    cv::Mat left = noiseImage({64, 48}, CV_8UC3, 3);
    cv::Mat right = noiseImage({48, 64}, CV_8UC3, 4);
    const cv::Mat leftBefore = left.clone();
    const cv::Mat rightBefore = right.clone();
    convertRawFisheyeImage(10, left, right);
    EXPECT_TRUE(identical(left, leftBefore));
    EXPECT_TRUE(identical(right, rightBefore));

    cv::Mat empty;
    convertRawFisheyeImage(10, left, empty);
    EXPECT_TRUE(identical(left, leftBefore));
    EXPECT_TRUE(empty.empty());
}

TEST(CircleMask, MasksRegionsOfLargerImagesInPlace)
{
    cv::Mat frame = noiseImage({128, 60}, CV_8UC3, 5);
    cv::Mat expected = frame.clone();
    cv::Mat left = frame.colRange(0, 64);
    cv::Mat right = frame.colRange(64, 128);
    cv::Mat expectedLeft = expected.colRange(0, 64);
    cv::Mat expectedRight = expected.colRange(64, 128);
    perPixelCircleMask(25, expectedLeft, expectedRight);
    convertRawFisheyeImage(25, left, right);
    EXPECT_TRUE(identical(frame, expected));
}

TEST(EllipseMask, EqualsThePerPixelRuleForEverySizeAndShape)
{
    struct Shape
    {
        float a, b, c, d;
    };
    const std::vector<Shape> shapes = {
        {0, 0, 0, 0},        {-20, 10, 5, -3},      {30.5f, -100.25f, 17.3f, 9.9f}, {0, 0, 1000, 0},
        {0, 0, -0.5f, 0.5f}, {5000, 5000, 0, 0},    {-1e6f, 3, 0, 0},               {0.25f, 0.75f, 0.4f, -0.6f},
    };
    for (const MaskCase& c : kMaskCases)
        for (const Shape& s : shapes) {
            cv::Mat left = noiseImage(c.size, c.type, 6);
            cv::Mat right = noiseImage(c.size, c.type, 7);
            cv::Mat expectedLeft = left.clone();
            cv::Mat expectedRight = right.clone();
            perPixelEllipseMask(expectedLeft, expectedRight, s.a, s.b, s.c, s.d);
            convertRawFisheyeImage(left, right, s.a, s.b, s.c, s.d);
            EXPECT_TRUE(identical(left, expectedLeft)) << c.size << " " << s.a << " " << s.b;
            EXPECT_TRUE(identical(right, expectedRight)) << c.size << " " << s.a << " " << s.b;
        }
}

TEST(EllipseMask, DegenerateAxesFollowTheRuleToo)
{
    // A = 0 and B = 0 give infinite and undefined terms in the rule; the
    // result must still be the rule's, pixel for pixel.
    const cv::Size size(41, 31);
    const float shapes[][4] = {{-15, 0, 0, 0}, {0, -20, 0, 0}, {-15, -20, 0, 0}, {-15, 0, 0.5f, 0}};
    for (const auto& s : shapes) {
        cv::Mat left = noiseImage(size, CV_8UC3, 8);
        cv::Mat right = noiseImage(size, CV_8UC3, 9);
        cv::Mat expectedLeft = left.clone();
        cv::Mat expectedRight = right.clone();
        perPixelEllipseMask(expectedLeft, expectedRight, s[0], s[1], s[2], s[3]);
        convertRawFisheyeImage(left, right, s[0], s[1], s[2], s[3]);
        EXPECT_TRUE(identical(left, expectedLeft)) << s[0] << " " << s[1] << " " << s[2];
        EXPECT_TRUE(identical(right, expectedRight)) << s[0] << " " << s[1] << " " << s[2];
    }
}

TEST(EllipseMask, KeepsAPointOnTheEllipse)
{
    cv::Mat left = white({200, 100});
    cv::Mat right = white({200, 100});
    convertRawFisheyeImage(left, right, 0, 0, 0, 0); // A = 50, B = 100, centre (100, 50)
    EXPECT_EQ(left.at<cv::Vec3b>(0, 100), cv::Vec3b(255, 255, 255)); // exactly 1
    EXPECT_EQ(left.at<cv::Vec3b>(0, 99), cv::Vec3b(0, 0, 0));
    EXPECT_EQ(right.at<cv::Vec3b>(50, 0), cv::Vec3b(255, 255, 255)); // exactly 1
    EXPECT_EQ(right.at<cv::Vec3b>(49, 0), cv::Vec3b(0, 0, 0));
}
