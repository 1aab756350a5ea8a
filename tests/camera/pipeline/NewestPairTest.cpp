// With several pairs in flight, a lane that comes free takes the newest raw
// pair that no lane has taken while it is fresh (younger than half a frame
// period) instead of waiting for the next one. The decision on its own, then
// the worker on raw pairs published as the capture worker publishes them.
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

#include "CameraTestSupport.h"
#include "camera/DisparityMatcher.h"
#include "emulator/synthetic/SyntheticStereoModule.h"

using namespace korvane::test;
using std::chrono::microseconds;
using std::chrono::milliseconds;

namespace {

constexpr auto kPatience = std::chrono::seconds(30); // bound of every wait here
const cv::Size kRawSize(928, 400);
const cv::Size kRectSize(160, 120);

// The synthetic module's camera at 928 x 400 with its maps built, in the
// perspective view with SGBM. The test publishes the raw pairs itself,
// through the capture worker's publication.
class PublishingCamera : public Probe
{
public:
    PublishingCamera() : Probe(kAbsentDevice)
    {
        if (m_log)
            m_log->setLogLevel(-1);
        const korvane::synthetic::SyntheticStereoModule module(kRawSize);
        setRawFrameSize(kRawSize);
        setRectFrameSize(kRectSize);
        setCalibParams(module.rig().calibParams(false), false);
        setCalibParams(module.rig().calibParams(true), true);
        Depthmode = 2;
        Algorithm = 0;
        prepareRectification(0.5f);
        for (int n = 0; n < 4; ++n) {
            cv::Mat left, right;
            korvane::splitRawFisheyeFrame(kRawSize.width >> 2, module.renderFrame(n), left, right);
            m_pairs[n][0] = left;
            m_pairs[n][1] = right;
        }
        m_rawFrames.open(); // getStereoFrame waits for publications
    }

    ~PublishingCamera() override
    {
        endCapture();
        stopStereoCompute();
    }

    // Publishes pair n (a fresh copy) and returns its time stamp.
    microseconds publish(int n)
    {
        publishRawPair(m_pairs[n][0].clone(), m_pairs[n][1].clone());
        return m_rawFrames.newest().timeStamp;
    }

    // What one SGBM matcher with the worker's settings makes of pair n.
    cv::Mat oneMatcherDisparity(int n) const
    {
        cv::Mat left, right;
        const cv::Mat* leftMaps = m_rectifier.maps(korvane::StereoRectifier::kPerspective, 0);
        const cv::Mat* rightMaps = m_rectifier.maps(korvane::StereoRectifier::kPerspective, 1);
        cv::remap(m_pairs[n][0], left, leftMaps[0], leftMaps[1], cv::INTER_LINEAR,
                  cv::BORDER_CONSTANT, cv::Scalar());
        cv::remap(m_pairs[n][1], right, rightMaps[0], rightMaps[1], cv::INTER_LINEAR,
                  cv::BORDER_CONSTANT, cv::Scalar());
        return korvane::DisparityMatcher(korvane::DisparityMatcher::kSemiGlobal).match(left, right);
    }

    // The publication after the `taken` ones, within the patience.
    bool disparityNumber(std::uint64_t taken, cv::Mat& disparity, microseconds& stamp)
    {
        std::uint64_t number = 0;
        const bool read = m_disparityFrames.readAfter(taken, kPatience, [&](const TimeFrame& newest, std::uint64_t n) {
            disparity = newest.right.clone();
            stamp = newest.timeStamp;
            number = n;
        });
        return read && number == taken + 1;
    }

    // Lanes waiting for a raw pair give up, as when capture stops.
    void endCapture()
    {
        m_rawFrames.close();
    }

    std::uint64_t fetched() const { return m_fetchTicket; }

    using StereoCamera::takesNewestRawPair;

private:
    cv::Mat m_pairs[4][2];
};

microseconds us(long long value)
{
    return microseconds(value);
}

// Publishes pairs 0 and 1 `period` apart, so that the worker sees that frame period.
microseconds publishTwo(PublishingCamera& camera, milliseconds period)
{
    camera.publish(0);
    std::this_thread::sleep_for(period);
    return camera.publish(1);
}

} // namespace

TEST(PairsInFlightNewestPair, TakenWhenNoLaneHasItAndItIsYoungerThanHalfAPeriod)
{
    const microseconds period = us(33333);
    const microseconds newest = us(5000000);
    // Untaken and fresh, up to half the period.
    EXPECT_TRUE(PublishingCamera::takesNewestRawPair(newest, us(4966667), period, newest));
    EXPECT_TRUE(PublishingCamera::takesNewestRawPair(newest, us(4966667), period, newest + us(16666)));
    EXPECT_FALSE(PublishingCamera::takesNewestRawPair(newest, us(4966667), period, newest + us(16667)));
    // Taken already by a lane (or an older pair than the last taken).
    EXPECT_FALSE(PublishingCamera::takesNewestRawPair(newest, newest, period, newest + us(1)));
    EXPECT_FALSE(PublishingCamera::takesNewestRawPair(newest, newest + us(1), period, newest + us(1)));
    // No period known yet, or a clock that went back.
    EXPECT_FALSE(PublishingCamera::takesNewestRawPair(newest, us(0), us(0), newest));
    EXPECT_FALSE(PublishingCamera::takesNewestRawPair(newest, us(0), period, newest - us(1)));
}

// Pair 1 came in while no lane was running and is fresh: the first lane takes
// it at once; the other waits for pair 2. Both are published in raw order,
// each with what one matcher gives for it.
TEST(PairsInFlightNewestPair, AFreeLaneTakesAFreshPairAtOnceAndOrderAndResultsHold)
{
    PublishingCamera camera;
    ASSERT_TRUE(camera.setPairsInFlight(2));
    const microseconds stamp1 = publishTwo(camera, milliseconds(400));
    ASSERT_TRUE(camera.startStereoCompute());
    cv::Mat disparity;
    microseconds stamp{0};
    ASSERT_TRUE(camera.disparityNumber(0, disparity, stamp)); // with no other publication
    EXPECT_EQ(stamp, stamp1);
    EXPECT_TRUE(sameMatrix(disparity, camera.oneMatcherDisparity(1)));
    EXPECT_GT(cv::countNonZero(disparity > 0), kRectSize.area() / 10); // the views matched

    const microseconds stamp2 = camera.publish(2);
    ASSERT_TRUE(camera.disparityNumber(1, disparity, stamp));
    EXPECT_EQ(stamp, stamp2);
    EXPECT_TRUE(sameMatrix(disparity, camera.oneMatcherDisparity(2)));
    camera.endCapture();
    EXPECT_TRUE(camera.stopStereoCompute());
    EXPECT_EQ(camera.fetched(), 2u); // each pair once
}

// One matcher always waits for the next pair, and so do several when the
// newest pair is older than half a frame period.
TEST(PairsInFlightNewestPair, OneMatcherOrAStalePairWaitsForTheNext)
{
    for (const int pairs : {1, 2}) {
        PublishingCamera camera;
        ASSERT_TRUE(camera.setPairsInFlight(pairs));
        // One lane: a fresh pair 1 is not taken. Two lanes: pair 1 is stale
        // (older than half of the 100 ms period) when the worker starts.
        publishTwo(camera, milliseconds(100));
        if (pairs == 2)
            std::this_thread::sleep_for(milliseconds(150));
        ASSERT_TRUE(camera.startStereoCompute());
        std::this_thread::sleep_for(milliseconds(100));
        EXPECT_EQ(camera.fetched(), 0u) << pairs << " pairs in flight";
        const microseconds stamp2 = camera.publish(2);
        cv::Mat disparity;
        microseconds stamp{0};
        ASSERT_TRUE(camera.disparityNumber(0, disparity, stamp));
        EXPECT_EQ(stamp, stamp2) << pairs << " pairs in flight";
        EXPECT_TRUE(sameMatrix(disparity, camera.oneMatcherDisparity(2)));
        camera.endCapture();
        EXPECT_TRUE(camera.stopStereoCompute());
    }
}
