#ifndef KORVANE_BENCH_THREADCPUTIMES_H
#define KORVANE_BENCH_THREADCPUTIMES_H

// Processor time of this process's threads, summed by thread name, from
// /proc/self/task: where the time of a pipeline run goes.

#include <map>
#include <string>

class ThreadCpuTimes
{
public:
    // Seconds on a processor so far, per thread name; the main thread is
    // listed as "main".
    static ThreadCpuTimes now();

    // Per name, the processor seconds spent since `earlier`, for threads
    // alive at both times.
    std::map<std::string, double> since(const ThreadCpuTimes& earlier) const;

private:
    struct Thread
    {
        std::string name;
        double seconds = 0;
    };
    std::map<int, Thread> m_threads; // by thread id
};

#endif
