// One frame of a guided capture: the target looked for in both eyes, the
// frame judged (still, sharp, adding coverage) and the window's picture
// composed, which must keep up with a live preview. Rendered views of the
// synthetic module, each held for three frames as a user holds the board.
#include <benchmark/benchmark.h>

#include <opencv2/aruco/dictionary.hpp>

#include "GuidedCapture.h"
#include "GuidedWindow.h"
#include "calibration/RenderedViews.h"

using korvane::calibration::CalibrationTarget;

namespace {

const CalibrationTarget kBoard = CalibrationTarget::charuco({8, 6}, 40.0, 30.0, cv::aruco::DICT_4X4_50);
constexpr int kPoses = 12;
constexpr int kHeldFrames = 3;

void GuidedFrame(benchmark::State& state)
{
    const cv::Size raw(static_cast<int>(state.range(0)), static_cast<int>(state.range(0)) * 400 / 928);
    std::vector<cv::Mat> frames;
    for (const cv::Mat& view : korvane::test::renderedViews(kBoard, raw, kPoses, 40))
        frames.insert(frames.end(), kHeldFrames, view);
    GuidedCapture::Settings settings;
    settings.wantedViews = 1000; // never done
    GuidedCapture capture(kBoard, raw, settings);
    size_t index = 0;
    for (auto _ : state) {
        const cv::Mat& frame = frames[index++ % frames.size()];
        const GuidedCapture::Step step = capture.offer(frame);
        benchmark::DoNotOptimize(GuidedWindow::compose(frame, capture, step).data);
    }
    state.counters["frames_per_second"] = benchmark::Counter(static_cast<double>(state.iterations()),
                                                             benchmark::Counter::kIsRate);
    state.counters["views_kept"] = static_cast<double>(capture.views().size());
}
BENCHMARK(GuidedFrame)->Arg(928)->Arg(1856)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
