#include "LiveFrames.h"

#include <chrono>

#include <opencv2/core/utils/logger.hpp>
#include <opencv2/videoio.hpp>

#include "VideoSource.h"
#include "camera/StereoCamera.h"

namespace {

// A module's newest frames, grabbed by the kit's capture worker.
class ModuleFrames : public LiveFrames
{
public:
    explicit ModuleFrames(int device) : m_camera(device), m_name("/dev/video" + std::to_string(device)) {}
    ~ModuleFrames() override
    {
        if (m_capturing)
            m_camera.stopCapture();
    }

    bool start(std::string& error)
    {
        if (!m_camera.isOpened() || !m_camera.startCapture(false, false)) {
            error = "cannot capture from the module at " + m_name;
            return false;
        }
        m_capturing = true;
        return true;
    }

    bool next(cv::Mat& frame) override
    {
        std::chrono::microseconds stamp{0};
        return m_camera.getRawFrame(frame, stamp);
    }

    std::string name() const override { return m_name; }

private:
    StereoCamera m_camera;
    std::string m_name;
    bool m_capturing = false;
};

// Every frame of a recording or image sequence, once.
class VideoFrames : public LiveFrames
{
public:
    explicit VideoFrames(const std::string& source)
        : m_capture(source, isVideoPipeline(source) ? cv::CAP_GSTREAMER : cv::CAP_ANY),
          m_name(source)
    {
    }

    bool opened() const { return m_capture.isOpened(); }
    bool next(cv::Mat& frame) override { return m_capture.read(frame) && !frame.empty(); }
    std::string name() const override { return m_name; }

private:
    cv::VideoCapture m_capture;
    std::string m_name;
};

// The video library's own reports of a source it cannot open stay out of
// the way of the one line the tool says.
class QuietVideoLibrary
{
public:
    QuietVideoLibrary() : m_level(cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT)) {}
    ~QuietVideoLibrary() { cv::utils::logging::setLogLevel(m_level); }

private:
    cv::utils::logging::LogLevel m_level;
};

} // namespace

std::unique_ptr<LiveFrames> LiveFrames::module(int device, std::string& error)
{
    const QuietVideoLibrary quiet;
    auto frames = std::make_unique<ModuleFrames>(device);
    if (!frames->start(error))
        return nullptr;
    return frames;
}

std::unique_ptr<LiveFrames> LiveFrames::video(const std::string& source, std::string& error)
{
    const std::string problem = videoSourceProblem(source);
    if (!problem.empty()) {
        error = "cannot open the video " + source + ": " + problem;
        return nullptr;
    }
    const QuietVideoLibrary quiet;
    auto frames = std::make_unique<VideoFrames>(source);
    if (!frames->opened()) {
        error = "cannot open the video " + source;
        return nullptr;
    }
    return frames;
}
