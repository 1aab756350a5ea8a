#include "SharedFrameReader.h"

#include "ModuleFrameSize.h"

#include <cerrno>
#include <cstring>
#include <thread>

#include <sys/ipc.h>
#include <sys/shm.h>

namespace korvane {

namespace {

// The module's left image sizes, by the segment they need.
bool imageSizeFromSegment(size_t bytes, cv::Size& size)
{
    for (const cv::Size& raw : {korvane::kFullModuleFrame, korvane::kHalfModuleFrame}) {
        if (korvane::shm::segmentBytes(raw) == bytes) {
            size = cv::Size(raw.width / 2, raw.height);
            return true;
        }
    }
    return false;
}

} // namespace

SharedFrameReader::~SharedFrameReader() { detach(); }

bool SharedFrameReader::attach(int posNumber) { return attach(posNumber, cv::Size()); }

bool SharedFrameReader::attach(int posNumber, cv::Size imageSize)
{
    detach();
    const int key = korvane::shm::keyFor(posNumber);
    const int id = shmget(key, 0, 0);
    if (id < 0) {
        m_error = "no shared frame segment with key " + std::to_string(key) + ": " + std::strerror(errno);
        return false;
    }
    shmid_ds info{};
    if (shmctl(id, IPC_STAT, &info) != 0) {
        m_error = std::string("cannot inspect the segment: ") + std::strerror(errno);
        return false;
    }
    const size_t bytes = info.shm_segsz;
    if (imageSize.empty() && !imageSizeFromSegment(bytes, imageSize)) {
        m_error = "segment of " + std::to_string(bytes) + " bytes fits no module image size; give the size";
        return false;
    }
    if (korvane::shm::segmentBytesForImage(imageSize) != bytes) {
        m_error = "segment of " + std::to_string(bytes) + " bytes does not hold a " + std::to_string(imageSize.width) +
                  "x" + std::to_string(imageSize.height) + " image";
        return false;
    }
    void* segment = shmat(id, nullptr, 0);
    if (segment == reinterpret_cast<void*>(-1)) {
        m_error = std::string("cannot attach the segment: ") + std::strerror(errno);
        return false;
    }
    m_segment = segment;
    m_imageSize = imageSize;
    m_segmentBytes = bytes;
    m_error.clear();
    return true;
}

void SharedFrameReader::detach()
{
    if (m_segment)
        shmdt(m_segment);
    m_segment = nullptr;
}

bool SharedFrameReader::read(cv::Mat& image, std::chrono::milliseconds timeout)
{
    if (!m_segment) {
        m_error = "not attached";
        return false;
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (korvane::shm::loadStatus(m_segment) != korvane::shm::kNewImage) {
        if (std::chrono::steady_clock::now() >= deadline) {
            m_error = "no new image before the time-out";
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    image.create(m_imageSize, CV_8UC3);
    std::memcpy(image.data, korvane::shm::imageBytes(m_segment), image.total() * image.elemSize());
    korvane::shm::storeStatus(m_segment, korvane::shm::kEmpty);
    return true;
}

} // namespace korvane
