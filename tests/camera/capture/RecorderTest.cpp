#include <gtest/gtest.h>

#include <opencv2/videoio.hpp>

#include "CaptureTestSupport.h"
#include "support/ChildProcess.h"

using namespace korvane::test;

namespace {

int runTool(const std::vector<std::string>& args)
{
    int status = -1;
    runProgram(args, {}, status, std::chrono::seconds(30));
    return status;
}

} // namespace

TEST(Recorder, RecordingPlaysBackBitExactThroughOpenVideo)
{
    TempDir dir;
    const std::string source = writeTestVideo(dir, cv::Size(928, 400), 6, 30.0, "source.mkv");
    const std::string recording = dir.file("recording.mkv");
    ASSERT_EQ(runTool({KORVANE_RECORD_TOOL, "--source", source, "--frames", "5", "--out", recording}), 0);

    cv::VideoCapture original(source), copy(recording);
    cv::Mat a, b;
    int frames = 0;
    while (copy.read(b)) {
        ASSERT_TRUE(original.read(a));
        EXPECT_EQ(cv::norm(a, b, cv::NORM_INF), 0.0) << "frame " << frames;
        ++frames;
    }
    EXPECT_EQ(frames, 5);

    CaptureProbe camera(kAbsentDevice);
    ASSERT_TRUE(camera.setRawFrameSize(cv::Size(928, 400)));
    ASSERT_TRUE(camera.openVideo(recording));
    ASSERT_TRUE(camera.startCapture(false, false));
    cv::Mat left, right;
    std::chrono::microseconds stamp{0};
    ASSERT_TRUE(camera.getStereoFrame(left, right, stamp));
    EXPECT_LT(frameIndexOf(left), 5);
}

TEST(Recorder, BadArgumentsAndMissingSourcesFailWithTheirStatus)
{
    TempDir dir;
    EXPECT_EQ(runTool({KORVANE_RECORD_TOOL, "--frames", "5"}), 2);
    EXPECT_EQ(runTool({KORVANE_RECORD_TOOL, "--source", dir.file("none.mkv"), "--out", dir.file("o.mkv")}), 1);
    EXPECT_EQ(runTool({KORVANE_RECORD_TOOL, "--help"}), 0);
}
