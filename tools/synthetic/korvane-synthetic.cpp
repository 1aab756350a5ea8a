// Writes the synthetic stereo module's set (frames, calibration and
// configuration files, ground-truth depth) to a directory.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "emulator/synthetic/SyntheticSetWriter.h"

namespace {

using korvane::synthetic::SyntheticSetWriter;

void printUsage()
{
    std::fprintf(stderr,
                 "usage: korvane-synthetic [--size 1856x800|928x400] [--frames N] [--rect WxH]\n"
                 "                         [--hfov DEGREES] DIRECTORY\n"
                 "Writes calibration.yml, config.yml, manifest.yml, frames/frame_%%04d.png and\n"
                 "depth/depth_%%04d.tiff (ground truth, metres) into DIRECTORY.\n"
                 "Defaults: --size 1856x800 --frames 60 --rect 640x480 --hfov 90\n");
}

bool parseSize(const std::string& text, cv::Size& size)
{
    int width = 0;
    int height = 0;
    char separator = 0;
    if (std::sscanf(text.c_str(), "%d%c%d", &width, &separator, &height) != 3 || separator != 'x' ||
        width <= 0 || height <= 0)
        return false;
    size = {width, height};
    return true;
}

bool parsePositive(const std::string& text, double& value)
{
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return end && *end == '\0' && value > 0.0;
}

// Fills options and directory from the command line; false on bad usage.
bool parseArguments(int argc, char** argv, SyntheticSetWriter::Options& options, std::string& directory)
{
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        double number = 0.0;
        if (arg == "--size" && hasValue) {
            if (!parseSize(argv[++i], options.rawSize) ||
                !(options.rawSize == cv::Size(1856, 800) || options.rawSize == cv::Size(928, 400)))
                return false;
        } else if (arg == "--rect" && hasValue) {
            if (!parseSize(argv[++i], options.rectifiedSize))
                return false;
        } else if (arg == "--frames" && hasValue) {
            if (!parsePositive(argv[++i], number) || number != static_cast<int>(number))
                return false;
            options.frameCount = static_cast<int>(number);
        } else if (arg == "--hfov" && hasValue) {
            if (!parsePositive(argv[++i], number) || number < 60.0 || number > 140.0)
                return false;
            options.hFovDegrees = number;
        } else if (!arg.empty() && arg[0] != '-' && directory.empty()) {
            directory = arg;
        } else {
            return false;
        }
    }
    return !directory.empty();
}

} // namespace

int main(int argc, char** argv)
{
    SyntheticSetWriter::Options options;
    std::string directory;
    if (!parseArguments(argc, argv, options, directory)) {
        printUsage();
        return 2;
    }
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
