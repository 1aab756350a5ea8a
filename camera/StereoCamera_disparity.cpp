// Disparity: the worker that matches each rectified pair and publishes the
// disparity with the perspective left view it belongs to.
#include "StereoCamera.h"

#include "DisparityMatcher.h"

#include <pthread.h>
#include <unistd.h>

#include <optional>
#include <thread>
#include <utility>
#include <vector>


namespace {

std::chrono::microseconds systemNow()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::system_clock::now().time_since_epoch());
}

// An image nobody else holds: the image itself when this is its only handle
// (the lane's fresh results, dropped after publication), else a deep copy.
cv::Mat ownCopy(cv::Mat& image)
{
    if (image.u && image.u->refcount == 1)
        return std::move(image);
    return image.clone();
}

} // namespace

thread_local const StereoCamera* StereoCamera::t_laneOf = nullptr;

int StereoCamera::defaultPairsInFlight()
{
    const unsigned cores = std::thread::hardware_concurrency();
    return cores >= 2 ? 2 : 1;
}

bool StereoCamera::setPairsInFlight(int pairs)
{
    if (pairs < 1 || pairs > kMaxPairsInFlight)
        return false;
    m_pairsInFlight = pairs;
    return true;
}

int StereoCamera::getPairsInFlight() const
{
    return m_pairsInFlight;
}

bool StereoCamera::startStereoCompute()
{
    usleep(5000);
    if (m_log)
        m_log->runTimeInfo("Start stereo computing ...\n");
    m_computeRunning = true;
    m_computeFailed = false;
    m_disparityFrames.open();
    m_computeThread.reset(new std::thread(&StereoCamera::computeWorker, this, m_pairsInFlight.load()));
    return m_computeThread != nullptr;
}

bool StereoCamera::stopStereoCompute()
{
    m_computeRunning = false;
    if (!m_computeThread)
        return true;
    // A lane waiting for a raw pair that will not come (the source stopped
    // delivering) wakes up and sees the flag.
    m_rawFrames.wakeAll();
    m_computeThread->join();
    m_computeThread.reset();
    if (m_log)
        m_log->runTimeInfo("Stop stereo compute done.\n");
    return true;
}

void StereoCamera::computeWorker(int pairs)
{
    const int algorithm = Algorithm;
    std::vector<std::thread> lanes;
    const bool takeWaiting = pairs > 1;
    for (int i = 1; i < pairs; ++i)
        lanes.emplace_back(&StereoCamera::computeLane, this, algorithm, takeWaiting);
    computeLane(algorithm, takeWaiting);
    for (std::thread& lane : lanes)
        lane.join();
    if (m_log)
        m_log->runTimeInfo("Exit compute disparity worker ...\n");
    m_disparityFrames.close();
}

bool StereoCamera::takesNewestRawPair(std::chrono::microseconds newest, std::chrono::microseconds lastTaken,
                                      std::chrono::microseconds period, std::chrono::microseconds now)
{
    return newest > lastTaken && period.count() > 0 && now >= newest && (now - newest) * 2 <= period;
}

// A match that takes a little longer than a whole number of frame periods
// would otherwise leave its lane idle until the next raw pair; a pair that
// came in while every lane was busy, still fresh, is taken at once instead.
bool StereoCamera::takeNewestRawPair(cv::Mat& left, cv::Mat& right, cv::Mat& centre,
                                     std::chrono::microseconds& stamp)
{
    cv::Mat rawLeft, rawRight;
    const std::chrono::microseconds lastTaken = m_lastFetchedStamp;
    const bool taken = m_rawFrames.readNewest([&](const TimeFrame& newest, std::chrono::microseconds period) {
        if (newest.left.empty() || newest.right.empty() ||
            !takesNewestRawPair(newest.timeStamp, lastTaken, period, systemNow()))
            return false;
        // Shared for reading only: the capture worker replaces published
        // images and never writes into them.
        rawLeft = newest.left;
        rawRight = newest.right;
        stamp = newest.timeStamp;
        return true;
    });
    if (!taken)
        return false;
    m_rectifier.rectifyPair(rawLeft, rawRight, Depthmode, left, right, centre);
    return !left.empty() && !right.empty() && !centre.empty();
}

// Lanes fetch one at a time and take a ticket with each pair, so tickets
// follow the raw time stamps; they match at the same time, each with its own
// matcher, and publish strictly in ticket order. Every ticketed pair is
// published, so no lane waits for its turn for ever.
void StereoCamera::computeLane(int algorithm, bool takeWaiting)
{
    pthread_setname_np(pthread_self(), "korvane-match");
    t_laneOf = this;
    korvane::DisparityMatcher matcher(algorithm);
    while (m_computeRunning) {
        std::optional<std::uint64_t> ticket;
        try {
            matchOneRound(matcher, takeWaiting, ticket);
        } catch (const std::exception& error) {
            // A library exception must not end the process from this thread:
            // the worker says so once and stops, its turn passed on.
            if (!m_computeFailed.exchange(true) && m_log)
                m_log->runTimeError("Disparity worker stopped: %s\n", error.what());
            m_computeRunning = false;
            if (ticket)
                passTurn(*ticket);
            m_rawFrames.wakeAll();
        }
    }
    t_laneOf = nullptr;
}

void StereoCamera::passTurn(std::uint64_t ticket)
{
    korvane::GuardedMutex::Lock lock(m_turnMutex);
    while (m_publishTicket != ticket)
        m_turnCondition.wait(lock.unique());
    ++m_publishTicket;
    m_turnCondition.notify_all();
}

void StereoCamera::matchOneRound(korvane::DisparityMatcher& matcher, bool takeWaiting,
                                 std::optional<std::uint64_t>& ticket)
{
    cv::Mat left, right, centre;
    std::chrono::microseconds stamp{0};
    {
        korvane::GuardedMutex::Lock fetch(m_fetchMutex);
        if (!m_computeRunning)
            return;
        if (!(takeWaiting && takeNewestRawPair(left, right, centre, stamp)) &&
            !getRectStereoFrame(left, right, centre, stamp))
            return;
        // Stopped while waiting for the pair: not matched, so that a stop
        // takes at most the matching round under way.
        if (!m_computeRunning)
            return;
        m_lastFetchedStamp = stamp;
        ticket = m_fetchTicket++;
    }
    {
        cv::Mat disparity = matcher.match(left, right);

        korvane::GuardedMutex::Lock lock(m_turnMutex);
        while (m_publishTicket != *ticket)
            m_turnCondition.wait(lock.unique());
        // Kept: a 1 ms pause with the lock held paces readers and the worker.
        m_disparityFrames.publish({ownCopy(centre), ownCopy(disparity), stamp}, std::chrono::milliseconds(1));
        ++m_publishTicket;
        m_turnCondition.notify_all();
    }
    ticket.reset();
}

bool StereoCamera::getDisparityFrame(cv::Mat& disparity, cv::Mat& centre, std::chrono::microseconds& stamp)
{
    return m_disparityFrames.readNext([&](const TimeFrame& newest) {
        disparity = newest.right.clone();
        centre = newest.left.clone();
        stamp = newest.timeStamp;
    });
}
