// Calibrates a stereo fisheye module from side-by-side views of a printed
// target and writes the calibration file and a report.
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include <opencv2/imgcodecs.hpp>

#include "CalibrateOptions.h"
#include "CalibrationReport.h"
#include "GuidedRun.h"
#include "LiveFrames.h"
#include "MaintenanceTool.h"
#include "ToolOptions.h"
#include "ViewSource.h"
#include "camera/calibration/CalibrationFile.h"
#include "camera/calibration/StereoCalibrator.h"
#include "camera/calibration/TargetDetector.h"

namespace {

using korvane::calibration::CalibrationFile;
using korvane::calibration::CalibrationTarget;
using korvane::calibration::StereoCalibrator;
using korvane::calibration::TargetDetector;

constexpr int kPrintPixelsPerSquare = 200;
constexpr int kNotFlashed = 3;

int fail(const std::string& message)
{
    std::fprintf(stderr, "korvane-calibrate: %s\n", message.c_str());
    return 1;
}

int printTarget(const CalibrateOptions& o)
{
    const CalibrationTarget target = o.target();
    const cv::Mat print = target.print(kPrintPixelsPerSquare);
    if (!cv::imwrite(o.printTarget, print))
        return fail("cannot write " + o.printTarget);
    const double millimetresPerPixel = target.squareMillimetres() / kPrintPixelsPerSquare;
    std::printf("wrote %s: %s\nprint it at %.1f x %.1f mm (%.2f pixels per millimetre), so that each square "
                "measures %.2f mm, and keep it flat\n",
                o.printTarget.c_str(), target.describe().c_str(), print.cols * millimetresPerPixel,
                print.rows * millimetresPerPixel, 1.0 / millimetresPerPixel, target.squareMillimetres());
    return 0;
}

// The written file into the module's flash, through the maintenance tool's
// guarded write, when the calibration is within the limits or forced.
int flash(const CalibrateOptions& o, double pairRms, double epipolarMedian)
{
    char figures[160];
    std::snprintf(figures, sizeof figures, "pair RMS error %.3f px (limit %.3f), epipolar error %.3f px (limit %.3f)",
                  pairRms, o.maxPairRms, epipolarMedian, o.maxEpipolar);
    const bool within = pairRms <= o.maxPairRms && epipolarMedian <= o.maxEpipolar;
    if (!within && !o.force) {
        std::fprintf(stderr, "korvane-calibrate: not flashed: %s; take better views, or pass --force\n", figures);
        return kNotFlashed;
    }
    std::printf("flashing %s to /dev/video%d (%s%s)\n", o.output.c_str(), o.device, figures,
                within ? "" : ", forced");
    std::fflush(stdout);
    const int status = korvane::maintenance::runMaintenanceTool(
        {"calib-write", "--device", std::to_string(o.device), o.output}, std::cout, std::cerr);
    if (status != 0) {
        std::fprintf(stderr, "korvane-calibrate: not flashed: the write to the module failed (above); %s is kept\n",
                     o.output.c_str());
        return kNotFlashed;
    }
    return 0;
}

// Every frame of a folder or video (every n-th of a video).
bool collect(const CalibrateOptions& o, const TargetDetector& detector, CalibrationReport::Input& input,
             cv::Mat& previewFrame, std::string& error)
{
    std::vector<ViewSource::Frame> frames;
    const bool read = o.video.empty() ? ViewSource::fromFolder(o.folder, frames, error)
                                      : ViewSource::fromVideo(o.video, o.every, frames, error);
    if (!read)
        return false;
    input.source = o.video.empty() ? o.folder : o.video;
    input.rawSize = frames.front().image.size();
    // A progress line only where someone watches it.
    const bool onTerminal = isatty(STDOUT_FILENO) != 0;
    for (const ViewSource::Frame& frame : frames) {
        TargetDetector::PairCorners pair;
        std::string why;
        if (detector.detectPair(frame.image, pair, why)) {
            input.viewNames.push_back(frame.name);
            input.views.push_back(pair);
            if (previewFrame.empty())
                previewFrame = frame.image;
        } else {
            input.missed.push_back(frame.name + ": " + why);
        }
        if (onTerminal) {
            std::printf("\r%zu of %zu frames looked at, %zu views", input.views.size() + input.missed.size(),
                        frames.size(), input.views.size());
            std::fflush(stdout);
        }
    }
    if (onTerminal)
        std::printf("\n");
    return true;
}

// The views a guided capture keeps, saved in the report's views folder so
// that they can be calibrated from again.
bool collectGuided(const CalibrateOptions& o, const CalibrationTarget& target, CalibrationReport::Input& input,
                   cv::Mat& previewFrame, std::string& error)
{
    const std::unique_ptr<LiveFrames> frames =
        o.video.empty() ? LiveFrames::module(o.device, error) : LiveFrames::video(o.video, error);
    if (!frames)
        return false;
    GuidedCapture::Settings settings;
    settings.wantedViews = o.views;
    GuidedRun run;
    if (!GuidedRun::run(*frames, target, settings, o.window, run, error))
        return false;
    input.source = frames->name();
    input.rawSize = run.rawSize;
    const std::filesystem::path folder = std::filesystem::path(o.reportDirectory) / "views";
    std::error_code ec;
    std::filesystem::create_directories(folder, ec);
    for (const GuidedCapture::View& view : run.views) {
        char name[32];
        std::snprintf(name, sizeof name, "view_%02zu.png", input.views.size() + 1);
        if (!cv::imwrite((folder / name).string(), view.frame)) {
            error = "cannot write the views into " + folder.string();
            return false;
        }
        input.viewNames.push_back(name);
        input.views.push_back(view.pair);
    }
    if (!run.views.empty())
        previewFrame = run.views.front().frame;
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    CalibrateOptions o;
    const auto parse = [&](std::string& error) { return parseCalibrateOptions(argc, argv, o, error); };
    if (const auto status = helpOrBadArguments(argc, argv, parse, "korvane-calibrate", kCalibrateUsage))
        return *status;
    if (!o.printTarget.empty())
        return printTarget(o);

    const CalibrationTarget target = o.target();
    const TargetDetector detector(target);
    CalibrationReport::Input input;
    input.target = target.describe();
    cv::Mat previewFrame;
    std::string error;
    if (o.live()) {
        if (!collectGuided(o, target, input, previewFrame, error))
            return fail(error);
    } else if (!collect(o, detector, input, previewFrame, error)) {
        return fail(error);
    }
    if (input.views.empty() && o.live())
        return fail("no view was kept, so there is nothing to calibrate from");
    if (input.views.empty())
        return fail("the target (" + target.describe() + ") is in both eyes of none of the " +
                    std::to_string(input.missed.size()) + " frames (" + input.missed.front() +
                    "); check the target options");

    input.result = StereoCalibrator(detector).calibrate(input.views, {input.rawSize.width / 2, input.rawSize.height});
    const CalibrationReport report(input);
    if (!report.write(o.reportDirectory, previewFrame, error))
        return fail(error);
    std::printf("%s", report.summary().c_str());
    if (!input.result.ok)
        return fail("no calibration: " + input.result.error);
    if (!CalibrationFile::write(o.output, input.result, input.rawSize, {o.serialNumber, o.positionNumber, {640, 480}}))
        return fail("cannot write " + o.output);
    std::printf("wrote %s and the report in %s\n", o.output.c_str(), o.reportDirectory.c_str());
    return o.flash ? flash(o, input.result.pairRms, report.epipolarMedian()) : 0;
}
