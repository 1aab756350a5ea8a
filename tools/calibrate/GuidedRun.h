#ifndef KORVANE_TOOLS_CALIBRATE_GUIDEDRUN_H
#define KORVANE_TOOLS_CALIBRATE_GUIDEDRUN_H

#include <string>
#include <vector>

#include "GuidedCapture.h"
#include "LiveFrames.h"

// A guided capture from start to end: frames are judged until enough views
// are kept, the source ends, or the user stops it (Escape in the window,
// Ctrl-C). With a window when one is wanted and a display is there; else
// a line of progress.
struct GuidedRun
{
    std::vector<GuidedCapture::View> views;
    cv::Size rawSize;
    std::string stoppedBy; // "", "Escape" or "Ctrl-C"

    // False, with the reason, when the source gives no frame.
    static bool run(LiveFrames& frames, const korvane::calibration::CalibrationTarget& target,
                    const GuidedCapture::Settings& settings, bool window, GuidedRun& result, std::string& error);
};

#endif
