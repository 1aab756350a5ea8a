#include <cstdio>
#include <filesystem>
#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <opencv2/imgcodecs.hpp>

#include "camera/StreamSink.h"
#include "support/TempDir.h"

using korvane::stream::StreamSink;
using korvane::test::TempDir;

namespace {

const cv::Size kSize(32, 24);

cv::Mat filled(cv::Size size, int value)
{
    return cv::Mat(size, CV_8UC3, cv::Scalar(value, 255 - value, value / 2));
}

bool identical(const cv::Mat& a, const cv::Mat& b)
{
    return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0.0;
}

class ImageSequenceSink : public ::testing::Test
{
protected:
    std::string sent(int index) const
    {
        char name[32];
        std::snprintf(name, sizeof name, "sent_%02d.png", index);
        return dir.file(name);
    }
    bool openFor(cv::Size size) { return sink.open(dir.file("sent_%02d.png"), cv::CAP_IMAGES, 0.0, size); }

    TempDir dir;
    StreamSink sink;
};

} // namespace

TEST_F(ImageSequenceSink, ANewSinkIsClosedAndDropsFrames)
{
    EXPECT_FALSE(sink.isOpen());
    sink.send(filled(kSize, 10));
    sink.sendSideBySide(filled(kSize, 10), filled(kSize, 20));
    sink.close();
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
}

TEST_F(ImageSequenceSink, SendsFramesInOrderAndPairsSideBySide)
{
    ASSERT_TRUE(openFor(kSize));
    EXPECT_TRUE(sink.isOpen());
    const cv::Mat a = filled(kSize, 40);
    const cv::Mat b = filled(kSize, 80);
    sink.send(a);
    sink.send(b);
    sink.close();
    EXPECT_FALSE(sink.isOpen());
    EXPECT_TRUE(identical(cv::imread(sent(0)), a));
    EXPECT_TRUE(identical(cv::imread(sent(1)), b));

    const cv::Size half(kSize.width / 2, kSize.height);
    ASSERT_TRUE(openFor(kSize));
    sink.sendSideBySide(filled(half, 100), filled(half, 200));
    sink.close();
    cv::Mat joined;
    cv::hconcat(filled(half, 100), filled(half, 200), joined);
    EXPECT_TRUE(identical(cv::imread(sent(0)), joined));
}

TEST_F(ImageSequenceSink, FramesAfterCloseAreDropped)
{
    ASSERT_TRUE(openFor(kSize));
    sink.send(filled(kSize, 1));
    sink.close();
    sink.send(filled(kSize, 2));
    EXPECT_TRUE(std::filesystem::exists(sent(0)));
    EXPECT_FALSE(std::filesystem::exists(sent(1)));
}

TEST_F(ImageSequenceSink, AWriterThatDoesNotOpenIsReportedAndDropsFrames)
{
    ASSERT_TRUE(openFor(kSize));
    EXPECT_FALSE(sink.open("appsrc ! videoconvert ! korvanenosuchelement", cv::CAP_GSTREAMER, 30.0, kSize));
    EXPECT_FALSE(sink.isOpen());
    sink.send(filled(kSize, 3)); // the image sequence was replaced: nothing reaches it
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
}

// Senders on several threads: every frame arrives whole, none is lost.
TEST_F(ImageSequenceSink, FramesFromSeveralThreadsArriveWhole)
{
    constexpr int kThreads = 4;
    constexpr int kEach = 5;
    ASSERT_TRUE(openFor(kSize));
    std::vector<std::thread> senders;
    for (int t = 0; t < kThreads; ++t)
        senders.emplace_back([this, t] {
            for (int n = 0; n < kEach; ++n)
                sink.send(filled(kSize, 10 * (t * kEach + n)));
        });
    for (std::thread& sender : senders)
        sender.join();
    sink.close();

    std::set<int> seen;
    for (int i = 0; i < kThreads * kEach; ++i) {
        const cv::Mat frame = cv::imread(sent(i));
        ASSERT_FALSE(frame.empty()) << i;
        const int value = frame.at<cv::Vec3b>(0, 0)[0];
        EXPECT_TRUE(identical(frame, filled(kSize, value))) << i;
        seen.insert(value);
    }
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(kThreads * kEach));
    EXPECT_FALSE(std::filesystem::exists(sent(kThreads * kEach)));
}
