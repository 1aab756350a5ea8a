#include <gtest/gtest.h>

#include <spawn.h>
#include <sys/wait.h>

#include <opencv2/videoio.hpp>

#include "CaptureTestSupport.h"

extern char** environ;

using namespace korvane::test;

namespace {

int runTool(std::vector<std::string> args)
{
    std::vector<char*> argv;
    for (auto& a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    pid_t pid = 0;
    if (posix_spawn(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0)
        return -1;
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
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
