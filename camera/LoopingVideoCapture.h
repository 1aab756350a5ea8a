#ifndef KORVANE_CAMERA_LOOPINGVIDEOCAPTURE_H
#define KORVANE_CAMERA_LOOPINGVIDEOCAPTURE_H

#include <chrono>
#include <string>

#include <opencv2/videoio.hpp>
#include "camera/KorvaneCameraExport.h"

namespace korvane {

// A video file or image sequence that plays like a camera: frames come at
// the file's frame rate, and after the last frame it starts over.
class KORVANE_CAMERA_EXPORT LoopingVideoCapture : public cv::VideoCapture
{
public:
    // fps: the pace; 0 takes the file's own rate (30 when it has none, as
    // for an image sequence).
    explicit LoopingVideoCapture(const std::string& source, double fps = 0.0);

    bool read(cv::OutputArray image) override;

    double pace() const { return m_fps; }

private:
    bool reopen();
    bool atEndOfSequence() const;

    std::string m_source;
    int m_api;
    double m_fps = 30.0;
    std::chrono::steady_clock::time_point m_due;
};

} // namespace korvane

#endif
