#ifndef KORVANE_PYTHON_BLOCKINGCALLS_H
#define KORVANE_PYTHON_BLOCKINGCALLS_H

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <pybind11/pybind11.h>

namespace korvane::python {

// Runs the kit's blocking calls (frame waits) so that Python stays live:
// each call runs on a thread of its own while the caller waits without the
// GIL, in slices, checking for signals between them. A signal handler that
// raises (Ctrl-C: KeyboardInterrupt) ends the wait at once; the abandoned
// call finishes on its thread by itself, with the next frame or when the
// worker it waits on stops, and is joined later.
class BlockingCalls
{
public:
    static constexpr std::chrono::milliseconds kSlice{20};

    BlockingCalls() = default;
    virtual ~BlockingCalls();
    BlockingCalls(const BlockingCalls&) = delete;
    BlockingCalls& operator=(const BlockingCalls&) = delete;

    // Called with the GIL held; returns what call returns, or throws
    // pybind11::error_already_set when a signal handler raised.
    template <typename Result>
    Result run(std::function<Result()> call)
    {
        auto task = std::make_shared<std::packaged_task<Result()>>(std::move(call));
        std::future<Result> result = task->get_future();
        start([task] { (*task)(); });
        waitFor([&result] { return result.wait_for(kSlice) == std::future_status::ready; });
        return result.get();
    }

    // Joins every abandoned call; the workers they wait on must be stopped.
    void joinAll();

private:
    struct Pending
    {
        std::thread thread;
        std::shared_ptr<std::atomic<bool>> done;
    };

    void start(std::function<void()> body);
    // Repeats ready() (which waits one slice) until it is true, without the
    // GIL, checking for signals after each slice.
    static void waitFor(const std::function<bool()>& ready);
    void joinFinished();

    std::mutex m_mutex; // guards m_pending
    std::vector<Pending> m_pending;
};

} // namespace korvane::python

#endif
