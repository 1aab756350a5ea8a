#include "BlockingCalls.h"

#include <algorithm>

namespace py = pybind11;

namespace korvane::python {

BlockingCalls::~BlockingCalls() { joinAll(); }

void BlockingCalls::start(std::function<void()> body)
{
    joinFinished();
    auto done = std::make_shared<std::atomic<bool>>(false);
    std::thread thread([body = std::move(body), done] {
        body();
        *done = true;
    });
    std::lock_guard<std::mutex> lock(m_mutex);
    m_pending.push_back({std::move(thread), std::move(done)});
}

void BlockingCalls::waitFor(const std::function<bool()>& ready)
{
    bool interrupted = false;
    {
        py::gil_scoped_release release;
        while (!ready()) {
            py::gil_scoped_acquire acquire;
            if (PyErr_CheckSignals() != 0) {
                interrupted = true; // the error stays set on this thread
                break;
            }
        }
    }
    if (interrupted)
        throw py::error_already_set();
}

void BlockingCalls::joinFinished()
{
    std::vector<Pending> finished;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto split = std::stable_partition(m_pending.begin(), m_pending.end(),
                                                 [](const Pending& p) { return !*p.done; });
        std::move(split, m_pending.end(), std::back_inserter(finished));
        m_pending.erase(split, m_pending.end());
    }
    for (Pending& p : finished)
        p.thread.join();
}

void BlockingCalls::joinAll()
{
    std::vector<Pending> all;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        all.swap(m_pending);
    }
    for (Pending& p : all)
        p.thread.join();
}

} // namespace korvane::python
