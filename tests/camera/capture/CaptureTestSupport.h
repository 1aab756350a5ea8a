#ifndef KORVANE_TESTS_CAPTURETESTSUPPORT_H
#define KORVANE_TESTS_CAPTURETESTSUPPORT_H

#include <functional>
#include <string>

#include <opencv2/core.hpp>

#include "CameraTestSupport.h"
#include "support/TempDir.h"

namespace korvane::test {

// Writes a lossless side-by-side test video: frame i has a textured
// background (bright corners, so the fisheye mask shows) and the index i in
// the blue channel of a block at the centre of each half.
std::string writeTestVideo(const TempDir& dir, cv::Size raw, int frames, double fps,
                           const std::string& name = "sbs.mkv");

// The frames of writeTestVideo as a PNG sequence seq_0.png, seq_1.png, ...;
// returns the pattern to open it with.
std::string writeTestSequence(const TempDir& dir, cv::Size raw, int frames);

// The index written by writeTestVideo, read from the centre of one half.
int frameIndexOf(const cv::Mat& half);

// A camera that stops its capture when it goes, so that a failed assertion
// does not leave a joinable worker behind (which would end the program).
class CaptureProbe : public Probe
{
public:
    using Probe::Probe;
    ~CaptureProbe() override { stopCapture(); }
};

struct ChildOutcome
{
    bool exited = false; // ended by itself (not killed after the time limit)
    int status = -1;     // exit status when exited
    std::string out;     // what it wrote to standard output
};

// Runs `body` in a forked child with its standard output captured; the child
// exits with status 0 if body returns. Killed after timeoutMs.
ChildOutcome runInChild(const std::function<void()>& body, int timeoutMs);

} // namespace korvane::test

#endif
