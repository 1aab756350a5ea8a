#include "StreamSink.h"

namespace korvane::stream {

bool StreamSink::open(const std::string& target, int apiPreference, double rate, cv::Size size)
{
    cv::VideoWriter writer(target, apiPreference, 0, rate, size, true);
    const bool opened = writer.isOpened();
    GuardedMutex::Lock lock(m_mutex);
    m_writer = writer;
    return opened;
}

void StreamSink::close()
{
    GuardedMutex::Lock lock(m_mutex);
    m_writer.release();
}

bool StreamSink::isOpen() const
{
    GuardedMutex::Lock lock(m_mutex);
    return m_writer.isOpened();
}

void StreamSink::send(const cv::Mat& frame)
{
    GuardedMutex::Lock lock(m_mutex);
    if (m_writer.isOpened())
        m_writer.write(frame);
}

void StreamSink::sendSideBySide(const cv::Mat& left, const cv::Mat& right)
{
    cv::Mat joined;
    cv::hconcat(left, right, joined);
    send(joined);
}

} // namespace korvane::stream
