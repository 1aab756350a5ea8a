// Writes the synthetic stereo module's set (frames, calibration and
// configuration files, ground-truth depth) to a directory.
#include <climits>
#include <cstdio>
#include <string>

#include "ToolOptions.h"
#include "camera/ModuleFrameSize.h"
#include "emulator/synthetic/SyntheticSetWriter.h"

namespace {

using korvane::synthetic::SyntheticSetWriter;

constexpr int kNarrowestFov = 60; // degrees
constexpr int kWidestFov = 140;

const char* const kUsage = "usage: korvane-synthetic [--size 1856x800|928x400] [--frames N] [--rect WxH]\n"
                           "                         [--hfov DEGREES] DIRECTORY\n"
                           "Writes calibration.yml, config.yml, manifest.yml, frames/frame_%04d.png and\n"
                           "depth/depth_%04d.tiff (ground truth, metres) into DIRECTORY.\n"
                           "Defaults: --size 1856x800 --frames 60 --rect 640x480 --hfov 90\n";

bool readFieldOfView(const std::string& option, const char* text, double& degrees, std::string& error)
{
    double read = 0.0;
    if (readNonNegative(option, text, read, error) && read >= kNarrowestFov && read <= kWidestFov) {
        degrees = read;
        return true;
    }
    error = badValue(option,
                     "a number of degrees from " + std::to_string(kNarrowestFov) + " to " + std::to_string(kWidestFov),
                     text);
    return false;
}

bool takeOption(int argc, char** argv, int& index, SyntheticSetWriter::Options& options, std::string& error)
{
    const std::string option = argv[index];
    const bool known = option == "--size" || option == "--rect" || option == "--frames" || option == "--hfov";
    if (!known) {
        error = unknownArgument(option);
        return false;
    }
    const char* value = nullptr;
    if (!takeValue(argc, argv, index, value, error))
        return false;
    if (option == "--size")
        return readModuleSize(option, value, korvane::kFullModuleFrame, options.rawSize, error);
    if (option == "--rect")
        return readSize(option, value, options.rectifiedSize.width, options.rectifiedSize.height, error);
    if (option == "--frames")
        return readWholeNumber(option, value, 1, INT_MAX, options.frameCount, error);
    return readFieldOfView(option, value, options.hFovDegrees, error);
}

// Fills options and directory from the command line; false, with what is
// wrong in error, on bad usage.
bool parseArguments(int argc, char** argv, SyntheticSetWriter::Options& options, std::string& directory,
                    std::string& error)
{
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (!arg.empty() && arg[0] != '-' && directory.empty())
            directory = arg;
        else if (!takeOption(argc, argv, i, options, error))
            return false;
    }
    if (directory.empty()) {
        error = "give the DIRECTORY to write into";
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    SyntheticSetWriter::Options options;
    std::string directory;
    const auto parse = [&](std::string& error) { return parseArguments(argc, argv, options, directory, error); };
    if (const auto status = helpOrBadArguments(argc, argv, parse, "korvane-synthetic", kUsage))
        return *status;
    SyntheticSetWriter writer(options);
    writer.onProgress([&](int done) {
        std::printf("\rframe %d of %d", done, options.frameCount);
        std::fflush(stdout);
    });
    std::string error;
    if (!writer.write(directory, error)) {
        std::fprintf(stderr, "\nkorvane-synthetic: %s\n", error.c_str());
        return 1;
    }
    std::printf("\nwrote %d frames to %s\n", options.frameCount, directory.c_str());
    return 0;
}
