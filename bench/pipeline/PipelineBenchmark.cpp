// The disparity worker with one and with two pairs in flight, side by side in
// one run, at rectified 640x480 and 928x800 from a 1856x800 source paced at
// 30 frames per second (an uncompressed BMP sequence of the synthetic
// module, cheap to decode so that the source is not what limits the rate):
//   sourceDecode   frames per second the source gives when nothing paces it
//   splitAndMask   a capture round's split and mask: copies then mask
//                  against the one-pass split
//   remaps         the three remaps of one pair: float against fixed-point maps
//   remapAndMatch  one pair's cost in the worker: the three remaps of
//                  getRectStereoFrame (Depthmode 2, fixed-point maps as the
//                  camera uses them) and SGBM with the
//                  float conversion; the yardstick of latency
//   publication    the real capture and disparity workers: publications per
//                  second (every one counted) and latency from a raw pair's
//                  time stamp to its arrival at a reader
// A summary table follows with the ratios: rate against one pair in flight,
// latency against one remap-and-match.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "CollectingReporter.h"
#include "PublicationRun.h"
#include "RenderedSequence.h"
#include "SummaryRun.h"
#include "SyntheticCamera.h"
#include "ThreadCpuTimes.h"

#include <opencv2/calib3d.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "camera/DisparityMatcher.h"
#include "camera/LoopingVideoCapture.h"
#include "camera/StereoCamera.h"

namespace {

const cv::Size kRawSize(1856, 800);
const cv::Size kRectSizes[] = {{640, 480}, {928, 800}};

// The frame sequence, written as uncompressed bitmaps: decoding one is a copy.
RenderedSequence& source()
{
    static RenderedSequence s;
    return s;
}

bool renderSource()
{
    return source().write(kRawSize, "/tmp/korvane-bench-pipeline-" + std::to_string(getpid()), "bmp");
}

void removeSource()
{
    source().remove();
}

// The synthetic camera in its perspective view with SGBM; reach into the
// maps and the publication count.
class BenchCamera : public SyntheticCamera
{
public:
    explicit BenchCamera(cv::Size rect) : SyntheticCamera(kRawSize, rect, 2, 0) {}

    const cv::Mat* maps(int eye) const { return m_rectifier.maps(korvane::StereoRectifier::kPerspective, eye); }
    const korvane::FixedPointMaps& fixedMaps(int eye) const
    {
        return m_rectifier.fixedMaps(korvane::StereoRectifier::kPerspective, eye);
    }

    std::uint64_t publications() const { return m_disparityFrames.publications(); }
};

cv::Size rectArg(const benchmark::State& state)
{
    return {static_cast<int>(state.range(0)), static_cast<int>(state.range(1))};
}

void remapAndMatch(benchmark::State& state)
{
    BenchCamera camera(rectArg(state));
    camera.buildMaps();
    const RenderedSequence& s = source();
    korvane::DisparityMatcher matcher(korvane::DisparityMatcher::kSemiGlobal);
    for (auto _ : state) {
        const cv::Mat centre = remapped(s.left, camera.fixedMaps(0));
        const cv::Mat left = centre.clone();
        const cv::Mat right = remapped(s.right, camera.fixedMaps(1));
        const cv::Mat disparity = matcher.match(left, right);
        benchmark::DoNotOptimize(disparity.data);
    }
}

// The source as the capture worker reads it, without the 30 fps pace.
void sourceDecode(benchmark::State& state)
{
    korvane::LoopingVideoCapture capture(source().pattern, 1e6);
    cv::Mat frame;
    for (auto _ : state) {
        if (!capture.read(frame) || frame.size() != kRawSize) {
            state.SkipWithError("the frame sequence does not play");
            return;
        }
        benchmark::DoNotOptimize(frame.data);
    }
    state.counters["fps"] = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

// One capture round's split and mask of a 1856x800 frame: 0 copies of the
// halves then the mask, 1 the one-pass split.
void splitAndMask(benchmark::State& state)
{
    const cv::Mat& frame = source().frame;
    for (auto _ : state) {
        cv::Mat left, right;
        if (state.range(0) == 0)
            copyHalvesAndMask(frame, left, right);
        else
            korvane::splitRawFisheyeFrame(kRawSize.width >> 2, frame, left, right);
        benchmark::DoNotOptimize(right.data);
    }
}

// The three remaps of one pair (Depthmode 2): 0 float maps, 1 fixed-point maps.
void remaps(benchmark::State& state)
{
    BenchCamera camera(rectArg(state));
    camera.buildMaps();
    const RenderedSequence& s = source();
    const bool fixed = state.range(2) == 1;
    for (auto _ : state) {
        const cv::Mat centre = fixed ? remapped(s.left, camera.fixedMaps(0)) : remapped(s.left, camera.maps(0));
        const cv::Mat left = centre.clone();
        const cv::Mat right = fixed ? remapped(s.right, camera.fixedMaps(1)) : remapped(s.right, camera.maps(1));
        benchmark::DoNotOptimize(right.data);
    }
}

// Each iteration takes the next disparity a reader gets; the rate counts
// every publication in the measured time, read or not.
void publication(benchmark::State& state)
{
    BenchCamera camera(rectArg(state));
    camera.setPairsInFlight(static_cast<int>(state.range(2)));
    std::uint64_t first = 0, published = 0;
    ThreadCpuTimes cpuAtStart;
    std::map<std::string, double> cpu;
    PublicationRun run;
    run.measure(
        state, camera, source().pattern,
        [&] {
            first = camera.publications();
            cpuAtStart = ThreadCpuTimes::now();
        },
        [&] {
            published = camera.publications() - first;
            cpu = ThreadCpuTimes::now().since(cpuAtStart);
        });
    if (!run.ok)
        return;
    run.setCounters(state, static_cast<double>(published));
    // Processor time per second of the run, in cores: the capture worker,
    // the matching lanes, the library's worker threads (parallel remaps)
    // and the reader (this thread).
    double capture = 0, match = 0, pool = 0, reader = 0;
    for (const auto& [name, used] : cpu) {
        double& group = name == "korvane-capture" ? capture : name == "korvane-match" ? match
                                                            : name == "main"          ? reader
                                                                                      : pool;
        group += used / run.seconds;
    }
    state.counters["cpu_capture"] = capture;
    state.counters["cpu_match"] = match;
    state.counters["cpu_pool"] = pool;
    state.counters["cpu_reader"] = reader;
}

void registerAll()
{
    benchmark::RegisterBenchmark("sourceDecode", sourceDecode)->Unit(benchmark::kMillisecond)->UseRealTime();
    benchmark::RegisterBenchmark("splitAndMask", splitAndMask)
        ->ArgName("onePass")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond)->UseRealTime();
    auto* remap = benchmark::RegisterBenchmark("remaps", remaps);
    for (const cv::Size rect : kRectSizes)
        for (int fixed : {0, 1})
            remap->Args({rect.width, rect.height, fixed});
    remap->ArgNames({"w", "h", "fixed"})->Unit(benchmark::kMillisecond)->UseRealTime();
    auto* cost = benchmark::RegisterBenchmark("remapAndMatch", remapAndMatch);
    auto* rate = benchmark::RegisterBenchmark("publication", publication);
    for (const cv::Size rect : kRectSizes) {
        cost->Args({rect.width, rect.height});
        for (int pairs : {1, 2})
            rate->Args({rect.width, rect.height, pairs});
    }
    cost->ArgNames({"w", "h"})->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0);
    rate->ArgNames({"w", "h", "pairs"})->Iterations(150)->Unit(benchmark::kMillisecond)->UseRealTime();
}

// The usual output, then per rectified size one row per number of pairs in
// flight with the ratios to its baseline.
class SummaryReporter : public CollectingReporter
{
public:
    using CollectingReporter::CollectingReporter;

    void Finalize() override
    {
        CollectingReporter::Finalize();
        const double decoded = counter("sourceDecode/", "fps");
        std::printf("\nSource: %dx%d BMP sequence, decoded at", kRawSize.width, kRawSize.height);
        cell(decoded, 7, 1);
        std::printf(" fps unpaced, x");
        cell(decoded < 0 ? -1 : decoded / 30.0, 1, 1);
        std::printf(" its 30 fps pace\n");
        std::printf("\nSGBM depth from a %dx%d source at 30 fps (Depthmode 2): publications per second and\n"
                    "latency from raw time stamp to reader, against one pair in flight and one remap-and-match\n",
                    kRawSize.width, kRawSize.height);
        std::printf("%-8s %5s %9s %7s %8s %8s %8s %9s\n", "rect", "pairs", "match ms", "fps", "x 1 pair", "lat. ms",
                    "p90 ms", "x match");
        for (const cv::Size rect : kRectSizes) {
            const std::string size = "w:" + std::to_string(rect.width) + "/h:" + std::to_string(rect.height);
            const double match = ms("remapAndMatch/" + size);
            const double baseRate = counter("publication/" + size + "/pairs:1", "fps");
            for (int pairs : {1, 2}) {
                const std::string key = "publication/" + size + "/pairs:" + std::to_string(pairs);
                const double rate = counter(key, "fps");
                const double latency = counter(key, "latency_ms");
                std::printf("%-8s %5d", (std::to_string(rect.width) + "x" + std::to_string(rect.height)).c_str(), pairs);
                cell(match, 9, 1);
                cell(rate, 7, 1);
                cell(rate < 0 || baseRate <= 0 ? -1 : rate / baseRate, 8, 2);
                cell(latency, 8, 1);
                cell(counter(key, "latency_p90_ms"), 8, 1);
                cell(latency < 0 || match <= 0 ? -1 : latency / match, 9, 2);
                std::printf("\n");
            }
        }
        std::printf("\nProcessor time during the runs above, in cores (2 = both cores busy)\n");
        std::printf("%-8s %5s %8s %8s %8s %8s %8s\n", "rect", "pairs", "capture", "match", "pool", "reader",
                    "total");
        for (const cv::Size rect : kRectSizes)
            for (int pairs : {1, 2}) {
                const std::string key = "publication/w:" + std::to_string(rect.width) + "/h:" +
                                        std::to_string(rect.height) + "/pairs:" + std::to_string(pairs);
                std::printf("%-8s %5d", (std::to_string(rect.width) + "x" + std::to_string(rect.height)).c_str(), pairs);
                double total = 0;
                for (const char* name : {"cpu_capture", "cpu_match", "cpu_pool", "cpu_reader"}) {
                    const double used = counter(key, name);
                    cell(used, 8, 2);
                    total = used < 0 || total < 0 ? -1 : total + used;
                }
                cell(total, 8, 2);
                std::printf("\n");
            }
    }
};

} // namespace

int main(int argc, char** argv)
{
    return runOnRenderedFrames<SummaryReporter>(argc, argv, renderSource, removeSource, registerAll);
}
