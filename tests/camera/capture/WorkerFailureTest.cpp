// Bad input, broken sources and awkward call orders around the capture and
// disparity workers: each ends with a clear line and a clean return, never a
// crash, an overflow or a hang. Scenarios that used to crash or hang run in
// a forked child with a time limit, and the test asserts how it ended.
#include <atomic>
#include <chrono>
#include <limits>
#include <thread>

#include <gtest/gtest.h>

#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <opencv2/core/utils/logger.hpp>

#include "CaptureTestSupport.h"
#include "camera/SharedFrameLayout.h"
#include "camera/SharedFrameReader.h"
#include "support/CaptureStream.h"

using namespace korvane::test;
using namespace std::chrono_literals;
using std::chrono::microseconds;

namespace {

// A source that plays a fixed side-by-side image while `delivering` is set
// and gives empty frames otherwise; after `throwAfter` reads it throws the
// image library's exception. Counts its reads.
class ScriptedSource : public cv::VideoCapture
{
public:
    explicit ScriptedSource(cv::Size raw, int throwAfter = -1) : m_frame(raw, CV_8UC3), m_throwAfter(throwAfter)
    {
        cv::randu(m_frame, 0, 255);
    }

    bool isOpened() const override { return true; }

    bool read(cv::OutputArray image) override
    {
        const int n = ++reads;
        if (m_throwAfter >= 0 && n > m_throwAfter)
            CV_Error(cv::Error::StsError, "the source broke");
        if (!delivering) {
            image.release();
            return false;
        }
        m_frame.copyTo(image);
        std::this_thread::sleep_for(2ms);
        return true;
    }

    std::atomic<bool> delivering{true};
    std::atomic<int> reads{0};

private:
    cv::Mat m_frame;
    int m_throwAfter;
};

// A camera on a scripted source, calibrated when asked, with small
// perspective views so that matching is quick.
ScriptedSource& useScriptedSource(CaptureProbe& camera, cv::Size raw, int throwAfter = -1)
{
    camera.setRawFrameSize(raw);
    auto* source = new ScriptedSource(raw, throwAfter);
    camera.m_capture.reset(source);
    camera.m_opened = true;
    return *source;
}

void calibrate(CaptureProbe& camera, const TempDir& dir)
{
    ASSERT_TRUE(camera.loadCalibParams(dir.write("calibration.yml", sampleCalibrationYaml())));
    camera.setRectFrameSize(cv::Size(160, 120));
    EXPECT_TRUE(camera.setDepthMode(2));
}

std::size_t countOf(const std::string& text, const std::string& part)
{
    std::size_t n = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++n;
    return n;
}

// A shared-memory position of this test program's own, so that programs
// running at the same time do not meet in one segment.
int ownPosition(int offset) { return 200 + offset * 50 + getpid() % 50; }

} // namespace

TEST(WorkerFailure, StartCaptureWithoutAVideoSourceReturnsFalseWithALine)
{
    TempDir dir;
    const ChildOutcome outcome = runInChild(
        [&] {
            // The file constructor with a file that does not load opens no source.
            CaptureProbe camera(dir.file("absent.yml"));
            bool started = true;
            const std::string err = stderrOf([&] { started = camera.startCapture(false, false); });
            std::printf("started %d\n%s", started ? 1 : 0, err.c_str());
        },
        20000);
    ASSERT_TRUE(outcome.exited) << outcome.out;
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_NE(outcome.out.find("started 0\n"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("Cannot start capture: no video source is open\n"), std::string::npos) << outcome.out;
}

TEST(WorkerFailure, AnExceptionInTheSourceStopsTheCaptureWorkerNotTheProcess)
{
    const ChildOutcome outcome = runInChild(
        [&] {
            CaptureProbe camera(kAbsentDevice);
            useScriptedSource(camera, cv::Size(928, 400), 15);
            camera.startCapture(false, false);
            cv::Mat frame;
            microseconds stamp{0};
            int frames = 0;
            while (camera.getRawFrame(frame, stamp))
                ++frames;
            std::printf("frames %d stopped %d\n", frames, camera.stopCapture() ? 1 : 0);
        },
        20000);
    ASSERT_TRUE(outcome.exited) << outcome.out;
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_EQ(countOf(outcome.out, "[StereoCamera][ERROR] Capture worker stopped: "), 1u) << outcome.out;
    EXPECT_NE(outcome.out.find("stopped 1\n"), std::string::npos) << outcome.out;
}

// The segment was sized from the 928 x 400 set before capture; the source
// is 1856 x 800. The image never leaves its segment: the segment is made
// again at the real size, and another reader gets the whole left image.
TEST(WorkerFailure, TheSharedImageNeverLeavesItsSegment)
{
    TempDir dir;
    const std::string video = writeTestVideo(dir, cv::Size(1856, 800), 5, 30.0);
    const int position = ownPosition(0);
    const ChildOutcome outcome = runInChild(
        [&] {
            CaptureProbe camera(kAbsentDevice);
            camera.m_posNumber = position;
            camera.setRawFrameSize(cv::Size(928, 400));
            camera.openVideo(video);
            camera.startCapture(false, true);
            korvane::SharedFrameReader reader;
            cv::Mat image;
            for (auto deadline = std::chrono::steady_clock::now() + 10s;
                 image.empty() && std::chrono::steady_clock::now() < deadline;) {
                if (reader.attach(position))
                    reader.read(image, 2000ms);
                else
                    std::this_thread::sleep_for(20ms);
            }
            std::printf("read %dx%d index %d\n", image.cols, image.rows, image.empty() ? -1 : frameIndexOf(image));
            reader.detach();
            camera.stopCapture();
        },
        30000);
    ASSERT_TRUE(outcome.exited) << outcome.out;
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_NE(outcome.out.find("read 928x800 index "), std::string::npos) << outcome.out;
    EXPECT_EQ(outcome.out.find("index -1"), std::string::npos) << outcome.out;
}

TEST(WorkerFailure, AnExceptionInADisparityLaneStopsTheWorkerNotTheProcess)
{
    for (int pairs : {1, 2}) {
        SCOPED_TRACE(pairs);
        const ChildOutcome outcome = runInChild(
            [&] {
                // No calibration: the rectification maps were never built.
                CaptureProbe camera(kAbsentDevice);
                useScriptedSource(camera, cv::Size(928, 400));
                camera.setRectFrameSize(cv::Size(160, 120));
                EXPECT_TRUE(camera.setDepthMode(2));
                camera.setPairsInFlight(pairs);
                camera.startCapture(false, false);
                camera.startStereoCompute();
                std::this_thread::sleep_for(500ms);
                std::printf("compute stopped %d\n", camera.stopStereoCompute() ? 1 : 0);
                camera.stopCapture();
            },
            20000);
        ASSERT_TRUE(outcome.exited) << outcome.out;
        EXPECT_EQ(outcome.status, 0) << outcome.out;
        EXPECT_EQ(countOf(outcome.out, "[StereoCamera][ERROR] Disparity worker stopped: "), 1u) << outcome.out;
        EXPECT_NE(outcome.out.find("Stop stereo compute done.\n"), std::string::npos) << outcome.out;
        EXPECT_NE(outcome.out.find("compute stopped 1\n"), std::string::npos) << outcome.out;
    }
}

// The source stops delivering while the disparity worker waits for its next
// pair: stopping the worker (the documented first step) returns, and a
// reader waiting for a disparity wakes with false.
TEST(WorkerFailure, StoppingReturnsWhenTheSourceStopsDelivering)
{
    TempDir dir;
    const ChildOutcome outcome = runInChild(
        [&] {
            CaptureProbe camera(kAbsentDevice);
            ScriptedSource& source = useScriptedSource(camera, cv::Size(928, 400));
            calibrate(camera, dir);
            camera.startCapture(false, false);
            camera.startStereoCompute();
            cv::Mat disparity, centre;
            microseconds stamp{0};
            const bool first = camera.getDisparityFrame(disparity, centre, stamp);
            source.delivering = false;
            std::atomic<int> waits{0};
            std::thread reader([&] {
                while (camera.getDisparityFrame(disparity, centre, stamp))
                    ++waits;
            });
            std::this_thread::sleep_for(300ms);
            const bool stopped = camera.stopStereoCompute();
            reader.join();
            std::printf("first %d stopped %d reader ended\n", first ? 1 : 0, stopped ? 1 : 0);
            camera.stopCapture();
        },
        30000);
    ASSERT_TRUE(outcome.exited) << "stopping hung: " << outcome.out;
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_NE(outcome.out.find("first 1 stopped 1 reader ended\n"), std::string::npos) << outcome.out;
}

// A source that gives only empty frames does not keep a core busy: the
// worker backs off after a run of empty reads, says once that frames
// stopped and once that they came back.
TEST(CaptureBackOff, ASourceWithoutFramesIsReadSparinglyAndReportedOnce)
{
    CaptureProbe camera(kAbsentDevice);
    ScriptedSource& source = useScriptedSource(camera, cv::Size(928, 400));
    const std::string out = stdoutOf([&] {
        ASSERT_TRUE(camera.startCapture(false, false));
        cv::Mat frame;
        microseconds stamp{0};
        ASSERT_TRUE(camera.getRawFrame(frame, stamp));
        source.delivering = false;
        std::this_thread::sleep_for(100ms);
        const int before = source.reads;
        std::this_thread::sleep_for(400ms);
        const int during = source.reads - before;
        // A few milliseconds a read: about a hundred in 400 ms, not millions.
        EXPECT_LT(during, 2000);
        source.delivering = true;
        ASSERT_TRUE(camera.getRawFrame(frame, stamp));
        camera.stopCapture();
    });
    EXPECT_EQ(countOf(out, "[StereoCamera][ERROR] The video source delivers no frames\n"), 1u) << out;
    EXPECT_EQ(countOf(out, "[StereoCamera][INFO] The video source delivers frames again\n"), 1u) << out;
}

// An image size whose area does not fit an int, or any size that does not
// match the segment exactly, is refused before anything is copied.
TEST(SharedMemoryReaderSize, AttachRefusesASizeThatDoesNotMatchTheSegmentExactly)
{
    const int position = ownPosition(1);
    const cv::Size image(464, 400);
    const int id = shmget(korvane::shm::keyFor(position), korvane::shm::segmentBytesForImage(image),
                          IPC_CREAT | IPC_EXCL | 0600);
    ASSERT_GE(id, 0);
    korvane::SharedFrameReader reader;
    EXPECT_FALSE(reader.attach(position, cv::Size(65536, 65536))) << "an area that wraps round an int";
    EXPECT_FALSE(reader.attach(position, cv::Size(464, 399)));
    EXPECT_FALSE(reader.attach(position, cv::Size(std::numeric_limits<int>::max(), 3)));
    EXPECT_TRUE(reader.attach(position, image)) << reader.error();
    reader.detach();
    shmctl(id, IPC_RMID, nullptr);
}
