#ifndef KORVANE_TOOLS_CALIBRATE_CALIBRATEOPTIONS_H
#define KORVANE_TOOLS_CALIBRATE_CALIBRATEOPTIONS_H

#include <string>

#include <opencv2/core.hpp>

#include "camera/calibration/CalibrationTarget.h"

// The command line of korvane-calibrate.
struct CalibrateOptions
{
    std::string folder;      // side-by-side images, or
    std::string video;       // a recording or image sequence, as openVideo takes it
    int every = 1;           // of a video, every n-th frame
    bool guided = false;     // judge a video's frames as a live module's
    int views = 25;          // a guided capture's views
    bool window = true;      // a guided capture's window, when there is a display
    bool charuco = true;
    cv::Size corners{9, 6};  // chessboard inner corners
    cv::Size squares{8, 6};  // ChArUco squares
    double squareMillimetres = 40.0;
    double markerMillimetres = 30.0;
    int dictionary = 0;      // cv::aruco::DICT_4X4_50
    std::string printTarget; // write the target's image here and stop
    std::string output = "calibration.yml";
    std::string reportDirectory = "calibration-report";
    int serialNumber = 0;
    int positionNumber = 0;
    bool flash = false;      // write the result to the module's flash
    bool force = false;      // even above the quality limits
    int device = 0;          // the module to capture from or flash, /dev/video<device>
    bool deviceGiven = false;
    // What --flash needs of a calibration, unless --force: pair RMS error
    // and median rectified epipolar error, pixels.
    double maxPairRms = 0.5;
    double maxEpipolar = 0.3;

    korvane::calibration::CalibrationTarget target() const;
    // Views come from a module or a video judged frame by frame.
    bool live() const { return guided || (folder.empty() && video.empty() && printTarget.empty()); }
};

extern const char* const kCalibrateUsage;

// Fills options from the command line; false, with what is wrong in error.
bool parseCalibrateOptions(int argc, char** argv, CalibrateOptions& options, std::string& error);

#endif
