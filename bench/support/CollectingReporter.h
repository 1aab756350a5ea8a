#ifndef KORVANE_BENCH_COLLECTINGREPORTER_H
#define KORVANE_BENCH_COLLECTINGREPORTER_H

// The usual console output of a benchmark program, keeping every completed
// run by "function/args" so that a summary table can be printed at the end.

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

class CollectingReporter : public benchmark::ConsoleReporter
{
public:
    explicit CollectingReporter(OutputOptions options) : ConsoleReporter(options) {}

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration && !run.error_occurred)
                m_runs[run.run_name.function_name + "/" + run.run_name.args] = run;
        ConsoleReporter::ReportRuns(runs);
    }

protected:
    static double inMs(const Run& run)
    {
        const double t = run.GetAdjustedRealTime();
        switch (run.time_unit) {
        case benchmark::kNanosecond: return t * 1e-6;
        case benchmark::kMicrosecond: return t * 1e-3;
        case benchmark::kMillisecond: return t;
        default: return t * 1e3;
        }
    }

    const Run* find(const std::string& key) const
    {
        const auto it = m_runs.find(key);
        return it == m_runs.end() ? nullptr : &it->second;
    }

    // Milliseconds of real time per iteration, or -1 when the run is missing.
    double ms(const std::string& key) const
    {
        const Run* run = find(key);
        return run ? inMs(*run) : -1;
    }

    // A counter's value, or -1 when the run or the counter is missing.
    double counter(const std::string& key, const char* name) const
    {
        const Run* run = find(key);
        if (!run || !run->counters.count(name))
            return -1;
        return run->counters.at(name).value;
    }

    // A figure, or a dash when its benchmark did not run (filtered or failed).
    static void cell(double value, int width, int precision)
    {
        if (value < 0)
            std::printf(" %*s", width, "-");
        else
            std::printf(" %*.*f", width, precision, value);
    }

private:
    std::map<std::string, Run> m_runs;
};

#endif
