#include "LoopingVideoCapture.h"

#include <thread>

namespace korvane {

namespace {

// A "%" in the name is an image sequence pattern.
int apiFor(const std::string& source)
{
    return source.find('%') != std::string::npos ? cv::CAP_IMAGES : cv::CAP_ANY;
}

} // namespace

LoopingVideoCapture::LoopingVideoCapture(const std::string& source, double fps)
    : cv::VideoCapture(source, apiFor(source)), m_source(source), m_api(apiFor(source))
{
    // An image sequence has no rate of its own (the backend reports 1).
    const double own = m_api == cv::CAP_IMAGES ? 0.0 : get(cv::CAP_PROP_FPS);
    m_fps = fps > 0.0 ? fps : (own > 0.0 && own <= 1000.0 ? own : 30.0);
    m_due = std::chrono::steady_clock::now();
}

bool LoopingVideoCapture::reopen()
{
    // Rewinding by position is not supported by every backend; opening again is.
    return open(m_source, m_api);
}

bool LoopingVideoCapture::read(cv::OutputArray image)
{
    const auto period = std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(1.0 / m_fps));
    const auto now = std::chrono::steady_clock::now();
    if (m_due > now)
        std::this_thread::sleep_until(m_due);
    // A consumer that fell behind does not get a burst of catch-up frames.
    m_due = std::max(m_due, now) + period;
    // An image sequence starts over after its last file instead of asking
    // for the next one, which does not exist (the library warns of each).
    if (m_api == cv::CAP_IMAGES && atEndOfSequence() && !reopen())
        return false;
    if (cv::VideoCapture::read(image) && !image.empty())
        return true;
    return reopen() && cv::VideoCapture::read(image) && !image.empty();
}

bool LoopingVideoCapture::atEndOfSequence() const
{
    const double frames = get(cv::CAP_PROP_FRAME_COUNT);
    return frames > 0.0 && get(cv::CAP_PROP_POS_FRAMES) >= frames;
}

} // namespace korvane
