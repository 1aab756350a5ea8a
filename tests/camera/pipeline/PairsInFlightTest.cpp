// The disparity worker with more than one pair in flight: the setting and its
// configuration key, publication order and content against one matcher, and
// stopping and restarting.
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <fstream>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <tuple>
#include <utility>

#include <gtest/gtest.h>

#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

#include "CameraTestSupport.h"
#include "camera/DisparityMatcher.h"
#include "support/CaptureStream.h"

using namespace korvane::test;
using std::chrono::microseconds;

namespace {

constexpr auto kPatience = std::chrono::seconds(30); // bound of every wait here

struct Pair
{
    cv::Mat left, right;
};

// Pair n of a deterministic sequence: a random texture and its copy moved by
// 4 to 8 pixels. With `uneven`, odd pairs are large and even ones small, so
// that a later pair finishes matching before an earlier one.
Pair pairFor(int n, bool uneven)
{
    const cv::Size size = !uneven ? cv::Size(640, 480) : n % 2 ? cv::Size(320, 240) : cv::Size(96, 80);
    cv::RNG rng(static_cast<uint64>(1000 + n));
    Pair p;
    p.left.create(size, CV_8UC3);
    rng.fill(p.left, cv::RNG::UNIFORM, 0, 255);
    cv::GaussianBlur(p.left, p.left, cv::Size(3, 3), 0);
    const int shift = 4 + n % 5;
    p.right = cv::Mat::zeros(size, CV_8UC3);
    p.left.colRange(shift, size.width).copyTo(p.right.colRange(0, size.width - shift));
    return p;
}

microseconds stampOf(int n)
{
    return microseconds(1000000 + 1000 * n);
}

// One matcher of the worker's, as the one-matcher worker runs it.
class OneMatcher
{
public:
    explicit OneMatcher(int algorithm) : m_matcher(algorithm) {}

    cv::Mat match(const Pair& p) { return m_matcher.match(p.left, p.right); }

private:
    korvane::DisparityMatcher m_matcher;
};

// Feeds the disparity worker the deterministic sequence through the
// rectified-pair fetch, pair n with time stamp stampOf(n). Fetches from
// number `gate` on wait until the worker's run flag is cleared.
class SequenceCamera : public Probe
{
public:
    SequenceCamera(bool uneven, int pace) : Probe(kAbsentDevice), m_uneven(uneven), m_paceMs(pace)
    {
        if (m_log)
            m_log->setLogLevel(-1);
    }

    ~SequenceCamera() override { stopStereoCompute(); }

    bool getRectStereoFrame(cv::Mat& left, cv::Mat& right, cv::Mat& centre, microseconds& stamp) override
    {
        {
            std::lock_guard<std::mutex> lock(m_lanesMutex);
            m_lanes.insert(static_cast<pid_t>(syscall(SYS_gettid)));
        }
        const int n = ++m_fetches;
        if (m_gate > 0 && n >= m_gate) {
            std::unique_lock<std::mutex> lock(m_gateMutex);
            const auto until = std::chrono::steady_clock::now() + kPatience;
            while (m_computeRunning && std::chrono::steady_clock::now() < until)
                m_gateCondition.wait_for(lock, std::chrono::milliseconds(1));
            ++m_fetchesAfterStop;
        } else if (m_paceMs > 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(m_paceMs));
        }
        const Pair p = pairFor(n, m_uneven);
        left = p.left;
        right = p.right;
        centre = p.left.clone();
        stamp = stampOf(n);
        return true;
    }

    // The newest publication once there is one this reader has not taken,
    // within the patience.
    bool nextDisparity(cv::Mat& disparity, cv::Mat& centre, microseconds& stamp)
    {
        return m_disparityFrames.readAfter(m_taken, kPatience, [&](const TimeFrame& newest, std::uint64_t n) {
            m_taken = n;
            disparity = newest.right.clone();
            centre = newest.left.clone();
            stamp = newest.timeStamp;
        });
    }

    std::uint64_t publications() const { return m_disparityFrames.publications(); }

    microseconds lastStamp() const { return m_disparityFrames.newest().timeStamp; }

    // Waits until `count` fetched pairs have been taken on for matching.
    bool waitForMatching(std::uint64_t count)
    {
        const auto until = std::chrono::steady_clock::now() + kPatience;
        while (m_fetchTicket < count && std::chrono::steady_clock::now() < until)
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        return m_fetchTicket >= count;
    }

    // The threads that have fetched pairs since the last call.
    std::set<pid_t> takeLanes()
    {
        std::lock_guard<std::mutex> lock(m_lanesMutex);
        return std::exchange(m_lanes, {});
    }

    using StereoCamera::m_computeThread;
    using StereoCamera::m_fetchTicket;

    std::atomic<int> m_gate{0};
    std::atomic<int> m_fetches{0};
    std::atomic<int> m_fetchesAfterStop{0};

private:
    std::uint64_t m_taken = 0; // publications the reader (the test's thread) has seen
    bool m_uneven;
    int m_paceMs;
    std::mutex m_gateMutex;  // guards nothing but the gate's wait
    std::mutex m_lanesMutex; // guards m_lanes
    std::set<pid_t> m_lanes;
    std::condition_variable m_gateCondition;
};

bool threadAlive(pid_t tid)
{
    return access(("/proc/self/task/" + std::to_string(tid)).c_str(), F_OK) == 0;
}

// Whether all of the threads have ended (a joined thread leaves the task
// list a moment after the join), within 5 s.
bool threadsEnd(const std::set<pid_t>& tids)
{
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    for (;;) {
        const bool any = std::any_of(tids.begin(), tids.end(), threadAlive);
        if (!any)
            return true;
        if (std::chrono::steady_clock::now() >= until)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

std::string writeFile(const std::string& name, const std::string& text)
{
    const std::string path = ::testing::TempDir() + name;
    std::ofstream(path) << text;
    return path;
}

} // namespace

TEST(PairsInFlightSetting, DefaultIsTheCoresAtMostTwoAndTheSetterChecksTheRange)
{
    SequenceCamera camera(false, 0);
    const unsigned cores = std::thread::hardware_concurrency();
    EXPECT_EQ(camera.getPairsInFlight(), cores >= 2 ? 2 : 1);
    EXPECT_FALSE(camera.setPairsInFlight(0));
    EXPECT_FALSE(camera.setPairsInFlight(-1));
    EXPECT_FALSE(camera.setPairsInFlight(StereoCamera::kMaxPairsInFlight + 1));
    EXPECT_EQ(camera.getPairsInFlight(), cores >= 2 ? 2 : 1);
    EXPECT_TRUE(camera.setPairsInFlight(1));
    EXPECT_EQ(camera.getPairsInFlight(), 1);
    EXPECT_TRUE(camera.setPairsInFlight(StereoCamera::kMaxPairsInFlight));
    EXPECT_EQ(camera.getPairsInFlight(), StereoCamera::kMaxPairsInFlight);
}

TEST(PairsInFlightSetting, TheConfigurationKeyIsLoadedButNotSaved)
{
    SequenceCamera camera(false, 0);
    ASSERT_TRUE(camera.setPairsInFlight(2));
    const std::string asMatrix = writeFile(
        "pairs_matrix.yml", yamlFile({yamlMatrix("DeviceNode", 1, 1, {1}), yamlMatrix("PairsInFlight", 1, 1, {3})}));
    std::string err = stderrOf([&] { EXPECT_TRUE(camera.loadConfig(asMatrix)); });
    EXPECT_EQ(err, "");
    EXPECT_EQ(camera.getPairsInFlight(), 3);

    const std::string asNumber = writeFile("pairs_number.yml",
                                           yamlFile({yamlMatrix("DeviceNode", 1, 1, {1})}) + "PairsInFlight: 1\n");
    EXPECT_TRUE(camera.loadConfig(asNumber));
    EXPECT_EQ(camera.getPairsInFlight(), 1);

    // Absent: unchanged.
    const std::string without = writeFile("pairs_absent.yml", yamlFile({yamlMatrix("DeviceNode", 1, 1, {1})}));
    EXPECT_TRUE(camera.loadConfig(without));
    EXPECT_EQ(camera.getPairsInFlight(), 1);

    // Out of range: a message, the file still loads, the setting stays.
    for (double bad : {0.0, 9.0, -2.0}) {
        const std::string outOfRange = writeFile(
            "pairs_bad.yml", yamlFile({yamlMatrix("DeviceNode", 1, 1, {1}), yamlMatrix("PairsInFlight", 1, 1, {bad})}));
        err = stderrOf([&] { EXPECT_TRUE(camera.loadConfig(outOfRange)); });
        EXPECT_NE(err.find("PairsInFlight must be set to 1~8"), std::string::npos) << err;
        EXPECT_EQ(camera.getPairsInFlight(), 1);
    }

    const std::string saved = ::testing::TempDir() + "pairs_saved.yml";
    ASSERT_TRUE(camera.saveConfig(saved));
    const std::vector<std::string> keys = topLevelKeys(saved);
    EXPECT_EQ(std::count(keys.begin(), keys.end(), "PairsInFlight"), 0);
    EXPECT_EQ(keys.size(), 9u);
    std::remove(asMatrix.c_str());
    std::remove(asNumber.c_str());
    std::remove(without.c_str());
    std::remove(saved.c_str());
}

// Pairs in flight, matcher (0 SGBM, 1 BM).
class PairsInFlightWorker : public ::testing::TestWithParam<std::tuple<int, int>>
{
};

TEST_P(PairsInFlightWorker, PublishesInRawOrderWhatOneMatcherGives)
{
    const int pairs = std::get<0>(GetParam());
    const int algorithm = std::get<1>(GetParam());
    constexpr int kLast = 24;
    SequenceCamera camera(true, 2);
    EXPECT_TRUE(camera.setMatchingAlgorithm(algorithm));
    ASSERT_TRUE(camera.setPairsInFlight(pairs));
    camera.m_gate = kLast + 1;

    // What one matcher makes of the same sequence, pair by pair.
    OneMatcher one(algorithm);
    std::map<int, cv::Mat> expected;
    for (int n = 1; n <= kLast; ++n)
        expected[n] = one.match(pairFor(n, true));

    ASSERT_TRUE(camera.startStereoCompute());
    std::vector<int> seen;
    cv::Mat disparity, centre;
    microseconds stamp{0};
    while (seen.empty() || seen.back() < kLast) {
        ASSERT_TRUE(camera.nextDisparity(disparity, centre, stamp)) << "after " << seen.size() << " results";
        const long n = (stamp - stampOf(0)).count() / 1000;
        ASSERT_GE(n, 1);
        ASSERT_LE(n, kLast);
        const int index = static_cast<int>(n);
        if (!seen.empty()) {
            ASSERT_GT(index, seen.back()) << "published out of raw time-stamp order";
        }
        seen.push_back(index);
        // Each publication is one pair's: its centre image, its disparity, its stamp.
        EXPECT_TRUE(sameMatrix(centre, pairFor(index, true).left)) << "pair " << index;
        EXPECT_TRUE(sameMatrix(disparity, expected[index])) << "pair " << index;
    }
    EXPECT_TRUE(camera.stopStereoCompute());
    // Every pair up to the gate was published once, in order, and nothing after it.
    EXPECT_EQ(camera.publications(), static_cast<std::uint64_t>(kLast));
    EXPECT_EQ(camera.lastStamp(), stampOf(kLast));
    // The reader may miss a publication that follows another closely, not most.
    EXPECT_GE(seen.size(), static_cast<size_t>(kLast / 3));
}

TEST_P(PairsInFlightWorker, StopDuringMatchingEndsTheRoundsUnderWayAndStartsNoOther)
{
    const int pairs = std::get<0>(GetParam());
    SequenceCamera camera(false, 0);
    EXPECT_TRUE(camera.setMatchingAlgorithm(std::get<1>(GetParam())));
    ASSERT_TRUE(camera.setPairsInFlight(pairs));
    // A lane that comes back for another pair before the stop waits at the gate.
    camera.m_gate = pairs + 1;
    ASSERT_TRUE(camera.startStereoCompute());
    // Every lane has its pair and is matching.
    ASSERT_TRUE(camera.waitForMatching(static_cast<std::uint64_t>(pairs)));
    EXPECT_TRUE(camera.stopStereoCompute());
    EXPECT_EQ(camera.m_computeThread, nullptr);
    // The pairs under way were published, in order; the pair fetched at the
    // gate after the stop was not matched.
    EXPECT_EQ(camera.publications(), static_cast<std::uint64_t>(pairs));
    EXPECT_EQ(camera.lastStamp(), stampOf(pairs));
    EXPECT_LE(camera.m_fetches.load(), pairs + 1);
    EXPECT_EQ(camera.m_fetches.load() - pairs, camera.m_fetchesAfterStop.load());
}

TEST_P(PairsInFlightWorker, StartStopAndRestartLeaveNoThreadBehind)
{
    const int pairs = std::get<0>(GetParam());
    SequenceCamera camera(false, 1);
    EXPECT_TRUE(camera.setMatchingAlgorithm(std::get<1>(GetParam())));
    ASSERT_TRUE(camera.setPairsInFlight(pairs));
    cv::Mat disparity, centre;
    microseconds stamp{0}, previous{0};

    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(camera.startStereoCompute());
        for (int i = 0; i < 3; ++i) {
            ASSERT_TRUE(camera.nextDisparity(disparity, centre, stamp));
            EXPECT_GT(stamp, previous);
            EXPECT_FALSE(disparity.empty());
            previous = stamp;
        }
        EXPECT_TRUE(camera.stopStereoCompute());
        EXPECT_EQ(camera.m_computeThread, nullptr);
        // The lanes that fetched are other threads than this one, no more
        // than asked for, and gone after the stop.
        const std::set<pid_t> lanes = camera.takeLanes();
        EXPECT_GE(lanes.size(), 1u);
        EXPECT_LE(lanes.size(), static_cast<size_t>(pairs));
        EXPECT_EQ(lanes.count(static_cast<pid_t>(syscall(SYS_gettid))), 0u);
        EXPECT_TRUE(threadsEnd(lanes));
        // Every pair taken on was published, so the next run starts in step.
        EXPECT_EQ(camera.publications(), camera.m_fetchTicket.load());
    }
}

INSTANTIATE_TEST_SUITE_P(PairsAndMatchers, PairsInFlightWorker,
                         ::testing::Combine(::testing::Values(1, 2), ::testing::Values(0, 1)));
