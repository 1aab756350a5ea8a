#ifndef KORVANE_CAMERA_SHAREDFRAMEREADER_H
#define KORVANE_CAMERA_SHAREDFRAMEREADER_H

#include <chrono>
#include <string>

#include <opencv2/core.hpp>

#include "SharedFrameLayout.h"
#include "camera/KorvaneCameraExport.h"

namespace korvane {

// Reads the left images that a capturing process publishes in shared
// memory for one mounting position (see SharedFrameLayout.h).
class KORVANE_CAMERA_EXPORT SharedFrameReader
{
public:
    SharedFrameReader() = default;
    ~SharedFrameReader();
    SharedFrameReader(const SharedFrameReader&) = delete;
    SharedFrameReader& operator=(const SharedFrameReader&) = delete;

    // Attaches to the segment of the position. The image size follows from
    // the segment size when it is one of the module's (928x800, 464x400);
    // otherwise pass the left image's size. False, with error() set, when
    // there is no segment or its size does not fit.
    bool attach(int posNumber);
    bool attach(int posNumber, cv::Size imageSize);
    void detach();
    bool attached() const { return m_segment != nullptr; }

    // Waits until a new image is present (polling every millisecond), copies
    // it and marks the segment empty. False on time-out or when not attached.
    bool read(cv::Mat& image, std::chrono::milliseconds timeout);

    cv::Size imageSize() const { return m_imageSize; }
    size_t segmentBytes() const { return m_segmentBytes; }
    const std::string& error() const { return m_error; }

private:
    void* m_segment = nullptr;
    cv::Size m_imageSize;
    size_t m_segmentBytes = 0;
    std::string m_error;
};

} // namespace korvane

#endif
