#ifndef KORVANE_BENCH_RENDEREDSEQUENCE_H
#define KORVANE_BENCH_RENDEREDSEQUENCE_H

// Frames of the synthetic module written as a short image sequence that a
// camera plays through openVideo, with frame 0 kept in memory.

#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <opencv2/imgcodecs.hpp>

#include "camera/StereoCamera.h"
#include "emulator/synthetic/SyntheticStereoModule.h"

// A side-by-side frame's halves copied, then masked with the kit's radius
// (raw width / 4), as the capture worker did before its one-pass split.
inline void copyHalvesAndMask(const cv::Mat& frame, cv::Mat& left, cv::Mat& right)
{
    const int half = frame.cols / 2;
    left = frame(cv::Rect(0, 0, half, frame.rows)).clone();
    right = frame(cv::Rect(half, 0, half, frame.rows)).clone();
    convertRawFisheyeImage(frame.cols >> 2, left, right);
}

class RenderedSequence
{
public:
    cv::Mat frame;          // frame 0, side by side
    cv::Mat left, right;    // frame 0 split and masked
    std::string directory;  // holds frame_0000.<extension> ...
    std::string pattern;    // what openVideo plays

    // Renders two frames of `raw` size and writes them, alternating, as six
    // files (so the looping source reopens the sequence less often) into
    // `where`; false when a file cannot be written.
    bool write(cv::Size raw, const std::string& where, const std::string& extension,
               const std::vector<int>& writeParams = {})
    {
        std::fprintf(stderr, "Rendering %dx%d synthetic frames ...\n", raw.width, raw.height);
        const korvane::synthetic::SyntheticStereoModule module(raw);
        const cv::Mat frames[2] = {module.renderFrame(0), module.renderFrame(1)};
        frame = frames[0];
        copyHalvesAndMask(frame, left, right);
        directory = where;
        std::error_code error;
        std::filesystem::create_directories(directory, error);
        if (error)
            return false;
        pattern = directory + "/frame_%04d." + extension;
        for (int i = 0; i < 6; ++i) {
            char name[32];
            std::snprintf(name, sizeof name, "/frame_%04d.", i);
            if (!cv::imwrite(directory + name + extension, frames[i % 2], writeParams))
                return false;
        }
        return true;
    }

    void remove() const
    {
        if (directory.empty())
            return;
        std::error_code error;
        std::filesystem::remove_all(directory, error);
    }
};

#endif
