#ifndef KORVANE_TOOLS_CALIBRATE_VIEWSOURCE_H
#define KORVANE_TOOLS_CALIBRATE_VIEWSOURCE_H

#include <string>
#include <vector>

#include <opencv2/core.hpp>

// The side-by-side frames to calibrate from: the images of a folder, in
// name order, or the frames of a video or image sequence.
class ViewSource
{
public:
    struct Frame
    {
        std::string name; // file name, or "frame N"
        cv::Mat image;
    };

    // False, with the reason, when nothing can be read or the frames are
    // not all of one side-by-side size.
    static bool fromFolder(const std::string& folder, std::vector<Frame>& frames, std::string& error);
    static bool fromVideo(const std::string& source, int every, std::vector<Frame>& frames, std::string& error);

    // The frames' common size; false, naming the first odd one, when they
    // differ or a width is odd.
    static bool commonSize(const std::vector<Frame>& frames, cv::Size& size, std::string& error);

private:
    static constexpr int kMostFrames = 2000;
};

#endif
