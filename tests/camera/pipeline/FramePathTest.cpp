// The per-frame path outside matching: the one-pass split and mask, and the
// remaps through fixed-point maps, each against the plain way on frames of
// the synthetic module.
#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "CameraTestSupport.h"
#include "emulator/synthetic/SyntheticStereoModule.h"

using namespace korvane::test;
using std::chrono::microseconds;

namespace {

// Frame 0 of the synthetic module at 1856 x 800, rendered once.
const cv::Mat& syntheticFrame()
{
    static const cv::Mat frame = korvane::synthetic::SyntheticStereoModule(cv::Size(1856, 800)).renderFrame(0);
    return frame;
}

// Copies of the two halves, then the circular mask.
void splitThenMask(int radius, const cv::Mat& frame, cv::Mat& left, cv::Mat& right)
{
    const int half = frame.cols / 2;
    left = frame(cv::Rect(0, 0, half, frame.rows)).clone();
    right = frame(cv::Rect(half, 0, half, frame.rows)).clone();
    convertRawFisheyeImage(radius, left, right);
}

// The synthetic module's camera, fed the masked halves of its frame 0.
class SyntheticCamera : public Probe
{
public:
    SyntheticCamera(cv::Size rect, int depthMode) : Probe(kAbsentDevice)
    {
        if (m_log)
            m_log->setLogLevel(-1);
        const korvane::synthetic::SyntheticStereoModule module(cv::Size(1856, 800));
        setRawFrameSize(cv::Size(1856, 800));
        setRectFrameSize(rect);
        setCalibParams(module.rig().calibParams(false), false);
        setCalibParams(module.rig().calibParams(true), true);
        Depthmode = depthMode;
        splitThenMask(1856 >> 2, syntheticFrame(), m_left, m_right);
        prepareRectification(1.0f);
    }

    bool getStereoFrame(cv::Mat& left, cv::Mat& right, microseconds& stamp) override
    {
        left = m_left.clone();
        right = m_right.clone();
        stamp = microseconds(1);
        return true;
    }

    cv::Mat plainRemap(bool rightEye, bool lonLat) const
    {
        const cv::Mat* maps = m_rectifier.maps(view(lonLat), rightEye);
        cv::Mat out;
        cv::remap(rightEye ? m_right : m_left, out, maps[0], maps[1], cv::INTER_LINEAR, cv::BORDER_CONSTANT,
                  cv::Scalar());
        return out;
    }

    // Whether every remap of the frame paths goes through the fixed-point maps.
    bool fixedMapsInUse() const { return m_rectifier.fixedFormsInUse(); }

    // Whether every fixed-point pair holds what cv::convertMaps gives for
    // its float maps as a whole.
    bool fixedMapsAreTheWholeMapConversion() const
    {
        for (int eye = 0; eye < 2; ++eye)
            for (bool lonLat : {false, true}) {
                const cv::Mat* maps = m_rectifier.maps(view(lonLat), eye);
                const korvane::FixedPointMaps& fixed = m_rectifier.fixedMaps(view(lonLat), eye);
                cv::Mat positions, fractions;
                cv::convertMaps(maps[0], maps[1], positions, fractions, CV_16SC2);
                if (!sameMatrix(fixed.positions, positions) || !sameMatrix(fixed.fractions, fractions))
                    return false;
            }
        return true;
    }

    const cv::Mat* perspectiveMaps(int eye) const { return m_rectifier.maps(view(false), eye); }
    // Replaces one eye's perspective maps after they were built.
    void replacePerspectiveMaps(int eye, const cv::Mat& mapX, const cv::Mat& mapY)
    {
        m_rectifier.setMaps(korvane::StereoRectifier::kPerspective, eye, mapX, mapY);
    }

private:
    static korvane::StereoRectifier::View view(bool lonLat)
    {
        return lonLat ? korvane::StereoRectifier::kLonLat : korvane::StereoRectifier::kPerspective;
    }

    cv::Mat m_left, m_right;
};

} // namespace

TEST(FramePath, OnePassSplitAndMaskGivesThePixelsOfCopyingThenMasking)
{
    cv::Mat noise(37, 2 * 45 + 1, CV_8UC3); // odd width: the last column belongs to neither half
    cv::randu(noise, 0, 256);
    const struct
    {
        const cv::Mat* frame;
        int radius;
    } cases[] = {{&syntheticFrame(), 464}, {&noise, 0}, {&noise, 11}, {&noise, 22}, {&noise, 200}, {&noise, -3}};
    for (const auto& c : cases) {
        cv::Mat expectedLeft, expectedRight, left, right;
        splitThenMask(c.radius, *c.frame, expectedLeft, expectedRight);
        korvane::splitRawFisheyeFrame(c.radius, *c.frame, left, right);
        EXPECT_TRUE(sameMatrix(left, expectedLeft)) << "radius " << c.radius;
        EXPECT_TRUE(sameMatrix(right, expectedRight)) << "radius " << c.radius;
    }
}

TEST(FramePath, OnePassSplitLeavesImagesSharedWithOthersAlone)
{
    const cv::Mat& frame = syntheticFrame();
    cv::Mat left(frame.rows, frame.cols / 2, CV_8UC3, cv::Scalar(1, 2, 3));
    cv::Mat right = left.clone();
    const cv::Mat keptLeft = left;
    const cv::Mat keptRight = right;
    korvane::splitRawFisheyeFrame(464, frame, left, right);
    EXPECT_NE(left.data, keptLeft.data);
    EXPECT_NE(right.data, keptRight.data);
    EXPECT_EQ(cv::countNonZero(keptLeft.reshape(1) != 0), keptLeft.total() * 3);
}

class FixedPointRemap : public ::testing::TestWithParam<std::tuple<cv::Size, int>>
{
};

TEST_P(FixedPointRemap, RectifiedFramesEqualThoseOfTheFloatMaps)
{
    const cv::Size rect = std::get<0>(GetParam());
    const int depthMode = std::get<1>(GetParam());
    SyntheticCamera camera(rect, depthMode);
    ASSERT_EQ(camera.perspectiveMaps(0)[0].type(), CV_32FC1);
    ASSERT_TRUE(camera.fixedMapsInUse());
    EXPECT_TRUE(camera.fixedMapsAreTheWholeMapConversion());
    cv::Mat left, right, centre;
    microseconds stamp{0};
    ASSERT_TRUE(camera.getRectStereoFrame(left, right, centre, stamp));
    EXPECT_TRUE(sameMatrix(centre, camera.plainRemap(false, false)));
    EXPECT_TRUE(sameMatrix(left, camera.plainRemap(false, depthMode == 1)));
    EXPECT_TRUE(sameMatrix(right, camera.plainRemap(true, depthMode == 1)));
    // Something was seen: the comparison is not one of black images.
    EXPECT_GT(cv::countNonZero(right.reshape(1)), static_cast<int>(right.total()));

    ASSERT_TRUE(camera.getRectStereoFrame(left, right));
    EXPECT_TRUE(sameMatrix(left, camera.plainRemap(false, false)));
    EXPECT_TRUE(sameMatrix(right, camera.plainRemap(true, false)));
}

TEST(FixedPointRemapFallback, MapsReplacedAfterBuildingAreUsedAsTheyAre)
{
    SyntheticCamera camera(cv::Size(464, 400), 2);
    // Every pixel from the raw centre: the fixed form of the old maps must not be used.
    for (int eye = 0; eye < 2; ++eye)
        camera.replacePerspectiveMaps(eye, cv::Mat(400, 464, CV_32FC1, cv::Scalar(232.0f)),
                                      cv::Mat(400, 464, CV_32FC1, cv::Scalar(400.0f)));
    cv::Mat left, right, centre;
    microseconds stamp{0};
    ASSERT_TRUE(camera.getRectStereoFrame(left, right, centre, stamp));
    EXPECT_TRUE(sameMatrix(centre, camera.plainRemap(false, false)));
    EXPECT_TRUE(sameMatrix(right, camera.plainRemap(true, false)));
}

INSTANTIATE_TEST_SUITE_P(SizesAndModes, FixedPointRemap,
                         ::testing::Combine(::testing::Values(cv::Size(464, 400), cv::Size(640, 480),
                                                              cv::Size(928, 800)),
                                            ::testing::Values(1, 2)));
