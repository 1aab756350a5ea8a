#ifndef KORVANE_TOOLS_CALIBRATE_LIVEFRAMES_H
#define KORVANE_TOOLS_CALIBRATE_LIVEFRAMES_H

#include <memory>
#include <string>

#include <opencv2/core.hpp>

// Side-by-side frames one at a time, as a guided capture takes them: from
// a module through the kit's capture worker, or from a recording or image
// sequence read once from start to end.
class LiveFrames
{
public:
    virtual ~LiveFrames() = default;

    // Null, with the reason, when the source cannot be opened.
    static std::unique_ptr<LiveFrames> module(int device, std::string& error);
    static std::unique_ptr<LiveFrames> video(const std::string& source, std::string& error);

    // The next frame; false at the end of a recording or when the module
    // stops delivering.
    virtual bool next(cv::Mat& frame) = 0;
    // What the frames come from, for messages.
    virtual std::string name() const = 0;
};

#endif
