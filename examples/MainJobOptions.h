#ifndef KORVANE_EXAMPLES_MAINJOBOPTIONS_H
#define KORVANE_EXAMPLES_MAINJOBOPTIONS_H

#include <string>

#include <opencv2/core.hpp>

// The main job's command line (see usage()).
struct MainJobOptions
{
    int device = -1;               // -1: the synthetic module
    std::string calibration;       // with a device
    std::string config;            // with a device, optional
    cv::Size syntheticSize{928, 400};
    cv::Size rectified{640, 480};
    int frames = 30;
    int saveFrame = 10;
    std::string outDir = "out";
    bool window = true;
    int algorithm = 0;

    // Reads argv; false, with what is wrong in one line in error, for an
    // unknown option, a missing or bad value, or a device without its
    // calibration file.
    bool parse(int argc, char** argv, std::string& error);

    static const char* usage();

private:
    bool takeOption(int argc, char** argv, int& index, std::string& error);
};

#endif
