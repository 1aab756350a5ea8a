#include <cstring>
#include <set>
#include <thread>

#include <gtest/gtest.h>

#include <sys/ipc.h>
#include <sys/shm.h>

#include <opencv2/imgcodecs.hpp>

#include "CameraTestSupport.h"
#include "CaptureTestSupport.h"
#include "camera/SharedFrameLayout.h"
#include "camera/SharedFrameReader.h"
#include "support/CaptureStream.h"
#include "support/ChildProcess.h"

using namespace korvane::test;
using std::chrono::microseconds;

namespace {

// Starts capture with shared memory on a generated video and waits for the
// first published pair.
void startSharing(CaptureProbe& camera, const TempDir& dir, int position, cv::Size raw, double fps = 30.0,
                  int frames = 20)
{
    // A segment left behind by an earlier run that was killed would not fit.
    const int stale = shmget(9000 + position, 0, 0);
    if (stale >= 0)
        shmctl(stale, IPC_RMID, nullptr);
    camera.setPosNumber(position);
    ASSERT_TRUE(camera.setRawFrameSize(raw));
    ASSERT_TRUE(camera.openVideo(writeTestVideo(dir, raw, frames, fps)));
    ASSERT_TRUE(camera.startCapture(false, true));
    cv::Mat l, r;
    microseconds stamp{0};
    ASSERT_TRUE(camera.getStereoFrame(l, r, stamp));
}

size_t segmentSize(int key)
{
    shmid_ds info{};
    const int id = shmget(key, 0, 0);
    return id >= 0 && shmctl(id, IPC_STAT, &info) == 0 ? info.shm_segsz : 0;
}

bool waitForStatus(const void* segment, std::int32_t status, int timeoutMs)
{
    for (int waited = 0; waited < timeoutMs; ++waited) {
        if (korvane::shm::loadStatus(segment) == status)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

} // namespace

// Positions 0 and 2 at both raw sizes, one after the other in one test, as
// the cases share keys.
TEST(SharedMemory, SegmentHasTheKeyAndSizeAndGoesAwayWithTheWorker)
{
    struct Case
    {
        int position;
        cv::Size raw;
        size_t bytes;
    };
    for (const Case c : {Case{0, {928, 400}, 556804}, Case{2, {928, 400}, 556804},
                         Case{0, {1856, 800}, 2227204}, Case{2, {1856, 800}, 2227204}}) {
        SCOPED_TRACE(std::to_string(c.position) + " " + std::to_string(c.raw.width));
        TempDir dir;
        CaptureProbe camera(kAbsentDevice);
        startSharing(camera, dir, c.position, c.raw);
        const int key = 9000 + c.position;
        EXPECT_EQ(segmentSize(key), c.bytes);
        shmid_ds info{};
        ASSERT_EQ(shmctl(shmget(key, 0, 0), IPC_STAT, &info), 0);
        EXPECT_EQ(info.shm_perm.mode & 0777, 0666u);
        camera.stopCapture();
        EXPECT_LT(shmget(key, 0, 0), 0);
    }
}

TEST(SharedMemoryProtocol, NoCopyWhileTheWordIsTwoThenTheNextImageAfterTheReaderTookIt)
{
    TempDir dir;
    CaptureProbe camera(kAbsentDevice);
    startSharing(camera, dir, 4, cv::Size(928, 400), 60.0);
    void* segment = shmat(shmget(9004, 0, 0), nullptr, 0);
    ASSERT_NE(segment, reinterpret_cast<void*>(-1));
    ASSERT_TRUE(waitForStatus(segment, korvane::shm::kNewImage, 2000));
    const size_t bytes = 464 * 400 * 3;
    std::vector<uint8_t> first(korvane::shm::imageBytes(segment), korvane::shm::imageBytes(segment) + bytes);
    // Several frames pass while the word stays 2: the image is left alone.
    cv::Mat l, r;
    microseconds stamp{0};
    for (int i = 0; i < 5; ++i)
        ASSERT_TRUE(camera.getStereoFrame(l, r, stamp));
    EXPECT_EQ(korvane::shm::loadStatus(segment), korvane::shm::kNewImage);
    EXPECT_EQ(std::memcmp(first.data(), korvane::shm::imageBytes(segment), bytes), 0);
    // Taken by the reader: the next frame is copied in.
    korvane::shm::storeStatus(segment, korvane::shm::kEmpty);
    ASSERT_TRUE(waitForStatus(segment, korvane::shm::kNewImage, 2000));
    ASSERT_TRUE(camera.getStereoFrame(l, r, stamp)); // the copy is done by now
    EXPECT_NE(std::memcmp(first.data(), korvane::shm::imageBytes(segment), bytes), 0);
    shmdt(segment);
}

TEST(SharedMemoryProtocol, ReaderApiCopiesTheLeftImageAndEmptiesTheSegment)
{
    TempDir dir;
    CaptureProbe camera(kAbsentDevice);
    startSharing(camera, dir, 5, cv::Size(928, 400));
    korvane::SharedFrameReader reader;
    ASSERT_TRUE(reader.attach(5)) << reader.error();
    EXPECT_EQ(reader.imageSize(), cv::Size(464, 400));
    EXPECT_EQ(reader.segmentBytes(), 556804u);
    cv::Mat image;
    ASSERT_TRUE(reader.read(image, std::chrono::milliseconds(2000))) << reader.error();
    ASSERT_EQ(image.size(), cv::Size(464, 400));
    EXPECT_EQ(image.at<cv::Vec3b>(0, 0), cv::Vec3b(0, 0, 0)); // masked
    EXPECT_EQ(image.at<cv::Vec3b>(200, 100)[0], 200);
    camera.stopCapture();
    korvane::SharedFrameReader late;
    EXPECT_FALSE(late.attach(5)); // the segment went away with the worker
}

TEST(SharedMemoryProtocol, ReaderWithoutSegmentSaysSo)
{
    korvane::SharedFrameReader reader;
    EXPECT_FALSE(reader.attach(77));
    EXPECT_NE(reader.error().find("9077"), std::string::npos);
    cv::Mat image;
    EXPECT_FALSE(reader.read(image, std::chrono::milliseconds(1)));
}

TEST(SharedMemoryProtocol, AnotherProcessReadsTheFramesWithTheTool)
{
    TempDir dir;
    CaptureProbe camera(kAbsentDevice);
    // A loop of 4 s: consecutive reads never meet the same frame again.
    startSharing(camera, dir, 6, cv::Size(928, 400), 30.0, 120);
    const std::string out = dir.file("frames");
    int status = -1;
    const std::string text = runProgram({KORVANE_SHM_TOOL, "--position", "6", "--count", "5", "--timeout-ms", "5000",
                                         "--out", out},
                                        {}, status, std::chrono::seconds(30));
    ASSERT_EQ(status, 0) << text;
    // The writer sets the word before it copies, so a reader may now and
    // then take the previous image again; over five reads the frames move on.
    std::set<int> indices;
    for (int i = 0; i < 5; ++i) {
        const cv::Mat image = cv::imread(out + "/left_" + std::to_string(i) + ".png");
        ASSERT_EQ(image.size(), cv::Size(464, 400)) << i;
        EXPECT_EQ(image.at<cv::Vec3b>(0, 0), cv::Vec3b(0, 0, 0)) << i; // masked
        EXPECT_LT(frameIndexOf(image), 120) << i;
        indices.insert(frameIndexOf(image));
    }
    EXPECT_GE(indices.size(), 2u);
}

TEST(SharedMemoryFailure, RawWidthOfNeitherSizeEndsTheProcessWithStatusOne)
{
    TempDir dir;
    const std::string video = writeTestVideo(dir, cv::Size(640, 400), 5, 30.0);
    const ChildOutcome outcome = runInChild(
        [&] {
            CaptureProbe camera(kAbsentDevice);
            camera.openVideo(video); // the raw size stays unset: neither 1856 nor 928 wide
            camera.startCapture(false, true);
            std::this_thread::sleep_for(std::chrono::seconds(20));
        },
        15000);
    ASSERT_TRUE(outcome.exited);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.out.find("\033[1m\033[31m[StereoCamera][ERROR] share memory shmat failed!\n\033[0m"),
              std::string::npos);
}
