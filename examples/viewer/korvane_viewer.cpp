// The example viewer: opens one module as a KorvaneCamera, starts capture and
// shows its left and right views side by side until Escape.
#include <chrono>
#include <cstdio>
#include <iostream>
#include <string>

#include <unistd.h>

#include <opencv2/core.hpp>
#include <opencv2/highgui.hpp>

#include "ProgramVersion.h"
#include "ToolOptions.h"
#include "ViewerArguments.h"
#include "WindowDisplay.h"
#include "camera/KorvaneCamera.h"

int main(int argc, char** argv)
{
    if (const std::optional<int> status = versionIfAsked(argc, argv, "korvane_viewer"))
        return *status;
    ViewerArguments arguments;
    std::string error;
    if (!arguments.parse(argc, argv, error)) {
        std::fprintf(stderr, "korvane_viewer: %s\n%s", error.c_str(), ViewerArguments::usage());
        return kBadArgumentsStatus;
    }
    if (arguments.help) {
        std::fputs(ViewerArguments::usage(), stdout);
        return 0;
    }

    KorvaneCamera camera(arguments.deviceNode);
    if (!arguments.videoSource.empty())
        camera.openVideo(arguments.videoSource);
    if (!camera.isOpened())
        return 1; // the camera has logged why
    // Checked before any window call: without a display the window toolkit aborts.
    if (!windowDisplayNamed()) {
        std::fprintf(stderr, "korvane_viewer: the views need a display, and %s\n", kNoWindowDisplay);
        return kBadArgumentsStatus;
    }

    camera.setRawFrameSize(arguments.frameSize);
    camera.setRawFrameRate(arguments.frameRate);
    std::cout << "Device Position Number:" << camera.getPosNumber() << std::endl;
    camera.startCapture(false, false);

    const std::string title = "KorvaneCamera_Left-Right";
    cv::Mat frame;
    cv::Mat shown;
    std::chrono::microseconds timeStamp{0};
    while (camera.isOpened()) {
        if (!camera.getRawFrame(frame, timeStamp)) {
            usleep(1000);
            continue;
        }
        const int half = frame.cols / 2;
        const cv::Mat left = frame(cv::Rect(0, 0, half, frame.rows));
        const cv::Mat right = frame(cv::Rect(half, 0, half, frame.rows));
        cv::hconcat(left, right, shown);
        cv::imshow(title, shown);
        const char key = static_cast<char>(cv::waitKey(10));
        if (key == 27)
            break;
    }
    camera.stopCapture();
    return 0;
}
