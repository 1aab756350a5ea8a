// The hand-over of the newest frame between the thread that makes frames
// and the threads that wait for them, on its own.
#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "camera/FramePublisher.h"

using korvane::FramePublisher;
using std::chrono::microseconds;

namespace {

FramePublisher::Frame frameAt(int stamp)
{
    return {cv::Mat(2, 3, CV_8UC3, cv::Scalar(stamp % 256)), cv::Mat(2, 3, CV_8UC3, cv::Scalar(1)),
            microseconds(stamp)};
}

// Reads the next frame's stamp on a thread of its own.
class Reader
{
public:
    explicit Reader(FramePublisher& publisher, const std::atomic<bool>* giveUp = nullptr)
        : m_thread([this, &publisher, giveUp] {
              m_read = publisher.readNext([this](const FramePublisher::Frame& f) { m_stamp = f.timeStamp.count(); },
                                          [giveUp] { return giveUp && *giveUp; });
              m_done = true;
          })
    {
    }
    ~Reader()
    {
        if (m_thread.joinable())
            m_thread.join();
    }
    // Joins the reader: whether it read, and what.
    bool result(long& stamp)
    {
        m_thread.join();
        stamp = m_stamp;
        return m_read;
    }
    bool done() const { return m_done; }

private:
    std::atomic<bool> m_done{false};
    bool m_read = false;
    long m_stamp = -1;
    std::thread m_thread;
};

// Publishes frames with stamps from `first` until the reader is done.
void publishUntilDone(FramePublisher& publisher, const Reader& reader, int first)
{
    for (int stamp = first; !reader.done(); ++stamp) {
        publisher.publish(frameAt(stamp));
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

} // namespace

TEST(FramePublisher, AClosedPublisherHasNothingToWaitFor)
{
    FramePublisher publisher;
    bool called = false;
    EXPECT_FALSE(publisher.isOpen());
    EXPECT_FALSE(publisher.readNext([&](const FramePublisher::Frame&) { called = true; }));
    EXPECT_FALSE(called);
}

TEST(FramePublisher, AReaderGetsAPublicationAfterTheOneCurrentWhenItAsked)
{
    FramePublisher publisher;
    publisher.open();
    publisher.publish(frameAt(5));
    Reader reader(publisher);
    publishUntilDone(publisher, reader, 6);
    long stamp = 0;
    ASSERT_TRUE(reader.result(stamp));
    EXPECT_GE(stamp, 6); // never the frame that was there before it asked
}

TEST(FramePublisher, PublishedImagesAreHandedOverNotCopied)
{
    FramePublisher publisher;
    FramePublisher::Frame frame = frameAt(1);
    const uchar* pixels = frame.left.data;
    publisher.publish(std::move(frame));
    EXPECT_EQ(publisher.newest().left.data, pixels);
    EXPECT_EQ(publisher.publications(), 1u);
}

TEST(FramePublisher, ClosingWakesAWaitingReaderEmptyHanded)
{
    FramePublisher publisher;
    publisher.open();
    Reader reader(publisher);
    while (!reader.done()) {
        publisher.close(); // the reader may not be waiting yet: close until it has seen it
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    long stamp = 0;
    EXPECT_FALSE(reader.result(stamp));
    EXPECT_EQ(stamp, -1);
}

TEST(FramePublisher, AReaderGivesUpWhenItsTestHoldsOnAWakeUp)
{
    FramePublisher publisher;
    publisher.open();
    std::atomic<bool> giveUp{false};
    Reader reader(publisher, &giveUp);
    giveUp = true;
    while (!reader.done()) {
        publisher.wakeAll();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    long stamp = 0;
    EXPECT_FALSE(reader.result(stamp));
    EXPECT_TRUE(publisher.isOpen());
}

TEST(FramePublisher, ThePeriodIsTheTimeBetweenTheTwoNewestStamps)
{
    FramePublisher publisher;
    auto period = [&] { return publisher.readNewest([](const FramePublisher::Frame&, microseconds p) { return p; }); };
    publisher.publish(frameAt(10));
    EXPECT_EQ(period(), microseconds(0));
    publisher.publish(frameAt(25));
    EXPECT_EQ(period(), microseconds(15));
    publisher.publish(frameAt(26));
    EXPECT_EQ(period(), microseconds(1));
}

TEST(FramePublisher, ReadAfterGivesTheNewestAndItsNumberOrNothingWithinThePatience)
{
    FramePublisher publisher;
    publisher.publish(frameAt(3));
    publisher.publish(frameAt(4));
    std::uint64_t number = 0;
    long stamp = 0;
    auto read = [&](const FramePublisher::Frame& f, std::uint64_t n) {
        number = n;
        stamp = f.timeStamp.count();
    };
    ASSERT_TRUE(publisher.readAfter(0, std::chrono::milliseconds(0), read));
    EXPECT_EQ(number, 2u);
    EXPECT_EQ(stamp, 4);
    EXPECT_FALSE(publisher.readAfter(2, std::chrono::milliseconds(5), read));
}

// Readers on several threads against a fast publisher: each sees stamps only
// rising, so no reader ever gets one frame twice.
TEST(FramePublisher, ConcurrentReadersNeverSeeAFrameTwice)
{
    FramePublisher publisher;
    publisher.open();
    constexpr int kReaders = 3;
    std::atomic<int> failures{0};
    std::vector<std::thread> readers;
    for (int r = 0; r < kReaders; ++r)
        readers.emplace_back([&] {
            long last = -1;
            long stamp = -1;
            while (publisher.readNext([&](const FramePublisher::Frame& f) { stamp = f.timeStamp.count(); })) {
                if (stamp <= last)
                    ++failures;
                last = stamp;
            }
        });
    for (int stamp = 0; stamp < 300; ++stamp)
        publisher.publish(frameAt(stamp), stamp % 50 == 0 ? microseconds(200) : microseconds(0));
    publisher.close();
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(publisher.publications(), 300u);
}
