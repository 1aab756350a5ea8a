#include "FramePublisher.h"

#include <thread>

namespace korvane {

void FramePublisher::open()
{
    GuardedMutex::Lock lock(m_mutex);
    m_open = true;
}

void FramePublisher::close()
{
    GuardedMutex::Lock lock(m_mutex);
    m_open = false;
    m_condition.notify_all();
}

bool FramePublisher::isOpen() const
{
    GuardedMutex::Lock lock(m_mutex);
    return m_open;
}

void FramePublisher::wakeAll()
{
    GuardedMutex::Lock lock(m_mutex);
    m_condition.notify_all();
}

void FramePublisher::publish(Frame&& frame, std::chrono::microseconds holdLock)
{
    GuardedMutex::Lock lock(m_mutex);
    m_period = m_count > 0 ? frame.timeStamp - m_frame.timeStamp : std::chrono::microseconds(0);
    m_frame = std::move(frame);
    ++m_count;
    m_condition.notify_all();
    if (holdLock.count() > 0)
        std::this_thread::sleep_for(holdLock);
}

FramePublisher::Frame FramePublisher::newest() const
{
    GuardedMutex::Lock lock(m_mutex);
    return m_frame;
}

std::uint64_t FramePublisher::publications() const
{
    GuardedMutex::Lock lock(m_mutex);
    return m_count;
}

} // namespace korvane
