// Corner detection on half-size frames, which must keep up with a live
// preview (10 frames per second on two cores), and the calibration of 25
// full-size views, which must take under a minute: views of the synthetic
// module, rendered once.
#include <map>

#include <benchmark/benchmark.h>

#include <opencv2/aruco/dictionary.hpp>

#include "calibration/RenderedViews.h"
#include "camera/calibration/StereoCalibrator.h"
#include "camera/calibration/TargetDetector.h"
#include "emulator/synthetic/SyntheticStereoModule.h"

using korvane::calibration::CalibrationTarget;
using korvane::calibration::StereoCalibrator;
using korvane::calibration::TargetDetector;

namespace {

CalibrationTarget target(bool charuco)
{
    return charuco ? CalibrationTarget::charuco({8, 6}, 40.0, 30.0, cv::aruco::DICT_4X4_50)
                   : CalibrationTarget::chessboard({9, 6}, 40.0);
}

const std::vector<cv::Mat>& views(bool charuco, cv::Size raw)
{
    static std::map<std::pair<bool, int>, std::vector<cv::Mat>> rendered;
    auto& slot = rendered[{charuco, raw.width}];
    if (slot.empty())
        slot = korvane::test::renderedViews(target(charuco), raw, 25, 20);
    return slot;
}

// Both eyes of one frame per iteration, cycling through the 25 views.
void DetectPair928(benchmark::State& state)
{
    const bool charuco = state.range(0) != 0;
    const std::vector<cv::Mat>& frames = views(charuco, {928, 400});
    const TargetDetector detector(target(charuco));
    size_t index = 0;
    int found = 0;
    for (auto _ : state) {
        TargetDetector::PairCorners pair;
        std::string why;
        found += detector.detectPair(frames[index++ % frames.size()], pair, why);
    }
    state.counters["frames_per_second"] = benchmark::Counter(static_cast<double>(state.iterations()),
                                                             benchmark::Counter::kIsRate);
    state.counters["found_share"] = static_cast<double>(found) / static_cast<double>(state.iterations());
    state.SetLabel(charuco ? "ChArUco 8x6" : "chessboard 9x6");
}
BENCHMARK(DetectPair928)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();

// Both eyes of a frame of the synthetic room without a target, as a live
// preview sees between captures: what a miss costs.
void DetectPairNoTarget928(benchmark::State& state)
{
    const bool charuco = state.range(0) != 0;
    const cv::Size raw(928, 400);
    cv::Mat frame = korvane::synthetic::SyntheticStereoModule(raw).renderFrame(0);
    korvane::synthetic::SyntheticTarget::degrade(frame, korvane::test::kBlurSigma, korvane::test::kNoiseSigma, 1);
    const TargetDetector detector(target(charuco));
    int found = 0;
    for (auto _ : state) {
        TargetDetector::PairCorners pair;
        std::string why;
        found += detector.detectPair(frame, pair, why);
    }
    state.counters["frames_per_second"] = benchmark::Counter(static_cast<double>(state.iterations()),
                                                             benchmark::Counter::kIsRate);
    state.counters["found_share"] = static_cast<double>(found) / static_cast<double>(state.iterations());
    state.SetLabel(charuco ? "ChArUco 8x6" : "chessboard 9x6");
}
BENCHMARK(DetectPairNoTarget928)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();

// Each eye and the pair from the views found in 25 full-size frames.
void Calibrate25Views1856(benchmark::State& state)
{
    const bool charuco = state.range(0) != 0;
    const TargetDetector detector(target(charuco));
    std::vector<TargetDetector::PairCorners> found;
    for (const cv::Mat& frame : views(charuco, {1856, 800})) {
        TargetDetector::PairCorners pair;
        std::string why;
        if (detector.detectPair(frame, pair, why))
            found.push_back(pair);
    }
    double pairRms = 0.0;
    for (auto _ : state)
        pairRms = StereoCalibrator(detector).calibrate(found, {928, 800}).pairRms;
    state.counters["views"] = static_cast<double>(found.size());
    state.counters["pair_rms_px"] = pairRms;
    state.SetLabel(charuco ? "ChArUco 8x6" : "chessboard 9x6");
}
BENCHMARK(Calibrate25Views1856)->Arg(1)->Arg(0)->Unit(benchmark::kSecond)->Iterations(1)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
