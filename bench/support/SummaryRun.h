#ifndef KORVANE_BENCH_SUMMARYRUN_H
#define KORVANE_BENCH_SUMMARYRUN_H

// What the benchmark programs with a summary table share around their runs.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include <benchmark/benchmark.h>

#include <opencv2/core/utils/logger.hpp>

// Quiets OpenCV's own messages (a camera backend probing an absent device)
// and reads the benchmark options; false for an option it does not know.
inline bool startBenchmarks(int& argc, char** argv)
{
    setenv("OPENCV_VIDEOIO_PRIORITY_GPHOTO2", "0", 1);
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_ERROR);
    benchmark::Initialize(&argc, argv);
    return !benchmark::ReportUnrecognizedArguments(argc, argv);
}

// Runs the registered benchmarks through a Reporter (a CollectingReporter
// that prints its summary in Finalize): colour only on a terminal, the
// counters always in columns. Then the system load: figures taken on a busy
// machine are not those of an idle one.
template <class Reporter>
void runWithSummary()
{
    Reporter reporter(isatty(STDOUT_FILENO) ? benchmark::ConsoleReporter::OO_ColorTabular
                                            : benchmark::ConsoleReporter::OO_Tabular);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    double load[3] = {-1, -1, -1};
    if (getloadavg(load, 3) == 3)
        std::printf("Load average at the end: %.2f %.2f %.2f (1, 5, 15 min)\n", load[0], load[1], load[2]);
    std::fflush(stdout);
}

// The main of a program whose benchmarks play rendered frames: the frames
// first (the program ends with 1 when they cannot be written), then the
// benchmarks `registerAll` registers with the summary, then the frames go.
template <class Reporter>
int runOnRenderedFrames(int argc, char** argv, bool (*render)(), void (*remove)(), void (*registerAll)())
{
    if (!startBenchmarks(argc, argv))
        return 1;
    if (!render()) {
        std::fprintf(stderr, "Cannot write the rendered frames under /tmp\n");
        remove();
        return 1;
    }
    registerAll();
    runWithSummary<Reporter>();
    remove();
    return 0;
}

#endif
