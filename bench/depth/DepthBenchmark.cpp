// Cost per frame of each stage of the depth path, at both raw sizes and three
// rectified sizes, on frames of the synthetic stereo module:
//   captureRound   split, mask and the copies of one capture worker round
//   rectify        the three remaps of getRectStereoFrame for a Depthmode
//                  (centre = perspective left, then the mode's pair)
//   matching       the worker's matcher on a perspective pair, with the
//                  fixed-point to float conversion (0 SGBM, 1 BM)
//   depthImage     metric depth, getDepthFrame(disparity, depth)
//   colourDepth    false-colour depth, getDepthFrame(depth, true, stamp)
//   pointCloud     getPointCloud(std::vector<PCL>&, stamp)
//   endToEnd       frames per second and latency (raw stamp to disparity)
//                  through the real capture and disparity workers, playing
//                  a PNG sequence of rendered frames at its 30 fps
// The two waiting calls (colourDepth, pointCloud) are timed through their
// public form: a helper thread stands in for the workers and announces a
// publication every 20 us while the call waits. wakeOverhead measures that
// hand-off alone; it is included in both figures.
// A summary table per Depthmode follows the usual output.
#include <sys/prctl.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <benchmark/benchmark.h>

#include "CollectingReporter.h"
#include "PublicationRun.h"
#include "RenderedSequence.h"
#include "SummaryRun.h"
#include "SyntheticCamera.h"

#include <opencv2/calib3d.hpp>
#include <opencv2/core/utils/logger.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "camera/DisparityMatcher.h"
#include "camera/StereoCamera.h"

namespace {

using namespace std::chrono_literals;

const cv::Size kRawSizes[] = {{1856, 800}, {928, 400}};
const cv::Size kRectSizes[] = {{464, 400}, {640, 480}, {928, 800}};

// Rendered frames of each raw size, written once as a PNG sequence, by raw width.
std::map<int, RenderedSequence>& rawSets()
{
    static std::map<int, RenderedSequence> sets;
    return sets;
}

const RenderedSequence& rawSet(int rawWidth)
{
    return rawSets().at(rawWidth);
}

bool renderSets()
{
    for (const cv::Size raw : kRawSizes) {
        RenderedSequence& set = rawSets()[raw.width];
        const std::string directory =
            "/tmp/korvane-bench-depth-" + std::to_string(getpid()) + "-" + std::to_string(raw.width);
        if (!set.write(raw, directory, "png", {cv::IMWRITE_PNG_COMPRESSION, 1}))
            return false;
    }
    return true;
}

void removeSets()
{
    for (const auto& entry : rawSets())
        entry.second.remove();
}

// The synthetic camera with reach into what the stages need: the maps, the
// depth mode, and stand-ins for the two workers' publications.
class BenchCamera : public SyntheticCamera
{
public:
    using SyntheticCamera::SyntheticCamera;

    const cv::Mat* maps(bool lonLat, int eye) const
    {
        using korvane::StereoRectifier;
        return m_rectifier.maps(lonLat ? StereoRectifier::kLonLat : StereoRectifier::kPerspective, eye);
    }

    // Both workers "running", with a stored disparity and its centre image.
    void standIn(const cv::Mat& centre, const cv::Mat& disparity)
    {
        m_computeRunning = true;
        m_rawFrames.open();
        m_disparityFrames.open();
        m_disparityFrames.publish({centre, disparity, std::chrono::microseconds(0)});
    }

    void standDown()
    {
        m_computeRunning = false;
        m_rawFrames.close();
        m_disparityFrames.close();
    }

    // A new raw pair (same pixels), as the capture worker announces it.
    void announceRawPair()
    {
        TimeFrame pair = m_rawFrames.newest();
        pair.timeStamp = systemNow();
        m_rawFrames.publish(std::move(pair));
    }

    // A new disparity (same pixels), as the disparity worker announces it.
    void announceDisparity()
    {
        m_disparityFrames.publish(m_disparityFrames.newest());
    }

    // Called by getPointCloud right after its wait ends.
    std::function<void()> onDepth;
    bool getDepthFrame(cv::Mat& disparity, cv::Mat& depth) override
    {
        if (onDepth)
            onDepth();
        return StereoCamera::getDepthFrame(disparity, depth);
    }
    using StereoCamera::getDepthFrame;
};

// A thread that calls `announce` every 20 us between begin() and end(), and
// sleeps otherwise: a call that waits for the next publication returns soon
// after it has begun waiting.
class Announcer
{
public:
    explicit Announcer(std::function<void()> announce) : m_announce(std::move(announce)), m_thread([this] { run(); }) {}

    ~Announcer()
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_stop = true;
        }
        m_condition.notify_all();
        m_thread.join();
    }

    void begin()
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_active = true;
        }
        m_condition.notify_all();
    }

    void end()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_active = false;
    }

private:
    void run()
    {
        prctl(PR_SET_TIMERSLACK, 1UL); // 20 us sleeps, not the default 50 us slack
        std::unique_lock<std::mutex> lock(m_mutex);
        for (;;) {
            m_condition.wait(lock, [&] { return m_active || m_stop; });
            if (m_stop)
                return;
            lock.unlock();
            std::this_thread::sleep_for(20us);
            m_announce();
            lock.lock();
        }
    }

    std::function<void()> m_announce;
    std::mutex m_mutex;
    std::condition_variable m_condition;
    bool m_active = false;
    bool m_stop = false;
    std::thread m_thread; // last: starts after the fields it reads
};

// A camera with its maps, the rectified images of frame 0 for a Depthmode
// and their SGBM disparity; built once per combination and kept.
struct Prepared
{
    std::unique_ptr<BenchCamera> camera;
    cv::Mat centre, left, right, disparity;
};

Prepared& prepared(int rawWidth, cv::Size rect, int mode)
{
    static std::map<std::tuple<int, int, int, int>, Prepared> cache;
    Prepared& p = cache[{rawWidth, rect.width, rect.height, mode}];
    if (p.camera)
        return p;
    const RenderedSequence& set = rawSet(rawWidth);
    p.camera = std::make_unique<BenchCamera>(set.frame.size(), rect, mode, 0);
    p.camera->buildMaps();
    p.centre = remapped(set.left, p.camera->maps(false, 0));
    const bool lonLat = mode == 1;
    p.left = lonLat ? remapped(set.left, p.camera->maps(true, 0)) : p.centre.clone();
    p.right = remapped(set.right, p.camera->maps(lonLat, 1));
    p.disparity = korvane::DisparityMatcher(korvane::DisparityMatcher::kSemiGlobal).match(p.left, p.right);
    return p;
}

cv::Size rectArg(const benchmark::State& state)
{
    return {static_cast<int>(state.range(1)), static_cast<int>(state.range(2))};
}

double validShare(const cv::Mat& disparity)
{
    return static_cast<double>(cv::countNonZero(disparity > 0)) / static_cast<double>(disparity.total());
}

// ---- stages ---------------------------------------------------------------

// One capture worker round without the device read.
void captureRound(benchmark::State& state)
{
    const cv::Mat& frame = rawSet(static_cast<int>(state.range(0))).frame;
    cv::Mat storedLeft, storedRight, outLeft, outRight;
    for (auto _ : state) {
        cv::Mat left, right;
        copyHalvesAndMask(frame, left, right);
        storedLeft = left.clone();
        storedRight = right.clone();
        outLeft = storedLeft.clone();
        outRight = storedRight.clone();
        benchmark::DoNotOptimize(outRight.data);
    }
}

// The three remaps getRectStereoFrame does per frame: the centre image, then
// for Depthmode 2 a copy of it and the perspective right view, for
// Depthmode 1 both longitude-latitude views. Each part's mean is a counter.
void rectify(benchmark::State& state)
{
    const int mode = static_cast<int>(state.range(3));
    Prepared& p = prepared(static_cast<int>(state.range(0)), rectArg(state), mode);
    const RenderedSequence& set = rawSet(static_cast<int>(state.range(0)));
    double part[3] = {0, 0, 0};
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        cv::Mat centre = remapped(set.left, p.camera->maps(false, 0));
        const auto t1 = std::chrono::steady_clock::now();
        cv::Mat left = mode == 2 ? centre.clone() : remapped(set.left, p.camera->maps(true, 0));
        const auto t2 = std::chrono::steady_clock::now();
        cv::Mat right = remapped(set.right, p.camera->maps(mode == 1, 1));
        const auto t3 = std::chrono::steady_clock::now();
        part[0] += std::chrono::duration<double, std::micro>(t1 - t0).count();
        part[1] += std::chrono::duration<double, std::micro>(t2 - t1).count();
        part[2] += std::chrono::duration<double, std::micro>(t3 - t2).count();
        benchmark::DoNotOptimize(right.data);
    }
    state.counters["centre_us"] = benchmark::Counter(part[0], benchmark::Counter::kAvgIterations);
    state.counters["left_us"] = benchmark::Counter(part[1], benchmark::Counter::kAvgIterations);
    state.counters["right_us"] = benchmark::Counter(part[2], benchmark::Counter::kAvgIterations);
}

// The worker's match of one perspective pair.
void matching(benchmark::State& state)
{
    const int algorithm = static_cast<int>(state.range(3));
    Prepared& p = prepared(static_cast<int>(state.range(0)), rectArg(state), 2);
    korvane::DisparityMatcher matcher(algorithm);
    cv::Mat disparity;
    for (auto _ : state) {
        disparity = matcher.match(p.left, p.right);
        benchmark::DoNotOptimize(disparity.data);
    }
    state.counters["valid"] = validShare(disparity);
}

void depthImage(benchmark::State& state)
{
    Prepared& p = prepared(static_cast<int>(state.range(0)), rectArg(state), static_cast<int>(state.range(3)));
    cv::Mat disparity = p.disparity.clone();
    cv::Mat depth;
    for (auto _ : state) {
        p.camera->getDepthFrame(disparity, depth);
        benchmark::DoNotOptimize(depth.data);
    }
    state.counters["valid"] = static_cast<double>(cv::countNonZero(depth > 0)) / static_cast<double>(depth.total());
}

void colourDepth(benchmark::State& state)
{
    Prepared& p = prepared(static_cast<int>(state.range(0)), rectArg(state), static_cast<int>(state.range(3)));
    BenchCamera& camera = *p.camera;
    camera.standIn(p.centre, p.disparity);
    {
        Announcer announcer([&] { camera.announceRawPair(); });
        cv::Mat depth;
        std::chrono::microseconds stamp{0};
        for (auto _ : state) {
            announcer.begin();
            const bool ok = camera.getDepthFrame(depth, true, stamp);
            announcer.end();
            if (!ok) {
                state.SkipWithError("no colour depth image");
                break;
            }
            benchmark::DoNotOptimize(depth.data);
        }
    }
    camera.standDown();
}

void pointCloud(benchmark::State& state)
{
    Prepared& p = prepared(static_cast<int>(state.range(0)), rectArg(state), static_cast<int>(state.range(3)));
    BenchCamera& camera = *p.camera;
    camera.standIn(p.centre, p.disparity);
    std::vector<PCL> points;
    {
        Announcer announcer([&] { camera.announceDisparity(); });
        camera.onDepth = [&] { announcer.end(); };
        std::chrono::microseconds stamp{0};
        for (auto _ : state) {
            points.clear();
            announcer.begin();
            camera.getPointCloud(points, stamp);
            announcer.end();
            benchmark::DoNotOptimize(points.data());
        }
        camera.onDepth = nullptr;
    }
    camera.standDown();
    state.counters["points"] = static_cast<double>(points.size());
}

// The announcer's hand-off alone: a wait for the next raw pair that copies
// nothing (the stored pair is empty).
void wakeOverhead(benchmark::State& state)
{
    BenchCamera camera(cv::Size(928, 400), cv::Size(464, 400), 2, 0);
    camera.standIn(cv::Mat(), cv::Mat());
    {
        Announcer announcer([&] { camera.announceRawPair(); });
        cv::Mat left, right;
        std::chrono::microseconds stamp{0};
        for (auto _ : state) {
            announcer.begin();
            camera.getStereoFrame(left, right, stamp);
            announcer.end();
        }
    }
    camera.standDown();
}

// Through the real workers (Depthmode 2, SGBM): each iteration takes the
// next disparity; latency runs from its raw pair's stamp to its arrival.
void endToEnd(benchmark::State& state)
{
    const RenderedSequence& set = rawSet(static_cast<int>(state.range(0)));
    BenchCamera camera(set.frame.size(), rectArg(state), 2, 0);
    PublicationRun run;
    run.measure(state, camera, set.pattern);
    if (run.ok)
        run.setCounters(state, static_cast<double>(run.latenciesMs.size()));
}

// ---- registration -----------------------------------------------------------

void rawOnly(benchmark::internal::Benchmark* b)
{
    for (const cv::Size raw : kRawSizes)
        b->Args({raw.width});
    b->ArgNames({"raw"})->Unit(benchmark::kMillisecond)->UseRealTime();
}

// raw x rectified x the fourth argument's values.
std::function<void(benchmark::internal::Benchmark*)> combinations(const char* last, std::vector<int> values)
{
    return [last, values](benchmark::internal::Benchmark* b) {
        for (const cv::Size raw : kRawSizes)
            for (const cv::Size rect : kRectSizes)
                for (int v : values)
                    b->Args({raw.width, rect.width, rect.height, v});
        b->ArgNames({"raw", "w", "h", last})->Unit(benchmark::kMillisecond)->UseRealTime();
    };
}

void registerAll()
{
    rawOnly(benchmark::RegisterBenchmark("captureRound", captureRound));
    combinations("mode", {2, 1})(benchmark::RegisterBenchmark("rectify", rectify));
    combinations("alg", {0, 1})(benchmark::RegisterBenchmark("matching", matching));
    combinations("mode", {2, 1})(benchmark::RegisterBenchmark("depthImage", depthImage));
    combinations("mode", {2, 1})(benchmark::RegisterBenchmark("colourDepth", colourDepth));
    combinations("mode", {2, 1})(benchmark::RegisterBenchmark("pointCloud", pointCloud));
    benchmark::RegisterBenchmark("wakeOverhead", wakeOverhead)->Unit(benchmark::kMicrosecond)->UseRealTime();
    auto* e2e = benchmark::RegisterBenchmark("endToEnd", endToEnd);
    for (const cv::Size raw : kRawSizes)
        for (const cv::Size rect : kRectSizes)
            e2e->Args({raw.width, rect.width, rect.height});
    e2e->ArgNames({"raw", "w", "h"})->Iterations(40)->Unit(benchmark::kMillisecond)->UseRealTime();
}

// ---- summary ----------------------------------------------------------------

// The usual console output, then one table per Depthmode with a row per size
// combination (milliseconds per frame; the worker column is remaps plus
// SGBM, the disparity worker's own cost per frame).
class SummaryReporter : public CollectingReporter
{
public:
    using CollectingReporter::CollectingReporter;

    void Finalize() override
    {
        CollectingReporter::Finalize();
        for (int mode : {2, 1}) {
            std::printf("\nDepthmode %d (%s), ms per frame%s\n", mode,
                        mode == 2 ? "perspective, the synthetic module's" : "longitude-latitude, the kit's default",
                        mode == 2 ? "; end to end through the workers (source paced at 30 fps)" : "");
            std::printf("%-9s %-8s %7s %7s %7s %7s %7s %7s %7s %8s", "raw", "rect", "capture", "remaps", "SGBM",
                        "BM", "depth", "colour", "cloud", "worker");
            if (mode == 2)
                std::printf(" %6s %9s %8s", "fps", "lat. ms", "p90 ms");
            std::printf("\n");
            for (const cv::Size raw : kRawSizes)
                for (const cv::Size rect : kRectSizes)
                    printRow(raw, rect, mode);
        }
        const Run* wake = find("wakeOverhead/");
        if (wake)
            std::printf("\ncolour and cloud include a hand-off of %.0f us (wakeOverhead)\n", inMs(*wake) * 1000.0);
        std::fflush(stdout);
    }

private:
    void printRow(cv::Size raw, cv::Size rect, int mode) const
    {
        const std::string sizes = "raw:" + std::to_string(raw.width) + "/w:" + std::to_string(rect.width) +
                                  "/h:" + std::to_string(rect.height);
        const std::string m = "/mode:" + std::to_string(mode);
        const double remaps = ms("rectify/" + sizes + m);
        const double sgbm = ms("matching/" + sizes + "/alg:0");
        std::printf("%-9s %-8s", (std::to_string(raw.width) + "x" + std::to_string(raw.height)).c_str(),
                    (std::to_string(rect.width) + "x" + std::to_string(rect.height)).c_str());
        cell(ms("captureRound/raw:" + std::to_string(raw.width)), 7, 2);
        cell(remaps, 7, 2);
        cell(sgbm, 7, 1);
        cell(ms("matching/" + sizes + "/alg:1"), 7, 1);
        cell(ms("depthImage/" + sizes + m), 7, 2);
        cell(ms("colourDepth/" + sizes + m), 7, 2);
        cell(ms("pointCloud/" + sizes + m), 7, 2);
        cell(remaps < 0 || sgbm < 0 ? -1 : remaps + sgbm, 8, 1);
        if (mode == 2) {
            cell(counter("endToEnd/" + sizes, "fps"), 6, 1);
            cell(counter("endToEnd/" + sizes, "latency_ms"), 9, 0);
            cell(counter("endToEnd/" + sizes, "latency_p90_ms"), 8, 0);
        }
        std::printf("\n");
    }
};

} // namespace

int main(int argc, char** argv)
{
    return runOnRenderedFrames<SummaryReporter>(argc, argv, renderSets, removeSets, registerAll);
}
