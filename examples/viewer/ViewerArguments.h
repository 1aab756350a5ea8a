#ifndef KORVANE_EXAMPLES_VIEWER_VIEWERARGUMENTS_H
#define KORVANE_EXAMPLES_VIEWER_VIEWERARGUMENTS_H

#include <string>

#include <opencv2/core.hpp>

#include "camera/ModuleFrameSize.h"

// The viewer's command line:
//   korvane_viewer [--video SOURCE] [deviceNode [width height [fps]]]
// Numbers are decimal whole numbers, and anything else is refused; a lone
// width (two positional arguments) is ignored. --video plays a recorded or
// synthetic side-by-side sequence (a video file or an image-sequence pattern
// such as frame_%04d.png) in place of the module's video stream.
struct ViewerArguments
{
    std::string videoSource; // empty: the module's own video device
    int deviceNode = 0;
    cv::Size frameSize = korvane::kFullModuleFrame;
    int frameRate = 30;
    bool help = false;

    // Reads argv; false, with a message in error, for an unknown option,
    // --video without its source, a positional argument that is no whole
    // number, or more than four of them.
    bool parse(int argc, const char* const* argv, std::string& error);

    static const char* usage();

private:
    bool readPositional(int count, const char* const* words, std::string& error);
};

#endif
