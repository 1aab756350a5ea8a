#include "MainJobOptions.h"

#include <climits>

#include "ToolOptions.h"
#include "camera/ModuleFrameSize.h"

namespace {

constexpr int kLargestCount = 1000000;

} // namespace

bool MainJobOptions::parse(int argc, char** argv, std::string& error)
{
    for (int i = 1; i < argc; ++i)
        if (!takeOption(argc, argv, i, error))
            return false;
    if (device >= 0 && calibration.empty()) {
        error = "--device needs --calib FILE, the module's calibration file";
        return false;
    }
    return true;
}

bool MainJobOptions::takeOption(int argc, char** argv, int& index, std::string& error)
{
    const std::string option = argv[index];
    if (option == "--no-window") {
        window = false;
        return true;
    }
    const bool known = option == "--device" || option == "--calib" || option == "--config" || option == "--size" ||
                       option == "--rect" || option == "--frames" || option == "--save-frame" ||
                       option == "--algorithm" || option == "--out";
    if (!known) {
        error = unknownArgument(option);
        return false;
    }
    const char* value = nullptr;
    if (!takeValue(argc, argv, index, value, error))
        return false;
    if (option == "--device")
        return readWholeNumber(option, value, 0, INT_MAX, device, error);
    if (option == "--size")
        return readModuleSize(option, value, korvane::kHalfModuleFrame, syntheticSize, error);
    if (option == "--rect")
        return readSize(option, value, rectified.width, rectified.height, error);
    if (option == "--frames")
        return readWholeNumber(option, value, 1, INT_MAX, frames, error);
    if (option == "--save-frame")
        return readWholeNumber(option, value, 0, kLargestCount, saveFrame, error);
    if (option == "--algorithm") {
        if (readWholeNumber(option, value, 0, 1, algorithm, error))
            return true;
        error = badValue(option, "0 (semi-global matching) or 1 (block matching)", value);
        return false;
    }
    if (option == "--calib")
        calibration = value;
    else if (option == "--config")
        config = value;
    else
        outDir = value;
    return true;
}

const char* MainJobOptions::usage()
{
    return "Usage: " KORVANE_MAIN_JOB_NAME " [options]\n"
           "Runs capture, disparity, depth and point cloud on a module or, without\n"
           "--device, on the synthetic stereo module, and writes into the output folder\n"
           "depth.png, rect_left.png, rect_right.png and cloud.ply of one frame.\n"
           "  --device N        video device number of a module (needs --calib)\n"
           "  --calib FILE      calibration parameter file of the module\n"
           "  --config FILE     configuration file of the module (optional)\n"
           "  --size WxH        raw size of the synthetic module: 928x400 (default) or 1856x800\n"
           "  --rect WxH        rectified size (default 640x480)\n"
           "  --frames N        depth frames to process (default 30)\n"
           "  --save-frame K    which of them to write out (default 10)\n"
           "  --algorithm A     0 semi-global matching (default), 1 block matching\n"
           "  --out DIR         output folder (default out)\n"
           "  --no-window       never open a window\n"
           "Stops after N frames, on Escape in the window or on Ctrl-C.\n";
}
