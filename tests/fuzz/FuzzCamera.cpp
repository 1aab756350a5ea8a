#include "FuzzCamera.h"

#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

#include <opencv2/core/utils/logger.hpp>

#include "camera/StorageText.h"

namespace korvane::fuzz {

StereoCamera& camera()
{
    static StereoCamera* const instance = [] {
        // The video library's camera-autodetect backend leaks inside its USB library.
        setenv("OPENCV_VIDEOIO_PRIORITY_GPHOTO2", "0", 1);
        cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
        // Inputs that make the parser loop are common; give up on them sooner.
        korvane::setTrialParseBaseMilliseconds(200);
        return new StereoCamera(97);
    }();
    return *instance;
}

MemoryFile::MemoryFile(const uint8_t* data, size_t size)
{
    m_fd = memfd_create("korvane-fuzz", 0);
    if (m_fd < 0)
        return;
    size_t written = 0;
    while (written < size) {
        const ssize_t n = write(m_fd, data + written, size - written);
        if (n <= 0)
            break;
        written += static_cast<size_t>(n);
    }
    m_path = "/proc/self/fd/" + std::to_string(m_fd);
}

MemoryFile::~MemoryFile()
{
    if (m_fd >= 0)
        close(m_fd);
}

} // namespace korvane::fuzz
