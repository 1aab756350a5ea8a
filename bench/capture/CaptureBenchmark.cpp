// Cost of the capture worker's per-frame work (split, mask, the copies into
// and out of the newest pair) at both raw sizes, and the frame rate the
// whole capture path sustains from a lossless file source.
#include <cstdio>
#include <cstdlib>
#include <string>

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <opencv2/core/utils/logger.hpp>
#include <opencv2/videoio.hpp>

#include "camera/StereoCamera.h"

namespace {

cv::Mat texturedFrame(cv::Size raw)
{
    cv::Mat frame(raw, CV_8UC3);
    cv::randu(frame, cv::Scalar::all(0), cv::Scalar::all(255));
    return frame;
}

// One worker round without the device read: split into two copies, mask
// both, deep copies into the newest pair, deep copies out in a getter.
void BM_CaptureRound(benchmark::State& state)
{
    const cv::Size raw(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    const cv::Mat frame = texturedFrame(raw);
    const int half = raw.width / 2;
    cv::Mat storedLeft, storedRight, outLeft, outRight;
    for (auto _ : state) {
        cv::Mat left = frame(cv::Rect(0, 0, half, raw.height)).clone();
        cv::Mat right = frame(cv::Rect(half, 0, half, raw.height)).clone();
        convertRawFisheyeImage(raw.width >> 2, left, right);
        storedLeft = left.clone();
        storedRight = right.clone();
        outLeft = storedLeft.clone();
        outRight = storedRight.clone();
        benchmark::DoNotOptimize(outRight.data);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(frame.total() * frame.elemSize()));
}
BENCHMARK(BM_CaptureRound)->Args({1856, 800})->Args({928, 400})->Unit(benchmark::kMicrosecond);

// Writes a short lossless side-by-side video with a frame rate far above the
// worker's, so that pacing never holds it back.
std::string writeSource(cv::Size raw)
{
    const std::string path = "/tmp/korvane-bench-" + std::to_string(getpid()) + "-" +
                             std::to_string(raw.width) + ".mkv";
    cv::VideoWriter writer(path, cv::VideoWriter::fourcc('F', 'F', 'V', '1'), 1000.0, raw, true);
    for (int i = 0; i < 30; ++i)
        writer.write(texturedFrame(raw));
    return path;
}

// Frames per second delivered through getStereoFrame while the worker plays
// the file (decoding included).
void BM_CaptureFromFile(benchmark::State& state)
{
    const cv::Size raw(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    const std::string source = writeSource(raw);
    StereoCamera camera(97);
    camera.setLogLevel(0);
    camera.setRawFrameSize(raw);
    if (!camera.openVideo(source)) {
        state.SkipWithError("cannot open the generated video");
        return;
    }
    camera.startCapture(false, false);
    cv::Mat left, right;
    std::chrono::microseconds stamp{0};
    camera.getStereoFrame(left, right, stamp);
    for (auto _ : state)
        camera.getStereoFrame(left, right, stamp);
    camera.stopCapture();
    std::remove(source.c_str());
    state.counters["fps"] = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_CaptureFromFile)->Args({1856, 800})->Args({928, 400})->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char** argv)
{
    setenv("OPENCV_VIDEOIO_PRIORITY_GPHOTO2", "0", 1);
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_ERROR);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
