#ifndef KORVANE_CAMERA_STREAMSINK_H
#define KORVANE_CAMERA_STREAMSINK_H

// Where streamed frames go: one video writer that the capture worker opens
// and that the frame getters, on their callers' threads, write to.

#include <string>

#include <opencv2/core.hpp>
#include <opencv2/videoio.hpp>

#include "GuardedMutex.h"
#include "camera/KorvaneCameraExport.h"

namespace korvane::stream {

class KORVANE_CAMERA_EXPORT StreamSink
{
public:
    // Opens a writer on target (a GStreamer pipeline with cv::CAP_ANY, an
    // image-sequence pattern with cv::CAP_IMAGES) for colour frames of size
    // at rate, and sends to it from now on. The writer is opened before the
    // lock is taken, so senders never wait for a pipeline to start. False
    // when it did not open; frames are then dropped.
    bool open(const std::string& target, int apiPreference, double rate, cv::Size size)
        KORVANE_EXCLUDES(m_mutex);
    // Ends the stream; the writer finishes what it holds.
    void close() KORVANE_EXCLUDES(m_mutex);
    bool isOpen() const KORVANE_EXCLUDES(m_mutex);

    // Writes one frame whole, even when several threads send at once;
    // dropped when no writer is open.
    void send(const cv::Mat& frame) KORVANE_EXCLUDES(m_mutex);
    // Writes two images of one height side by side as one frame.
    void sendSideBySide(const cv::Mat& left, const cv::Mat& right) KORVANE_EXCLUDES(m_mutex);

private:
    mutable GuardedMutex m_mutex; // guards m_writer
    cv::VideoWriter m_writer KORVANE_GUARDED_BY(m_mutex);
};

} // namespace korvane::stream

#endif
