#include <algorithm>
#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include <sys/ipc.h>
#include <sys/shm.h>

#include <opencv2/core/utils/logger.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/videoio.hpp>

#include "CameraTestSupport.h"
#include "CaptureTestSupport.h"
#include "camera/LoopingVideoCapture.h"
#include "camera/SharedFrameLayout.h"
#include "support/CaptureStream.h"

using namespace korvane::test;
using std::chrono::microseconds;

namespace {

// A camera playing a generated side-by-side video, as on a module.
class Capture : public ::testing::Test
{
protected:
    void open(cv::Size raw, int frames = 30, double fps = 30.0)
    {
        ASSERT_TRUE(camera.setRawFrameSize(raw));
        ASSERT_TRUE(camera.openVideo(writeTestVideo(dir, raw, frames, fps)));
        ASSERT_TRUE(camera.isOpened());
    }

    void TearDown() override { camera.stopCapture(); }

    TempDir dir;
    CaptureProbe camera{kAbsentDevice};
};

bool segmentExists(int key)
{
    return shmget(key, 0, 0) >= 0;
}

} // namespace

TEST_F(Capture, StereoFramesComeOncePerPublicationWithIncreasingTimeStamps)
{
    open(cv::Size(928, 400));
    ASSERT_TRUE(camera.startCapture(false, false));
    microseconds previous{0};
    int previousIndex = -1;
    for (int i = 0; i < 12; ++i) {
        cv::Mat left, right;
        microseconds stamp{0};
        ASSERT_TRUE(camera.getStereoFrame(left, right, stamp));
        EXPECT_GT(stamp, previous);
        EXPECT_NE(frameIndexOf(left), previousIndex); // never the same pair twice
        EXPECT_EQ(frameIndexOf(left), frameIndexOf(right));
        previous = stamp;
        previousIndex = frameIndexOf(left);
    }
}

TEST_F(Capture, HalvesComeBackMaskedNotUntouched)
{
    open(cv::Size(928, 400));
    ASSERT_TRUE(camera.startCapture(false, false));
    cv::Mat left, right;
    microseconds stamp{0};
    ASSERT_TRUE(camera.getStereoFrame(left, right, stamp));
    ASSERT_EQ(left.size(), cv::Size(464, 400));
    ASSERT_EQ(left.type(), CV_8UC3);
    EXPECT_EQ(left.at<cv::Vec3b>(0, 0), cv::Vec3b(0, 0, 0));
    EXPECT_EQ(right.at<cv::Vec3b>(399, 463), cv::Vec3b(0, 0, 0));
    // Inside the circle the picture is kept.
    EXPECT_EQ(left.at<cv::Vec3b>(200, 100)[0], 200);
    EXPECT_EQ(right.at<cv::Vec3b>(200, 100)[0], 200);
}

TEST_F(Capture, RawFrameIsTheMaskedHalvesSideBySide)
{
    open(cv::Size(928, 400));
    ASSERT_TRUE(camera.startCapture(false, false));
    cv::Mat frame;
    microseconds stamp{0};
    ASSERT_TRUE(camera.getRawFrame(frame, stamp));
    ASSERT_EQ(frame.size(), cv::Size(928, 400));
    EXPECT_EQ(frame.at<cv::Vec3b>(0, 0), cv::Vec3b(0, 0, 0));
    EXPECT_EQ(frame.at<cv::Vec3b>(0, 927), cv::Vec3b(0, 0, 0));
    EXPECT_EQ(frameIndexOf(frame.colRange(0, 464)), frameIndexOf(frame.colRange(464, 928)));
    EXPECT_GT(stamp.count(), 0);
}

TEST_F(Capture, WarmUpTakesTheFrameSizeFromTheSource)
{
    ASSERT_TRUE(camera.setRawFrameSize(cv::Size(1856, 800)));
    ASSERT_TRUE(camera.openVideo(writeTestVideo(dir, cv::Size(928, 400), 20, 60.0)));
    ASSERT_TRUE(camera.startCapture(false, false));
    cv::Mat left, right;
    microseconds stamp{0};
    ASSERT_TRUE(camera.getStereoFrame(left, right, stamp));
    EXPECT_EQ(camera.getRawFrameSize(), cv::Size(928, 400));
    EXPECT_EQ(left.size(), cv::Size(464, 400));
}

TEST_F(Capture, TwoConcurrentReadersReceiveTheSamePair)
{
    open(cv::Size(928, 400), 10, 4.0); // a frame every 250 ms
    ASSERT_TRUE(camera.startCapture(false, false));
    cv::Mat l, r;
    microseconds first{0};
    ASSERT_TRUE(camera.getStereoFrame(l, r, first)); // just after a publication
    microseconds a{0}, b{0};
    std::thread other([&] {
        cv::Mat left, right;
        camera.getStereoFrame(left, right, a);
    });
    cv::Mat left, right;
    ASSERT_TRUE(camera.getStereoFrame(left, right, b));
    other.join();
    EXPECT_GT(b, first);
    EXPECT_EQ(a, b);
}

TEST_F(Capture, MeasuredFrameRateReplacesTheRequestedOne)
{
    open(cv::Size(928, 400));
    ASSERT_TRUE(camera.setRawFrameRate(12345));
    ASSERT_TRUE(camera.startCapture(false, false));
    cv::Mat l, r;
    microseconds stamp{0};
    ASSERT_TRUE(camera.getStereoFrame(l, r, stamp));
    ASSERT_TRUE(camera.getStereoFrame(l, r, stamp));
    EXPECT_NE(camera.getRawFrameRate(), 12345.0f);
    EXPECT_GT(camera.getRawFrameRate(), 0.0f);
}

TEST_F(Capture, StopCaptureJoinsTheWorkerAndClosesTheCamera)
{
    open(cv::Size(928, 400));
    ASSERT_TRUE(camera.startCapture(false, false));
    cv::Mat l, r;
    microseconds stamp{0};
    ASSERT_TRUE(camera.getStereoFrame(l, r, stamp));
    const std::string out = stdoutOf([&] { EXPECT_TRUE(camera.stopCapture()); });
    EXPECT_FALSE(camera.isOpened());
    EXPECT_EQ(out, "\033[32m[StereoCamera][INFO] Exit capture frame worker ...\n\033[0m"
                   "\033[32m[StereoCamera][INFO] Stop get frame done.\n\033[0m");
    // With the worker gone a getter returns at once instead of waiting for ever.
    EXPECT_FALSE(camera.getStereoFrame(l, r, stamp));
}

TEST_F(Capture, StartLogsInitialisationAndStart)
{
    open(cv::Size(928, 400));
    const std::string out = stdoutOf([&] {
        ASSERT_TRUE(camera.startCapture(false, false));
        cv::Mat l, r;
        microseconds stamp{0};
        ASSERT_TRUE(camera.getStereoFrame(l, r, stamp));
    });
    EXPECT_EQ(out, "\033[32m[StereoCamera][INFO] Initialize parameters OK!\n\033[0m"
                   "\033[32m[StereoCamera][INFO] Start capture ...\n\033[0m");
}

TEST_F(Capture, WithoutFlagsThereIsNeitherSegmentNorStream)
{
    camera.setPosNumber(7);
    open(cv::Size(928, 400));
    const std::string out = stdoutOf([&] {
        ASSERT_TRUE(camera.startCapture(false, false));
        cv::Mat l, r;
        microseconds stamp{0};
        ASSERT_TRUE(camera.getStereoFrame(l, r, stamp));
        EXPECT_FALSE(segmentExists(korvane::shm::keyFor(7)));
    });
    EXPECT_EQ(out.find("hostIp"), std::string::npos);
    EXPECT_FALSE(camera.m_shareMemory);
    EXPECT_FALSE(camera.m_transmit);
}

TEST_F(Capture, TransmitWithModeMinusOneOpensNothingAndPrintsNothing)
{
    open(cv::Size(928, 400));
    ASSERT_EQ(camera.m_transmode, -1);
    const std::string out = stdoutOf([&] {
        ASSERT_TRUE(camera.startCapture(true, false));
        cv::Mat frame;
        microseconds stamp{0};
        ASSERT_TRUE(camera.getRawFrame(frame, stamp));
    });
    EXPECT_TRUE(camera.m_transmit);
    EXPECT_EQ(out.find("hostIp"), std::string::npos);
    EXPECT_EQ(out.find("appsrc"), std::string::npos);
}

TEST_F(Capture, FlagsGivenFalseAreNotCleared)
{
    camera.m_transmit = true;
    camera.m_shareMemory = false;
    open(cv::Size(928, 400));
    ASSERT_TRUE(camera.startCapture(false, false));
    EXPECT_TRUE(camera.m_transmit);
}

TEST(CaptureVideoSource, MissingFileIsRefused)
{
    CaptureProbe camera(kAbsentDevice);
    TempDir dir;
    bool result = true;
    const std::string out = stdoutOf([&] { result = camera.openVideo(dir.file("absent.mkv")); });
    EXPECT_FALSE(result);
    EXPECT_FALSE(camera.isOpened());
    EXPECT_EQ(out, "\033[1m\033[31m[StereoCamera][ERROR] Cannot open video source " +
                       dir.file("absent.mkv") + "\n\033[0m");
}

TEST(CaptureVideoSource, ImageSequencesPlayInALoop)
{
    TempDir dir;
    const std::string sequencePattern = writeTestSequence(dir, cv::Size(928, 400), 3);
    CaptureProbe camera(kAbsentDevice);
    ASSERT_TRUE(camera.setRawFrameSize(cv::Size(928, 400)));
    ASSERT_TRUE(camera.openVideo(sequencePattern));
    ASSERT_TRUE(camera.startCapture(false, false));
    // Ten warm-up reads already went round the three images several times.
    std::vector<int> seen;
    for (int i = 0; i < 6; ++i) {
        cv::Mat l, r;
        microseconds stamp{0};
        ASSERT_TRUE(camera.getStereoFrame(l, r, stamp));
        seen.push_back(frameIndexOf(l));
    }
    camera.stopCapture();
    for (int index : seen)
        EXPECT_LT(index, 3);
    EXPECT_NE(std::count(seen.begin(), seen.end(), 0), 6);
}

TEST(CaptureVideoSource, ImageSequencesPlayAtThirtyFramesPerSecond)
{
    TempDir dir;
    const std::string sequencePattern = writeTestSequence(dir, cv::Size(928, 400), 2);
    korvane::LoopingVideoCapture sequence(sequencePattern);
    ASSERT_TRUE(sequence.isOpened());
    EXPECT_EQ(sequence.pace(), 30.0); // the backend itself reports 1 for sequences
    korvane::LoopingVideoCapture file(writeTestVideo(dir, cv::Size(928, 400), 2, 12.0, "twelve.mkv"));
    EXPECT_EQ(file.pace(), 12.0);
}

TEST(CaptureVideoSource, ImageSequencesStartOverWithoutAskingForAMissingFile)
{
    TempDir dir;
    const std::string sequencePattern = writeTestSequence(dir, cv::Size(928, 400), 2);
    // The library's warnings shown, as a user who has not quietened it sees them.
    const cv::utils::logging::LogLevel level = cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_WARNING);
    std::vector<int> indices;
    cv::Mat frame;
    const std::string warnings = stderrOf([&] {
        korvane::LoopingVideoCapture sequence(sequencePattern, 1e6);
        for (int i = 0; i < 7 && sequence.read(frame); ++i)
            indices.push_back(frameIndexOf(frame(cv::Rect(0, 0, 464, 400))));
    });
    cv::utils::logging::setLogLevel(level);
    EXPECT_EQ(indices, (std::vector<int>{0, 1, 0, 1, 0, 1, 0}));
    EXPECT_EQ(warnings.find("can't open/read file"), std::string::npos) << warnings;
}

TEST(CaptureVideoSource, RefusedWhileCapturing)
{
    TempDir dir;
    CaptureProbe camera(kAbsentDevice);
    ASSERT_TRUE(camera.setRawFrameSize(cv::Size(928, 400)));
    const std::string video = writeTestVideo(dir, cv::Size(928, 400), 5, 30.0);
    ASSERT_TRUE(camera.openVideo(video));
    ASSERT_TRUE(camera.startCapture(false, false));
    const std::string out = stdoutOf([&] { EXPECT_FALSE(camera.openVideo(video)); });
    EXPECT_NE(out.find("Cannot change the video source while capturing!"), std::string::npos);
    camera.stopCapture();
}
