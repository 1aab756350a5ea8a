#ifndef KORVANE_CAMERA_FRAMEPUBLISHER_H
#define KORVANE_CAMERA_FRAMEPUBLISHER_H

// The newest frame of a stream, handed from the thread that makes the frames
// to any number of readers. Publications are counted; a reader waits for the
// one after what was current when it asked, so it never gets a frame twice.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <utility>

#include <opencv2/core.hpp>

#include "GuardedMutex.h"
#include "camera/KorvaneCameraExport.h"

namespace korvane {

class KORVANE_CAMERA_EXPORT FramePublisher
{
public:
    // A pair of images (raw left and right, or a centre image and its
    // disparity) with the time stamp of the raw frame they came from.
    struct Frame
    {
        cv::Mat left;
        cv::Mat right;
        std::chrono::microseconds timeStamp{0};
    };

    // Begins a run: readers wait for publications until close().
    void open() KORVANE_EXCLUDES(m_mutex);
    // Ends the run and wakes every reader, which returns false.
    void close() KORVANE_EXCLUDES(m_mutex);
    bool isOpen() const KORVANE_EXCLUDES(m_mutex);
    // Wakes every waiting reader so that it asks its give-up test again.
    void wakeAll() KORVANE_EXCLUDES(m_mutex);

    // Stores frame as the newest, taking over its images (readers only read
    // them), counts it and wakes every reader. holdLock keeps the lock that
    // long after the wake-up, so woken readers run only after it.
    void publish(Frame&& frame, std::chrono::microseconds holdLock = {}) KORVANE_EXCLUDES(m_mutex);

    // A copy of the newest frame; its images are shared, for reading only.
    Frame newest() const KORVANE_EXCLUDES(m_mutex);
    // How many frames were published.
    std::uint64_t publications() const KORVANE_EXCLUDES(m_mutex);

    // Waits for the publication after the one current now, then calls
    // read(frame) with the lock held. False, without reading, when the run
    // ended or giveUp() held first. giveUp is asked on every wake-up.
    template <typename Read, typename GiveUp>
    bool readNext(Read&& read, GiveUp&& giveUp) KORVANE_EXCLUDES(m_mutex)
    {
        GuardedMutex::Lock lock(m_mutex);
        const std::uint64_t seen = m_count;
        while (m_count == seen && m_open && !giveUp())
            m_condition.wait(lock.unique());
        if (m_count == seen)
            return false;
        read(static_cast<const Frame&>(m_frame));
        return true;
    }
    template <typename Read>
    bool readNext(Read&& read) KORVANE_EXCLUDES(m_mutex)
    {
        return readNext(std::forward<Read>(read), [] { return false; });
    }

    // Waits up to patience for a publication after number `after`, then
    // calls read(frame, publications) with the lock held. False when none came.
    template <typename Read>
    bool readAfter(std::uint64_t after, std::chrono::milliseconds patience, Read&& read) KORVANE_EXCLUDES(m_mutex)
    {
        const auto until = std::chrono::steady_clock::now() + patience;
        GuardedMutex::Lock lock(m_mutex);
        while (m_count <= after)
            if (m_condition.wait_until(lock.unique(), until) == std::cv_status::timeout && m_count <= after)
                return false;
        read(static_cast<const Frame&>(m_frame), m_count);
        return true;
    }

    // Calls read(frame, period) on the newest frame at once, with the lock
    // held; period is the time between the two newest frames' stamps (zero
    // before the second). Returns what read returns.
    template <typename Read>
    auto readNewest(Read&& read) const KORVANE_EXCLUDES(m_mutex)
    {
        GuardedMutex::Lock lock(m_mutex);
        return read(static_cast<const Frame&>(m_frame), m_period);
    }

private:
    mutable GuardedMutex m_mutex;             // guards every field below
    std::condition_variable m_condition;      // a frame was published, or the run ended
    Frame m_frame KORVANE_GUARDED_BY(m_mutex); // the newest
    std::uint64_t m_count KORVANE_GUARDED_BY(m_mutex) = 0;
    std::chrono::microseconds m_period KORVANE_GUARDED_BY(m_mutex){0};
    bool m_open KORVANE_GUARDED_BY(m_mutex) = false;
};

} // namespace korvane

#endif
