#ifndef KORVANE_TOOLS_CALIBRATE_GUIDEDWINDOW_H
#define KORVANE_TOOLS_CALIBRATE_GUIDEDWINDOW_H

#include <string>

#include <opencv2/core.hpp>

#include "GuidedCapture.h"

// The guided capture's window: both eyes with the corners found, each
// eye's coverage map, what was seen and what to do next. Escape or q in
// the window, or closing it, ends the capture.
class GuidedWindow
{
public:
    static constexpr const char* kTitle = "korvane-calibrate";

    ~GuidedWindow();

    // The picture shown for a frame and what became of it.
    static cv::Mat compose(const cv::Mat& frame, const GuidedCapture& capture, const GuidedCapture::Step& step);

    // False, with the reason, when there is no display to open it on.
    bool open(std::string& error);
    // Shows a picture; false once the user asked to stop.
    bool show(const cv::Mat& picture);

private:
    static constexpr int kWidestPicture = 1280;
    static constexpr int kEscape = 27;

    bool m_open = false;
};

#endif
