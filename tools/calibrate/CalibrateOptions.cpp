#include "CalibrateOptions.h"

#include <climits>

#include <opencv2/aruco/dictionary.hpp>

#include "ToolOptions.h"

const char* const kCalibrateUsage =
    "usage: korvane-calibrate [TARGET OPTIONS] [--output FILE] [--report DIR] --device N [--views N]\n"
    "       korvane-calibrate [TARGET OPTIONS] [--output FILE] [--report DIR] FOLDER\n"
    "       korvane-calibrate [TARGET OPTIONS] --video SOURCE [--every N | --guided [--views N]] ...\n"
    "       korvane-calibrate [TARGET OPTIONS] --print-target FILE.png\n"
    "Add --flash [--force] to write the result into the module's flash (--device N, default 0).\n"
    "Calibrates a stereo fisheye module from side-by-side views (1856x800 or 928x400)\n"
    "of a printed target: each eye and the pair with the unified model. Views whose\n"
    "error is far above the others' are dropped. Writes the calibration file (stated\n"
    "for the 1856-pixel raw width) and a report: summary.txt, summary.html,\n"
    "coverage_left.png, coverage_right.png and rectified.png.\n"
    "Guided capture (--device N alone, or --video SOURCE --guided): a frame is kept\n"
    "only when the target is in both eyes, still for a few frames, sharp, and adds\n"
    "coverage of the fisheye circles or a new turn of the board. A window shows both\n"
    "eyes, the corners, the coverage maps and what to do next; without a display a\n"
    "line of progress does. It ends at --views views, at the end of a video, on\n"
    "Escape in the window or on Ctrl-C, and calibrates from the views kept, which\n"
    "are saved in the report's views folder.\n"
    "Target options:\n"
    "  --target charuco|chessboard   default charuco\n"
    "  --squares WxH                 ChArUco squares, default 8x6\n"
    "  --corners WxH                 chessboard inner corners, default 9x6\n"
    "  --square MM                   square side in millimetres, default 40\n"
    "  --marker MM                   ChArUco marker side in millimetres, default 30\n"
    "  --dictionary N                ChArUco marker dictionary (OpenCV's number), default 0 (4x4, 50 markers)\n"
    "Other options:\n"
    "  --every N                     of a video, take every N-th frame (default 1)\n"
    "  --guided                      judge a video's frames as a live module's\n"
    "  --views N                     views a guided capture keeps (default 25)\n"
    "  --no-window                   a guided capture shows progress as text only\n"
    "  --serial N, --position N      serial and position number written to the file (default 0)\n"
    "  --output FILE                 default calibration.yml\n"
    "  --report DIR                  default calibration-report\n"
    "  --flash                       then write the calibration into the module's flash through\n"
    "                                korvane-maintenance calib-write: the module's user data are\n"
    "                                backed up first and the block is read back and compared.\n"
    "                                Refused when the pair RMS error is above --max-rms or the\n"
    "                                rectified epipolar error (median) above --max-epipolar\n"
    "  --max-rms PX                  default 0.5\n"
    "  --max-epipolar PX             default 0.3\n"
    "  --force                       flash even above those limits\n"
    "  --device N                    the module, /dev/videoN: alone, the source of a guided\n"
    "                                capture; with --flash, where the result goes (default 0)\n"
    "Exit status: 0 calibrated (and flashed when asked), 1 no calibration (the reason is\n"
    "printed), 2 bad arguments, 3 calibrated but not flashed (the reason is printed).\n";

namespace {

bool readMillimetres(const std::string& option, const char* text, double& value, std::string& error)
{
    double read = 0.0;
    if (readNonNegative(option, text, read, error) && read > 0.0) {
        value = read;
        return true;
    }
    error = badValue(option, "a length in millimetres above 0", text);
    return false;
}

bool readLimit(const std::string& option, const char* text, double& value, std::string& error)
{
    double read = 0.0;
    if (!readNonNegative(option, text, read, error)) {
        error = badValue(option, "pixels, 0 or more", text);
        return false;
    }
    value = read;
    return true;
}

bool readGrid(const std::string& option, const char* text, cv::Size& size, std::string& error)
{
    int width = 0, height = 0;
    if (!readSize(option, text, width, height, error))
        return false;
    if (width < 3 || height < 3) {
        error = badValue(option, "at least 3x3", text);
        return false;
    }
    size = {width, height};
    return true;
}

bool readTargetKind(const char* text, bool& charuco, std::string& error)
{
    const std::string kind = text;
    if (kind != "charuco" && kind != "chessboard") {
        error = badValue("--target", "charuco or chessboard", text);
        return false;
    }
    charuco = kind == "charuco";
    return true;
}

bool takeOption(int argc, char** argv, int& index, CalibrateOptions& o, std::string& error)
{
    const std::string option = argv[index];
    const char* value = nullptr;
    if (option.rfind("--", 0) != 0) {
        error = unknownArgument(option);
        return false;
    }
    if (option == "--flash" || option == "--force" || option == "--guided") {
        (option == "--flash" ? o.flash : option == "--force" ? o.force : o.guided) = true;
        return true;
    }
    if (option == "--no-window") {
        o.window = false;
        return true;
    }
    if (!takeValue(argc, argv, index, value, error))
        return false;
    if (option == "--video")
        o.video = value;
    else if (option == "--every")
        return readWholeNumber(option, value, 1, INT_MAX, o.every, error);
    else if (option == "--target")
        return readTargetKind(value, o.charuco, error);
    else if (option == "--squares")
        return readGrid(option, value, o.squares, error);
    else if (option == "--corners")
        return readGrid(option, value, o.corners, error);
    else if (option == "--square")
        return readMillimetres(option, value, o.squareMillimetres, error);
    else if (option == "--marker")
        return readMillimetres(option, value, o.markerMillimetres, error);
    else if (option == "--dictionary")
        return readWholeNumber(option, value, 0, cv::aruco::DICT_APRILTAG_36h11, o.dictionary, error);
    else if (option == "--print-target")
        o.printTarget = value;
    else if (option == "--output")
        o.output = value;
    else if (option == "--report")
        o.reportDirectory = value;
    else if (option == "--serial")
        return readWholeNumber(option, value, 0, INT_MAX, o.serialNumber, error);
    else if (option == "--position")
        return readWholeNumber(option, value, 0, INT_MAX, o.positionNumber, error);
    else if (option == "--max-rms")
        return readLimit(option, value, o.maxPairRms, error);
    else if (option == "--max-epipolar")
        return readLimit(option, value, o.maxEpipolar, error);
    else if (option == "--device") {
        o.deviceGiven = true;
        return readWholeNumber(option, value, 0, INT_MAX, o.device, error);
    } else if (option == "--views")
        return readWholeNumber(option, value, 1, 1000, o.views, error);
    else {
        error = unknownArgument(option);
        return false;
    }
    return true;
}

} // namespace

korvane::calibration::CalibrationTarget CalibrateOptions::target() const
{
    using korvane::calibration::CalibrationTarget;
    return charuco ? CalibrationTarget::charuco(squares, squareMillimetres, markerMillimetres, dictionary)
                   : CalibrationTarget::chessboard(corners, squareMillimetres);
}

bool parseCalibrateOptions(int argc, char** argv, CalibrateOptions& o, std::string& error)
{
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (!arg.empty() && arg[0] != '-' && o.folder.empty())
            o.folder = arg;
        else if (!takeOption(argc, argv, i, o, error))
            return false;
    }
    if (o.charuco && o.markerMillimetres >= o.squareMillimetres) {
        error = "--marker must be smaller than --square";
        return false;
    }
    if (o.force && !o.flash) {
        error = "--force goes with --flash";
        return false;
    }
    const int sources = !o.folder.empty() + !o.video.empty();
    if (o.printTarget.empty() && sources == 0 && !o.deviceGiven) {
        error = "give --device N, a FOLDER of images, --video SOURCE or --print-target FILE.png";
        return false;
    }
    if (sources > 1) {
        error = "give either a FOLDER or --video, not both";
        return false;
    }
    if (o.guided && o.video.empty()) {
        error = "--guided goes with --video";
        return false;
    }
    if (o.guided && o.every != 1) {
        error = "--guided takes every frame; leave out --every";
        return false;
    }
    return true;
}
