// Capture: the worker that grabs, splits, masks and publishes raw pairs; the
// frame getters; the shared-memory image and the network stream.
#include "StereoCamera.h"

#include "ModuleFrameSize.h"

#include <cstdio>
#include <cstring>
#include <utility>
#include <pthread.h>
#include <unistd.h>

#include <sys/ipc.h>
#include <sys/shm.h>

#include <opencv2/imgproc.hpp>

#include "LoopingVideoCapture.h"
#include "SharedFrameLayout.h"
#include "StreamPipeline.h"


namespace {

std::chrono::microseconds systemNow()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::system_clock::now().time_since_epoch());
}

// The process ends when the shared-memory image cannot be set up: other
// processes depend on it. _exit, because this runs on the worker thread.
[[noreturn]] void endProcess()
{
    std::fflush(nullptr);
    _exit(1);
}

// Raw frames are 8-bit BGR; a grey source is widened, anything else dropped.
bool toBgr(cv::Mat& frame)
{
    if (frame.type() == CV_8UC3)
        return true;
    if (frame.type() == CV_8UC1) {
        cv::cvtColor(frame, frame, cv::COLOR_GRAY2BGR);
        return true;
    }
    return false;
}

} // namespace

bool StereoCamera::startCapture(bool transmit, bool shareMemory)
{
    if (!m_capture) {
        if (m_log)
            m_log->runTimeError("Cannot start capture: no video source is open\n");
        else
            std::fprintf(stderr, "Cannot start capture: no video source is open\n");
        return false;
    }
    if (transmit)
        m_transmit = true;
    if (shareMemory)
        m_shareMemory = true;
    const float scale = static_cast<float>(rawFrameSize().width / static_cast<double>(korvane::kCalibratedRawWidth));
    prepareRectification(scale);
    if (m_log)
        m_log->runTimeInfo("Initialize parameters OK!\n");
    m_rawFrames.open();
    m_captureThread.reset(new std::thread(&StereoCamera::captureWorker, this, scale));
    return m_captureThread != nullptr;
}

void StereoCamera::captureWorker(float scale)
{
    // Named so that a profile tells its time from the matchers'.
    pthread_setname_np(pthread_self(), "korvane-capture");
    SharedSegment segment;
    if (m_shareMemory)
        segment = createSharedSegment(scale);
    try {
        captureFrames(segment);
    } catch (const std::exception& error) {
        // A library exception must not end the process from this thread.
        if (m_log)
            m_log->runTimeError("Capture worker stopped: %s\n", error.what());
    }

    if (m_log)
        m_log->runTimeInfo("Exit capture frame worker ...\n");
    if (segment.address) {
        if (shmdt(segment.address) != 0 && m_log)
            m_log->runTimeError("share memory shmdt failed!\n");
        if (shmctl(segment.id, IPC_RMID, nullptr) != 0 && m_log)
            m_log->runTimeError("Delete share memory error!");
    }
    m_rawFrames.close();
}

// Only raw widths of 1856 and 928 (scale 1 or 0.5) get a segment; without
// one, or when it cannot be made, the process ends, as other processes
// depend on it.
StereoCamera::SharedSegment StereoCamera::createSharedSegment(float scale)
{
    SharedSegment segment;
    if (scale == 1.0f || scale == 0.5f) {
        segment.imageSize = cv::Size(rawFrameSize().width / 2, rawFrameSize().height);
        segment.id = shmget(korvane::shm::keyFor(getPosNumber()),
                            korvane::shm::segmentBytesForImage(segment.imageSize), IPC_CREAT | 01666);
        if (segment.id < 0) {
            if (m_log)
                m_log->runTimeError("share memory alloc create failed!\n");
            endProcess();
        }
    }
    void* address = shmat(segment.id, nullptr, 0);
    if (address == reinterpret_cast<void*>(-1)) {
        if (m_log)
            m_log->runTimeError("share memory shmat failed!\n");
        endProcess();
    }
    segment.address = address;
    korvane::shm::storeStatus(address, korvane::shm::kEmpty);
    return segment;
}

// The segment was sized from the frame size set before capture; the first
// reads tell the real one. When that is a module's size (raw width 1856 or
// 928) and differs, the segment is made again at the real size, so that
// readers find the image they expect; otherwise the segment stays and
// images that do not fit it are not shared.
void StereoCamera::fitSharedSegment(SharedSegment& segment)
{
    const cv::Size raw = rawFrameSize();
    const float scale = static_cast<float>(raw.width / static_cast<double>(korvane::kCalibratedRawWidth));
    if (!segment.address || segment.imageSize == cv::Size(raw.width / 2, raw.height) ||
        (scale != 1.0f && scale != 0.5f))
        return;
    if (m_log)
        m_log->runTimeWarning("Frames are %dx%d, not the %dx%d set: shared memory made again at that size\n",
                              raw.width, raw.height, segment.imageSize.width * 2, segment.imageSize.height);
    shmdt(segment.address);
    shmctl(segment.id, IPC_RMID, nullptr);
    segment = createSharedSegment(scale);
}

// Hands the masked left image to the shared-memory reader when it took the
// last one; an image of another size than the segment's is never copied.
void StereoCamera::shareLeftImage(SharedSegment& segment, const cv::Mat& left)
{
    if (!segment.address || korvane::shm::loadStatus(segment.address) != korvane::shm::kEmpty)
        return;
    if (left.size() != segment.imageSize || left.type() != CV_8UC3 || !left.isContinuous()) {
        if (!segment.sizeMismatchLogged && m_log)
            m_log->runTimeError("A %dx%d left image does not fit the %dx%d shared memory image: not shared\n",
                                left.cols, left.rows, segment.imageSize.width, segment.imageSize.height);
        segment.sizeMismatchLogged = true;
        return;
    }
    korvane::shm::storeStatus(segment.address, korvane::shm::kNewImage);
    std::memcpy(korvane::shm::imageBytes(segment.address), left.data, left.total() * left.elemSize());
}

void StereoCamera::captureFrames(SharedSegment& segment)
{
    cv::Mat frame;
    for (int i = 0; i < 10; ++i) {
        m_capture->read(frame);
        if (!frame.empty()) {
            korvane::GuardedMutex::Lock lock(m_settingsMutex);
            FrameSize = frame.size();
        }
    }
    fitSharedSegment(segment);
    if (m_log)
        m_log->runTimeInfo("Start capture ...\n");
    usleep(50000);

    if (m_transmit && m_transmode != korvane::stream::kSendNothing)
        openStreamWriter();

    EmptyReadWatch emptyReads;
    while (m_opened) {
        const int64 t0 = cv::getTickCount();
        m_capture->read(frame);
        if (frame.empty() || !toBgr(frame)) {
            noteEmptyRead(emptyReads);
            continue;
        }
        noteFrameRead(emptyReads);
        cv::Mat left, right;
        korvane::splitRawFisheyeFrame(m_fisheyeRadius, frame, left, right);
        shareLeftImage(segment, left);
        m_frameRate = static_cast<float>(cv::getTickFrequency() / (cv::getTickCount() - t0));
        publishRawPair(std::move(left), std::move(right));
    }
}

// A source that gives only empty frames (ended, unplugged) would keep the
// worker spinning on a core: after a run of empty reads it backs off a few
// milliseconds a read, and says once that frames stopped and once that they
// came back.
void StereoCamera::noteEmptyRead(EmptyReadWatch& watch)
{
    if (++watch.emptyInARow < EmptyReadWatch::kBeforeBackOff)
        return;
    if (!watch.reported) {
        watch.reported = true;
        if (m_log)
            m_log->runTimeError("The video source delivers no frames\n");
    }
    usleep(EmptyReadWatch::kBackOffMicroseconds);
}

void StereoCamera::noteFrameRead(EmptyReadWatch& watch)
{
    if (watch.reported && m_log)
        m_log->runTimeInfo("The video source delivers frames again\n");
    watch = EmptyReadWatch();
}

void StereoCamera::publishRawPair(cv::Mat&& left, cv::Mat&& right)
{
    // The halves are the round's own fresh images: handing them over shares
    // them with nobody, as a deep copy would. Kept: a 1 ms pause with the
    // lock still held paces the worker; woken readers run after it.
    m_rawFrames.publish({std::move(left), std::move(right), systemNow()}, std::chrono::milliseconds(1));
}

void StereoCamera::openStreamWriter()
{
    const std::string host = korvane::stream::hostPart(getReceiverNetwork(), IpLastSegment);
    const std::string port = korvane::stream::portPart(getPosNumber());
    std::string encoder = korvane::stream::kHardwareEncoder;
    if (!korvane::stream::elementAvailable(korvane::stream::kHardwareEncoder)) {
        encoder = korvane::stream::kSoftwareEncoder;
        if (m_log)
            m_log->runTimeWarning("%s is not available: streaming with the software encoder x264enc\n",
                                  korvane::stream::kHardwareEncoder);
    }
    const std::string pipeline = korvane::stream::pipeline(encoder, host, port);
    std::printf("hostIp+portString:%s%s\n%s\n", host.c_str(), port.c_str(), pipeline.c_str());
    std::fflush(stdout);
    const cv::Size size =
        korvane::stream::frameSizeForMode(m_transmode, rawFrameSize(), RectifyFrameSize);
    if (size.empty())
        return;
    // A writer that failed to open drops the frames.
    m_streamSink.open(pipeline, cv::CAP_ANY, m_transrate, size);
}

// Clears the opened flag, which doubles as the capture worker's run flag, so
// that afterwards isOpened() is false; then joins the worker if there is one.
bool StereoCamera::stopCapture()
{
    m_opened = false;
    if (!m_captureThread)
        return true;
    m_captureThread->join();
    m_captureThread.reset();
    if (m_log)
        m_log->runTimeInfo("Stop get frame done.\n");
    return true;
}

bool StereoCamera::getRawFrame(cv::Mat& frame, std::chrono::microseconds& timeStamp)
{
    cv::Mat left;
    cv::Mat right;
    const bool read = readNextRawPair([&](const TimeFrame& pair) {
        left = pair.left.clone();
        right = pair.right.clone();
        if (m_transmit && m_transmode == korvane::stream::kRawRight)
            m_streamSink.send(right);
        else if (m_transmit && m_transmode == korvane::stream::kRawPair)
            m_streamSink.sendSideBySide(left, right);
        timeStamp = pair.timeStamp;
    });
    if (!read)
        return false;
    cv::hconcat(left, right, frame);
    return !frame.empty();
}

bool StereoCamera::getStereoFrame(cv::Mat& left, cv::Mat& right, std::chrono::microseconds& timeStamp)
{
    const bool read = readNextRawPair([&](const TimeFrame& pair) {
        left = pair.left.clone();
        right = pair.right.clone();
        timeStamp = pair.timeStamp;
    });
    return read && !left.empty() && !right.empty();
}

bool StereoCamera::openVideo(const std::string& source)
{
    if (m_captureThread) {
        if (m_log)
            m_log->runTimeError("Cannot change the video source while capturing!\n");
        return false;
    }
    std::unique_ptr<cv::VideoCapture> capture;
    try {
        if (source.find(" ! ") != std::string::npos)
            capture.reset(new cv::VideoCapture(source, cv::CAP_GSTREAMER));
        else
            capture.reset(new korvane::LoopingVideoCapture(source));
    } catch (const std::exception&) {
        capture.reset();
    }
    if (!capture || !capture->isOpened()) {
        if (m_log)
            m_log->runTimeError("Cannot open video source %s\n", source.c_str());
        m_opened = false;
        return false;
    }
    m_capture = std::move(capture);
    m_opened = true;
    return true;
}

bool StereoCamera::setReceiverNetwork(const std::string& prefix)
{
    if (!korvane::stream::isNetworkPrefix(prefix))
        return false;
    korvane::GuardedMutex::Lock lock(m_settingsMutex);
    m_receiverNetwork = prefix;
    return true;
}

std::string StereoCamera::getReceiverNetwork() const
{
    korvane::GuardedMutex::Lock lock(m_settingsMutex);
    return m_receiverNetwork;
}
