#ifndef KORVANE_BENCH_PUBLICATIONRUN_H
#define KORVANE_BENCH_PUBLICATIONRUN_H

// A reader of the disparity publications of the real capture and disparity
// workers, playing a frame sequence: what it measured per benchmark run.

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "camera/StereoCamera.h"

// The clock of the raw frames' time stamps.
inline std::chrono::microseconds systemNow()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::system_clock::now().time_since_epoch());
}

// The value at `q` (0.5 the median) of the sorted values; 0 for none.
inline double quantile(std::vector<double> values, double q)
{
    if (values.empty())
        return 0;
    const auto at = values.begin() + static_cast<long>(q * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), at, values.end());
    return *at;
}

class PublicationRun
{
public:
    bool ok = false;
    std::vector<double> latenciesMs; // raw time stamp to arrival, one per iteration
    double seconds = 0;               // the measured time
    float capturedRate = 0;           // the capture worker's own rate at the end

    // Plays `pattern` through the camera's workers. After two results (the
    // workers are past their start) `started` runs and the measured time
    // begins; each iteration takes the next disparity. `finished` runs when
    // the time is taken, before the workers stop. A failure is the run's
    // error and leaves ok false.
    void measure(benchmark::State& state, StereoCamera& camera, const std::string& pattern,
                 const std::function<void()>& started = {}, const std::function<void()>& finished = {})
    {
        if (!camera.openVideo(pattern)) {
            state.SkipWithError("cannot open the frame sequence");
            return;
        }
        camera.startCapture(false, false);
        camera.startStereoCompute();
        cv::Mat disparity, centre;
        std::chrono::microseconds stamp{0};
        ok = camera.getDisparityFrame(disparity, centre, stamp) && camera.getDisparityFrame(disparity, centre, stamp);
        if (started)
            started();
        const auto start = std::chrono::steady_clock::now();
        for (auto _ : state) {
            if (!ok || !camera.getDisparityFrame(disparity, centre, stamp) || disparity.empty()) {
                ok = false;
                break;
            }
            latenciesMs.push_back(static_cast<double>((systemNow() - stamp).count()) / 1000.0);
        }
        seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (finished)
            finished();
        capturedRate = camera.getRawFrameRate();
        camera.stopStereoCompute();
        camera.stopCapture();
        if (!ok)
            state.SkipWithError("the workers published no disparity");
    }

    // The counters both readers report: rate, median and 90th percentile of
    // the latency, and the capture rate.
    void setCounters(benchmark::State& state, double publications) const
    {
        state.counters["fps"] = publications / seconds;
        state.counters["latency_ms"] = quantile(latenciesMs, 0.5);
        state.counters["latency_p90_ms"] = quantile(latenciesMs, 0.9);
        state.counters["capture_fps"] = capturedRate;
    }
};

#endif
